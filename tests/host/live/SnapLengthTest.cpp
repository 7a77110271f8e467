#include "host/capture/SnapLength.h"

#include "host/capture/LoadedCapture.h"
#include "host/render/JsonTree.h"
#include "tests/host/Program.h"

#include "ketstats/ketstats.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

using ketmon::CLoadedCapture;
using nlohmann::ordered_json;
using testing::IsEmpty;
using testing::Not;

namespace {

// Both trees that count the frames, cut to that length.
ordered_json treesOf(CLoadedCapture const & capture, unsigned int snapLength)
{
    KetStats::CKetrinStatManager manager;
    for (char const * const group :
         {"1.4", "1.5", "1.6", "1.7", "1.8", "1.9", "2.1", "2.2", "2.3", "2.4", "2.5", "2.6", "2.7"})
        manager.enableStatistic(group);
    manager.beginAnalyzing(nullptr);
    CNetworkFrame cut;
    capture.overFrames([&](CNetworkFrame const & frame) {
        cut.Assign(frame.GetData(), std::min(frame.GetCapturedLength(), snapLength),
                   static_cast<unsigned int>(frame.GetLength()));
        manager.analyzeFrame(&cut);
    });
    ordered_json trees = ketmon::toJson(manager.getAgentStatistic());
    trees.update(ketmon::toJson(manager.getExtendedStatistic()));
    return trees;
}

// The tables in which what is counted of frames of that length differs from what is counted of whole ones.
std::vector<std::string> differences(CLoadedCapture const & capture, unsigned int snapLength)
{
    std::vector<std::string> names;
    ordered_json const whole = treesOf(capture, ketmon::wholeFrames);
    ordered_json const cut = treesOf(capture, snapLength);
    for (auto const & [name, table] : whole.items())
        if (table != cut.at(name))
            names.push_back(name);
    return names;
}

class Frames
{
public:
    explicit Frames(unsigned int seed) : m_random(seed) {}

    unsigned int below(unsigned int limit) { return static_cast<unsigned int>(m_random() % limit); }

    // A frame of random layers whose headers are as long as any that are looked at.
    std::string frame()
    {
        std::string bytes = text(1, 3) + text(5, 1) + text(6, 1) + text(1, 3) + text(5, 1) + text(6, 1);
        bytes[0] = static_cast<char>(below(8) == 0 ? 1 : 2);
        for (unsigned int tags = below(11); tags > 0; --tags)
            bytes += std::string(below(2) == 0 ? "\x81\x00" : "\x88\xa8", 2) + text(2, 256);
        bool const arp = below(4) == 0;
        std::string const type(arp ? "\x08\x06" : "\x08\x00", 2);
        switch (below(4)) {
        case 0:
            bytes += std::string("\x00\x20\xaa\xaa\x03\0\0\0", 8) + type;
            break;
        case 1:
            bytes += std::string("\x00\x20", 2) + text(4, 256); // LLC, or IPX
            break;
        default:
            bytes += type;
        }
        bytes += arp ? arpPacket() : ipPacket();
        return bytes.substr(0, below(16) == 0 ? below(static_cast<unsigned int>(bytes.size())) : 100000);
    }

    static std::string longest()
    {
        std::string bytes(12, '\2');
        for (unsigned int tag = 0; tag < 10; ++tag)
            bytes += std::string("\x81\x00\x00\x07", 4);
        bytes += std::string("\x00\x20\xaa\xaa\x03\0\0\0\x08\x00", 10);
        std::string ip(60, '\1');
        ip[0] = '\x4f';
        ip[6] = ip[7] = 0; // no fragment
        ip[9] = 6;
        // Without the last byte of its window that isn't known to be zero.
        return bytes + ip + std::string("\0\x50\0\x51\1\1\1\1\1\1\1\1\x50\x10\0\0", 16) + "the rest of it";
    }

private:
    std::string text(unsigned int length, unsigned int limit)
    {
        std::string bytes;
        while (bytes.size() < length)
            bytes += static_cast<char>(below(limit));
        return bytes;
    }

    std::string ipPacket()
    {
        std::string header = text(60, 4);
        header[0] = static_cast<char>(0x40 + below(16));
        header[9] = static_cast<char>(below(3) == 0 ? 6 : below(2) == 0 ? 17 : below(200));
        return header + text(20 + below(1400), 4);
    }

    std::string arpPacket()
    {
        std::string header = std::string("\0\1\x08\0\6\4\0", 7) + static_cast<char>(1 + below(2));
        if (below(4) == 0) {
            header[4] = static_cast<char>(below(21));
            header[5] = static_cast<char>(below(5));
        }
        return header + text(60, 8);
    }

    std::mt19937 m_random;
};

void add(CLoadedCapture & capture, std::string const & bytes, unsigned int more)
{
    auto const length = static_cast<unsigned int>(bytes.size());
    capture.add(reinterpret_cast<unsigned char const *>(bytes.data()), length, length + more);
}

TEST(SnapLength, OfTheHeadersChangesNothingInBundledCaptures)
{
    for (std::string const & name : test::captures()) {
        CLoadedCapture capture;
        capture.load(test::capture(name));

        // Two packets there carry a header of options that is longer than all that is looked at.
        std::vector<std::string> const known = name == "many-connections.pcap"
                                                   ? std::vector<std::string>{"IPv6 protocols", "Tunnels"}
                                                   : std::vector<std::string>();
        EXPECT_EQ(differences(capture, ketmon::headersLength), known) << name;
    }
}

TEST(SnapLength, OfTheHeadersChangesNothingInGeneratedFrames)
{
    for (unsigned int seed = 1; seed <= 8; ++seed) {
        Frames frames(seed);
        CLoadedCapture capture;
        for (unsigned int i = 0; i < 3000; ++i)
            add(capture, frames.frame(), frames.below(3) == 0 ? frames.below(60) : 0);

        EXPECT_THAT(differences(capture, ketmon::headersLength), IsEmpty()) << seed;
    }
}

TEST(SnapLength, OfIPv4HasNoByteMoreThanIsNeeded)
{
    CLoadedCapture capture;
    add(capture, Frames::longest(), 0);

    EXPECT_THAT(differences(capture, ketmon::shortHeadersLength), IsEmpty());
    EXPECT_THAT(differences(capture, ketmon::shortHeadersLength - 1), Not(IsEmpty()));
}

// As a router of today sends it: its link address, MTU, two prefixes, two servers of the DNS and search domains.
TEST(SnapLength, OfTheHeadersHoldsTheAdvertisementOfARouter)
{
    std::string options("\1\1\2\0\0\0\0\1\5\1\0\0\0\0\5\xdc", 16);
    for (int prefix = 0; prefix < 2; ++prefix)
        options += std::string("\3\4\x40\xc0", 4) + std::string(28, '\1');
    options += std::string("\x19\5\0\0", 4) + std::string(36, '\1');
    options += std::string("\x1f\5\0\0", 4) + std::string(36, '\1');
    std::string const message = std::string("\x86\0\0\0", 4) + std::string(12, '\0') + options;
    std::string frame("\x33\x33\0\0\0\1\2\0\0\0\0\1\x86\xdd\x60\0\0\0\0", 19);
    frame += static_cast<char>(message.size());
    frame += std::string("\x3a\xff\xfe\x80", 4) + std::string(13, '\0') + '\1';
    frame += std::string("\xff\2", 2) + std::string(13, '\0') + '\1' + message;
    CLoadedCapture capture;
    add(capture, frame, 0);

    EXPECT_THAT(differences(capture, ketmon::headersLength), IsEmpty());
    EXPECT_THAT(differences(capture, static_cast<unsigned int>(frame.size()) - 1), Not(IsEmpty()))
        << "it binds the router's address";
}

} // namespace
