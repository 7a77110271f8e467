#include "tests/support/Traffic.h"

#include "tests/support/Dice.h"
#include "tests/support/Frames.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace test {

namespace {

std::uint32_t wordAt(Bytes const & bytes, std::size_t offset)
{
    std::uint32_t word = 0;
    std::memcpy(&word, &bytes.at(offset), sizeof word);
    return word;
}

Host anybody(Dice & dice, unsigned int stations)
{
    // Some are much busier than others.
    return host(dice.below(1 + dice.below(stations)));
}

Bytes anyFrame(Dice & dice, unsigned int stations)
{
    Host const from = anybody(dice, stations);
    Host const to = dice.oneIn(12) ? everybody : dice.oneIn(12) ? somebody : anybody(dice, stations);
    unsigned int const headerWords = dice.oneIn(20) ? dice.below(16) : 5;
    unsigned int const service = 1 + dice.below(1 + dice.below(1500));
    unsigned int const other = dice.below(65536);
    unsigned int const fromPort = dice.oneIn(2) ? service : other;
    unsigned int const toPort = fromPort == service && !dice.oneIn(9) ? other : service;
    // Each die is thrown in a statement of its own: arguments are worked out in any order.
    unsigned int const type = dice.below(65536);
    unsigned int const protocol = dice.below(256);
    unsigned int const more = dice.below(60);
    switch (dice.below(16)) {
    case 0:
        return arpRequest(from, to);
    case 1:
        return arpReply(from, to);
    case 2:
        return ipFrame(from, to, protocol, Bytes(more, 7), headerWords);
    case 3:
        return ethernet(to.mac.c_str(), from.mac.c_str(), type) + Bytes(more, 0xAA);
    case 4:
        return ethernet(to.mac.c_str(), from.mac.c_str(), 40) + bytes("FF FF") + Bytes(30, 1);
    case 5:
        return ethernet(to.mac.c_str(), from.mac.c_str(), 40) + Bytes{static_cast<unsigned char>(protocol)} +
               Bytes(30, 2);
    case 6:
    case 7:
    case 8:
    case 9:
        return udpFrame(from, to, fromPort, toPort, headerWords);
    default:
        return tcpFrame(from, to, fromPort, toPort, headerWords);
    }
}

} // namespace

Traffic bundledTraffic(char const * file)
{
    std::ifstream stream(std::string(KETSTATS_CAPTURES) + '/' + file, std::ios::binary);
    Bytes const all{std::istreambuf_iterator<char>(stream), {}};
    constexpr std::size_t fileHeader = 24;
    constexpr std::size_t recordHeader = 16;
    if (all.size() < fileHeader || (wordAt(all, 0) != 0xA1B2C3D4 && wordAt(all, 0) != 0xA1B23C4D))
        throw std::runtime_error(std::string(file) + " isn't a capture that this reads");
    Traffic traffic;
    for (std::size_t at = fileHeader; at + recordHeader <= all.size();) {
        std::uint32_t const captured = wordAt(all, at + 8);
        std::uint32_t const length = wordAt(all, at + 12);
        at += recordHeader;
        if (captured > all.size() - at)
            break;
        auto const begin = all.begin() + static_cast<std::ptrdiff_t>(at);
        traffic.push_back({Bytes(begin, begin + static_cast<std::ptrdiff_t>(captured)), length});
        at += captured;
    }
    return traffic;
}

Traffic randomTraffic(std::uint64_t seed, std::size_t count, unsigned int stations)
{
    Dice dice(seed);
    Traffic traffic;
    while (traffic.size() < count) {
        Bytes frame = anyFrame(dice, stations);
        if (dice.oneIn(6)) {
            constexpr unsigned int tagTypes[] = {0x8100, 0x8100, 0x88A8, 0x9100};
            unsigned int const tagType = tagTypes[dice.below(4)];
            frame = tagged(frame, dice.below(65536), tagType);
        }
        if (dice.oneIn(15))
            frame = snap(frame);
        auto length = static_cast<unsigned int>(frame.size()) + (dice.oneIn(3) ? dice.below(1500) : 0);
        if (dice.oneIn(40))
            length = dice.below(200000);
        if (dice.oneIn(10))
            frame.resize(dice.below(static_cast<unsigned int>(frame.size()) + 1));
        traffic.push_back({std::move(frame), length});
    }
    return traffic;
}

} // namespace test
