#include "bench/Traffic.h"

#include <array>
#include <cmath>
#include <map>
#include <random>

namespace bench {

namespace {

constexpr std::size_t manyFrames = 2000000;

std::string const folder = KETSTATS_CAPTURES;

void put(unsigned char * at, unsigned int value, unsigned int count)
{
    for (unsigned int i = 0; i < count; ++i)
        at[i] = static_cast<unsigned char>(value >> (8 * (count - 1 - i)));
}

// A TCP or UDP frame of 64 bytes captured.
void addFrame(ketmon::CLoadedCapture & capture, unsigned int fromStation, unsigned int toStation,
              unsigned int fromAddress, unsigned int toAddress, bool tcp, unsigned int fromPort,
              unsigned int toPort, unsigned int length)
{
    std::array<unsigned char, 64> frame{};
    frame[0] = 0x02;
    put(&frame[2], toStation, 4);
    frame[6] = 0x02;
    put(&frame[8], fromStation, 4);
    put(&frame[12], 0x0800, 2);
    frame[14] = 0x45;
    frame[23] = tcp ? 6 : 17;
    put(&frame[26], fromAddress, 4);
    put(&frame[30], toAddress, 4);
    put(&frame[34], fromPort, 2);
    put(&frame[36], toPort, 2);
    capture.add(frame.data(), 64, length);
}

} // namespace

ketmon::CLoadedCapture const & bundled(char const * name)
{
    static std::map<std::string, ketmon::CLoadedCapture> loaded;
    auto const [entry, fresh] = loaded.try_emplace(name);
    if (fresh)
        entry->second.load(folder + '/' + name);
    return entry->second;
}

ketmon::CLoadedCapture const & mixedTraffic()
{
    static ketmon::CLoadedCapture const capture = [] {
        ketmon::CLoadedCapture mix;
        for (char const * const name :
             {"internet-mixed.pcap", "many-stations-arp.pcap", "many-connections.pcap",
              "llc-snap-ipx-vlan.pcap", "file-service-fragments.pcap", "multicast-ip-options.pcap",
              "jumbo-ssh.pcap", "truncated-snaplen.pcap", "malformed-and-runts.pcap",
              "offload-directory.pcapng", "nanosecond-big-endian.pcap"})
            mix.load(folder + '/' + name);
        mix.repeat(manyFrames);
        return mix;
    }();
    return capture;
}

// 99 stations behind a router hold 400 conversations with addresses of their own outside: 800 directed IP
// pairs and 198 MAC pairs. The square of an even distribution makes a tenth of the conversations a third of
// the frames.
ketmon::CLoadedCapture const & fewConnections()
{
    static ketmon::CLoadedCapture const capture = [] {
        constexpr unsigned int router = 0;
        ketmon::CLoadedCapture few;
        std::mt19937 random(1);
        std::uniform_real_distribution<double> share(0.0, 1.0);
        for (std::size_t i = 0; i < manyFrames; ++i) {
            auto const conversation = static_cast<unsigned int>(400.0 * std::pow(share(random), 2.0));
            unsigned int const station = 1 + conversation % 99;
            unsigned int const inside = 0x0A000000 + station;
            unsigned int const outside = 0xC0000000 + conversation * 7919;
            bool const tcp = conversation % 3 != 0;
            unsigned int const service = 1 + conversation % 60;
            unsigned int const length = random() % 2 ? 60 : 1514;
            if (random() % 2 == 0)
                addFrame(few, station, router, inside, outside, tcp, 40000, service, length);
            else
                addFrame(few, router, station, outside, inside, tcp, service, 40000, length);
        }
        return few;
    }();
    return capture;
}

ketmon::CLoadedCapture const & conversations(unsigned int count)
{
    static std::map<unsigned int, ketmon::CLoadedCapture> made;
    auto const [entry, fresh] = made.try_emplace(count);
    if (fresh) {
        std::mt19937 random(1);
        for (unsigned int i = 0; i < 1000000; ++i) {
            // Each of them once, so that all rows are there, and then any.
            unsigned int const number = i < count ? i : static_cast<unsigned int>(random()) % count;
            unsigned int const address = 0x0A000000 + number;
            addFrame(entry->second, 2 * number, 2 * number + 1, address, ~address, true, 40000, 443, 60);
        }
    }
    return entry->second;
}

ketmon::CLoadedCapture const & flood()
{
    static ketmon::CLoadedCapture const capture = [] {
        ketmon::CLoadedCapture all;
        for (unsigned int i = 0; i < 500000; ++i) {
            unsigned int const scattered = i * 2654435761U;
            addFrame(all, 2 * i, 2 * i + 1, scattered, ~scattered, i % 2 == 0, 1 + i / 2 % 1024,
                     1 + (i / 2 + 512) % 1024, 60);
        }
        return all;
    }();
    return capture;
}

} // namespace bench
