#include "ketstats/engine/StatManager.h"

#include "tests/extended/FrameModel.h"
#include "tests/support/IPv6Frames.h"
#include "tests/support/IPv6Traffic.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

using namespace KetStats;
using namespace test;

// The second tree beside a model that works frames out anew: over every captured length of frames with all chains of
// headers, and over random ones. The bytes lie in a block of exactly their size, so that the address sanitizer sees a
// look beyond them.

namespace {

Bytes wordKey(unsigned int number)
{
    return {static_cast<unsigned char>(number >> 8), static_cast<unsigned char>(number)};
}

class Sweep
{
public:
    Sweep() : m_manager(roomy())
    {
        for (int group = 1; group <= 7; ++group)
            m_manager.enableStatistic("2." + std::to_string(group));
        m_manager.beginAnalyzing(nullptr);
    }

    void take(Bytes const & captured, unsigned int length)
    {
        auto const exact = std::make_unique<unsigned char[]>(captured.size());
        std::copy(captured.begin(), captured.end(), exact.get());
        CNetworkFrame frame(exact.get(), static_cast<unsigned int>(captured.size()), length);
        m_manager.analyzeFrame(&frame);
        m_model.take(captured, length);
    }

    // Cut at every length.
    void takeCuts(Bytes const & frame)
    {
        for (std::size_t size = 0; size <= frame.size(); ++size) {
            take({frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(size)},
                 static_cast<unsigned int>(frame.size()));
            SCOPED_TRACE(testing::Message() << "cut at " << size);
            compare();
            if (testing::Test::HasFailure())
                return;
        }
    }

    void compare()
    {
        CExtendedStatistic & tree = m_manager.getExtendedStatistic();
        using Table = FrameModel::Table;
        Table traffic;
        for (CIPv6ConnectionStat const & row : tree.ipv6Connections) {
            Bytes key(row.source.get().bytes.begin(), row.source.get().bytes.end());
            key.insert(key.end(), row.destination.get().bytes.begin(), row.destination.get().bytes.end());
            traffic[key] = sent(row);
        }
        ASSERT_EQ(traffic, m_model.traffic);
        Table protocols;
        for (CIPv6ProtoStat const & row : tree.ipv6Protocols)
            protocols[{static_cast<unsigned char>(static_cast<long long>(row.rowKey()))}] = sent(row);
        ASSERT_EQ(protocols, m_model.protocols);
        comparePorts(tree.ipv6Ports.tcpPorts, m_model.tcpSent, m_model.tcpReceived);
        comparePorts(tree.ipv6Ports.udpPorts, m_model.udpSent, m_model.udpReceived);
        ASSERT_EQ(byNumber(tree.vlans.outer), m_model.outerVlans);
        ASSERT_EQ(byNumber(tree.vlans.inner), m_model.innerVlans);
        std::map<Bytes, Bytes> neighbours;
        for (CNeighbourStat const & row : tree.neighbours)
            neighbours[{row.ipAddress.get().bytes.begin(), row.ipAddress.get().bytes.end()}] = {
                row.macAddress.get().bytes.begin(), row.macAddress.get().bytes.end()};
        ASSERT_EQ(neighbours, m_model.neighbours);
        CSignalsStat::forEachColumn([&](auto id, auto counter) {
            ASSERT_EQ((tree.signals.*counter).get(), m_model.signals[id]) << "signal " << id;
        });
        CTunnelsStat::forEachColumn([&](auto id, auto row) {
            ASSERT_EQ((tree.tunnels.*row).frames.get(), m_model.tunnels[id].frames) << "tunnel " << id;
            ASSERT_EQ((tree.tunnels.*row).data.get(), m_model.tunnels[id].bytes) << "tunnel " << id;
        });
    }

    FrameModel const & model() const { return m_model; }

private:
    // Nothing is given up.
    static CTableLimits roomy()
    {
        CTableLimits limits;
        limits.ipv6Connections = limits.ipv6Protocols = limits.neighbours = limits.arpTable = 5000;
        limits.ipv6TcpPorts = limits.ipv6UdpPorts = 1100;
        return limits;
    }

    template <class Row>
    static FrameModel::Traffic sent(Row const & row)
    {
        return {row.framesTransmitted.get(), static_cast<unsigned long long>(row.dataTransmitted.get())};
    }

    template <class Rows>
    static FrameModel::Table byNumber(Rows const & rows)
    {
        FrameModel::Table result;
        for (auto const & row : rows)
            result[wordKey(static_cast<unsigned int>(static_cast<long long>(row.rowKey())))] = sent(row);
        return result;
    }

    template <class Rows>
    static void comparePorts(Rows const & rows, FrameModel::Table const & sentByModel,
                             FrameModel::Table const & receivedByModel)
    {
        FrameModel::Table transmitted;
        FrameModel::Table received;
        for (auto const & row : rows) {
            Bytes const key = wordKey(static_cast<unsigned int>(static_cast<long long>(row.rowKey())));
            if (row.framesTransmitted.get() != 0)
                transmitted[key] = sent(row);
            if (row.framesReceived.get() != 0)
                received[key] = {row.framesReceived.get(),
                                 static_cast<unsigned long long>(row.dataReceived.get())};
        }
        ASSERT_EQ(transmitted, sentByModel);
        ASSERT_EQ(received, receivedByModel);
    }

    CKetrinStatManager m_manager;
    FrameModel m_model;
};

constexpr unsigned int kinds[] = {0, 43, 44, 51, 60, 135};

Bytes headerOf(unsigned int kind, unsigned int next, unsigned int size = 8)
{
    if (kind == 44)
        return fragmentHeader(next, 0, size > 8);
    Bytes header = extension(next, size);
    if (kind == 51)
        header[1] = static_cast<unsigned char>(size / 4 - 2);
    return header;
}

// A packet with these headers in front of what the last one carries.
Bytes chain(std::vector<unsigned int> const & headers, unsigned int last, Bytes const & payload,
            unsigned int size = 8)
{
    Bytes bytes = payload;
    unsigned int next = last;
    for (std::size_t i = headers.size(); i-- > 0;) {
        bytes = headerOf(headers[i], next, size) + bytes;
        next = headers[i];
    }
    return ipv6Frame(v6A, v6B, next, bytes, 255);
}

struct Payload
{
    unsigned int number;
    Bytes bytes;
};

std::vector<Payload> payloads()
{
    return {{6, tcpHeader(80, 443, 2)},
            {6, tcpHeader(80, 443, 16, 0)},
            {17, udpHeader(53, 4789)},
            {58, icmpv6(3, 0, Bytes(12))},
            {58, icmpv6(136, 0, Bytes(4) + ipv6Bytes("fe80::2") + addressOption(2, macB))},
            {41, Bytes(8)},
            {59, {}}};
}

void expectCutsLikeTheModel(Bytes const & frame)
{
    Sweep sweep;
    sweep.takeCuts(frame);
}

TEST(FrameSweep, OfEveryExtensionHeaderAndOfEveryPairOfThem)
{
    for (Payload const & payload : payloads())
        for (unsigned int const first : kinds) {
            for (unsigned int const size : {8U, 16U, 40U})
                expectCutsLikeTheModel(chain({first}, payload.number, payload.bytes, size));
            for (unsigned int const second : kinds)
                expectCutsLikeTheModel(chain({first, second}, payload.number, payload.bytes));
            ASSERT_FALSE(HasFailure()) << payload.number << " behind " << first;
        }
}

TEST(FrameSweep, OfLongChains)
{
    for (Payload const & payload : payloads()) {
        expectCutsLikeTheModel(chain({0, 60, 43, 44, 51, 60, 135}, payload.number, payload.bytes, 16));
        for (std::size_t const headers : {15U, 16U, 17U})
            expectCutsLikeTheModel(
                chain(std::vector<unsigned int>(headers, 60), payload.number, payload.bytes));
        ASSERT_FALSE(HasFailure()) << payload.number;
    }
}

TEST(FrameSweep, OfFragmentsAndHeadersThatClaimTooMuch)
{
    for (unsigned int const offset : {0U, 1U, 0x1FFFU})
        for (bool const more : {false, true})
            expectCutsLikeTheModel(
                ipv6Frame(v6A, v6B, 44, fragmentHeader(17, offset, more) + udpHeader(53, 6081)));
    for (unsigned int const kind : kinds)
        for (unsigned int const claimed : {0U, 1U, 2U, 3U, 255U}) {
            Bytes header = extension(6, 16);
            header[1] = static_cast<unsigned char>(claimed);
            expectCutsLikeTheModel(ipv6Frame(v6A, v6B, kind, header + tcpHeader(80, 443)));
        }
}

TEST(FrameSweep, BehindTagsAndSnap)
{
    Bytes const plain = chain({60}, 6, tcpHeader(80, 443, 18));
    Bytes frame = plain;
    for (unsigned int tags = 0; tags <= 3; ++tags) {
        expectCutsLikeTheModel(frame);
        expectCutsLikeTheModel(snap(frame));
        frame = tagged(frame, 0xE123 + tags, tags % 2 ? 0x88A8 : 0x8100);
    }
}

TEST(FrameSweep, OfIPv4AndARPAndWhatLinksCarry)
{
    for (unsigned int const protocol : {1U, 4U, 6U, 17U, 41U, 47U})
        for (unsigned int const words : {0U, 4U, 5U, 7U, 15U}) {
            Bytes frame = ipFrame(hostA, hostB, protocol, icmpv6(3, 4, Bytes(24)), words);
            expectCutsLikeTheModel(frame);
            frame[20] = 0x20;
            frame[16] = 1;
            expectCutsLikeTheModel(frame);
        }
    expectCutsLikeTheModel(udpFrame(hostA, hostB, 1, 4789));
    expectCutsLikeTheModel(arpRequest(hostA, hostA));
    expectCutsLikeTheModel(arpReply(hostA, hostB));
    for (unsigned int const type : {0x8847U, 0x8848U, 0x8863U, 0x8864U})
        expectCutsLikeTheModel(ethernet(macA, macB, type) + Bytes(8));
}

TEST(FrameSweep, OfMessagesOfNeighboursWithEveryOptionLength)
{
    for (unsigned int const type : {133U, 134U, 135U, 136U, 137U})
        for (unsigned int length = 0; length <= 4; ++length) {
            Bytes options = addressOption(14, macC) + addressOption(type == 136 ? 2 : 1, macA) + Bytes(16);
            options[9] = static_cast<unsigned char>(length);
            Bytes const front = type == 134 ? Bytes(12) : Bytes(4) + ipv6Bytes("fe80::7");
            for (std::size_t behind = 0; behind <= options.size(); ++behind) {
                Bytes const told(options.begin(), options.begin() + static_cast<std::ptrdiff_t>(behind));
                Sweep sweep;
                Bytes const frame = ipv6Frame({macA, "fe80::1"}, v6B, 58, icmpv6(type, 0, front + told), 255);
                sweep.take(frame, static_cast<unsigned int>(frame.size()));
                // What is behind the packet is no part of it.
                sweep.take(frame + Bytes(9, 1), static_cast<unsigned int>(frame.size()));
                sweep.compare();
                ASSERT_FALSE(HasFailure()) << type << ", length " << length << ", " << behind << " bytes";
            }
        }
}

TEST(FrameSweep, OfRandomFramesIsWhatTheModelCounts)
{
    for (unsigned int seed = 100; seed < 106; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Sweep sweep;
        unsigned int number = 0;
        for (Captured const & frame : randomIPv6Traffic(seed, 5000, seed % 2 ? 20 : 60)) {
            sweep.take(frame.data, frame.length);
            if (++number % 250 == 0) {
                SCOPED_TRACE(testing::Message() << "after frame " << number);
                sweep.compare();
                ASSERT_FALSE(HasFailure());
            }
        }
        // There is something of everything.
        FrameModel const & model = sweep.model();
        EXPECT_GT(model.traffic.size(), 100U);
        EXPECT_GT(model.protocols.size(), 20U);
        EXPECT_GT(model.tcpSent.size(), 5U);
        EXPECT_GT(model.udpReceived.size(), 5U);
        EXPECT_GT(model.innerVlans.size(), 10U);
        EXPECT_GT(model.neighbours.size(), 5U);
        for (std::size_t signal = 1; signal <= 17; ++signal)
            EXPECT_GT(model.signals[signal], 0U) << signal;
        for (std::size_t tunnel = 1; tunnel <= 7; ++tunnel)
            EXPECT_GT(model.tunnels[tunnel].frames, 0U) << tunnel;
    }
}

} // namespace
