#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

// Sends UDP datagrams in Ethernet frames: flood INTERFACE SECONDS RATE STATIONS LENGTH
//
// RATE is frames a second, 0 for as many as go. The frames come from so many stations and IP addresses in turn, and
// have LENGTH bytes. At the end, or at SIGINT and SIGTERM, it prints how many the system took, and in which time.

namespace {

volatile std::sig_atomic_t ended = 0;

constexpr std::size_t batch = 64;
constexpr std::size_t least = 60;

[[noreturn]] void fail(char const * what)
{
    std::fprintf(stderr, "flood: %s: %s\n", what, std::strerror(errno));
    std::exit(1);
}

int openedOn(char const * interface)
{
    int const handle = socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0); // it receives nothing
    if (handle < 0)
        fail("socket");
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_ifindex = static_cast<int>(if_nametoindex(interface));
    if (address.sll_ifindex == 0 || bind(handle, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
        fail(interface);
    int const on = 1;
    setsockopt(handle, SOL_PACKET, PACKET_QDISC_BYPASS, &on, sizeof on);
    return handle;
}

void put(std::vector<unsigned char> & frame, std::size_t at, std::uint32_t value, std::size_t size)
{
    for (std::size_t i = 0; i < size; ++i)
        frame[at + i] = static_cast<unsigned char>(value >> 8 * (size - 1 - i));
}

std::vector<unsigned char> plainFrame(std::size_t length)
{
    std::vector<unsigned char> frame(length);
    put(frame, 0, 0x02FF0000, 4); // to a station that isn't there
    put(frame, 4, 0x0001, 2);
    put(frame, 6, 0x0200, 2);
    put(frame, 12, ETH_P_IP, 2);
    put(frame, 14, 0x4500, 2);
    put(frame, 16, static_cast<std::uint32_t>(length - 14), 2);
    put(frame, 22, 0x4011, 2);     // lives for 64 hops, UDP
    put(frame, 30, 0x0AFF0001, 4); // to 10.255.0.1
    put(frame, 36, 53, 2);
    put(frame, 38, static_cast<std::uint32_t>(length - 34), 2);
    return frame;
}

// As the station of that number sends it.
void comeFrom(std::vector<unsigned char> & frame, std::uint32_t station)
{
    put(frame, 8, station, 4);
    put(frame, 26, 0x0A000000U | (station & 0xFFFFFFU), 4);
    put(frame, 34, 1 + station % 1000, 2);
}

} // namespace

int main(int argc, char ** argv)
{
    using Clock = std::chrono::steady_clock;
    if (argc != 6) {
        std::fprintf(stderr, "usage: flood INTERFACE SECONDS RATE STATIONS LENGTH\n");
        return 2;
    }
    std::signal(SIGINT, [](int) { ended = 1; });
    std::signal(SIGTERM, [](int) { ended = 1; });
    int const handle = openedOn(argv[1]);
    std::chrono::duration<double> const time(std::stod(argv[2]));
    double const rate = std::stod(argv[3]);
    auto const stations = static_cast<std::uint32_t>(std::max(1UL, std::stoul(argv[4])));
    std::vector<std::vector<unsigned char>> frames(batch, plainFrame(std::max(least, std::stoul(argv[5]))));
    std::array<iovec, batch> parts{};
    std::array<mmsghdr, batch> messages{};
    for (std::size_t i = 0; i < batch; ++i) {
        parts[i] = {frames[i].data(), frames[i].size()};
        messages[i].msg_hdr.msg_iov = &parts[i];
        messages[i].msg_hdr.msg_iovlen = 1;
    }

    std::uint64_t sent = 0;
    std::uint32_t station = 0;
    auto const begin = Clock::now();
    while (!ended && Clock::now() - begin < time) {
        auto count = static_cast<unsigned int>(batch);
        if (rate > 0) {
            double const due = std::chrono::duration<double>(Clock::now() - begin).count() * rate;
            if (due < static_cast<double>(sent) + 1) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
                continue;
            }
            count = static_cast<unsigned int>(std::min(due - static_cast<double>(sent), double{batch}));
        }
        for (unsigned int i = 0; i < count; ++i)
            comeFrom(frames[i], (station + i) % stations);
        int const taken = sendmmsg(handle, messages.data(), count, 0);
        // Who has no room, or an interface that is down or gone for a while, is no reason to end.
        if (taken <= 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            continue;
        }
        sent += static_cast<unsigned int>(taken);
        station = (station + static_cast<unsigned int>(taken)) % stations;
    }
    double const seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    std::printf("%llu %.6f\n", static_cast<unsigned long long>(sent), seconds);
    return std::fflush(stdout) == 0 ? 0 : 1;
}
