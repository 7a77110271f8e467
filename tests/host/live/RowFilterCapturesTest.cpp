#include "host/live/AnalysisOptions.h"
#include "host/live/Recording.h"
#include "host/render/ValueText.h"
#include "tests/host/PcapFile.h"

#include "ketstats/ketstats.h"

#include "tests/host/Program.h"
#include "tests/support/Frames.h"
#include "tests/support/Rows.h"

#include <gtest/gtest.h>
#include <pcap/pcap.h>

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <optional>
#include <ostream>

// Every row of every table is asked for its filter, and the frames that the filter passes are held against
// what the row counted, against a reading of the frame that shares no code with the library, and against
// libpcap's opinion of the filter's expression.
namespace {

using namespace KetStats;
using test::Bytes;

using MAC = std::array<unsigned char, 6>;
using IP = std::array<unsigned char, 4>;

// Counting starts anew before a table overflows, so that no row loses frames, and behind so many frames,
// since each is held against each row.
constexpr std::size_t framesAtATime = 1000;

// A frame as it was captured.
struct Captured
{
    Bytes data;
    unsigned int length;
};

// What a frame says, a byte that wasn't captured being zero.
struct Reading
{
    enum Framing
    {
        ethernet2,
        rawIPX,
        llc,
        snap,
    };

    explicit Reading(Captured const & frame) : bytes(frame.data)
    {
        take(destination, 0);
        take(source, 6);
        group = (destination[0] & 1) != 0;

        unsigned int type = 12;
        for (; word(type) == 0x8100 || word(type) == 0x88A8 || word(type) == 0x9100; type += 4)
            ++tags;
        payload = type + 2;
        if (word(type) >= 0x600) {
            framing = ethernet2;
            protocol = word(type);
            network = payload;
        } else if (word(payload) == 0xFFFF) {
            framing = rawIPX;
            protocol = 0x8137;
        } else if (word(payload) == 0xAAAA && byte(payload + 2) == 3) {
            framing = snap;
            protocol = word(payload + 6);
            network = payload + 8;
        } else {
            framing = llc;
            protocol = byte(payload);
        }

        isIP = protocol == 0x0800;
        if (!isIP)
            return;
        number = byte(network + 9);
        take(ipSource, network + 12);
        take(ipDestination, network + 16);
        transport = network + (byte(network) & 15) * 4;
        sourcePort = word(transport);
        destinationPort = word(transport + 2);
    }

    unsigned int byte(std::size_t at) const { return at < bytes.size() ? bytes[at] : 0; }
    unsigned int word(std::size_t at) const { return byte(at) * 256 + byte(at + 1); }

    template <class Address>
    void take(Address & address, std::size_t at)
    {
        for (unsigned char & octet : address)
            octet = static_cast<unsigned char>(byte(at++));
    }

    Bytes const & bytes;
    MAC source{};
    MAC destination{};
    bool group; // to everybody, or to a group
    unsigned int tags = 0;
    Framing framing;
    unsigned int protocol;
    unsigned int payload; // behind the type or length
    bool isIP;
    unsigned int network = 0; // as the rest, of IP only
    unsigned int number = 0;
    IP ipSource{};
    IP ipDestination{};
    unsigned int transport = 0;
    unsigned int sourcePort = 0;
    unsigned int destinationPort = 0;
};

enum Kind : std::size_t
{
    station,
    stationPort,
    protocol,
    macConnection,
    ipConnection,
    arp,
    subprotocol,
    port,
    kinds,
};

// A row of the final snapshot: what its key says, and what it counted.
struct Row
{
    Kind kind;
    CBaseStat const * node;
    MAC mac{}; // of a station, of ARP, of the source
    MAC toMac{};
    IP fromIp{};
    IP toIp{};
    unsigned int number = 0; // of a protocol or sub-protocol; for ports that of the transport
    unsigned int port = 0;
    unsigned int transmitted = 0;
    unsigned int received = 0;

    bool atStation(Reading const & frame) const { return frame.source == mac || frame.destination == mac; }
    bool ofPort(Reading const & frame) const
    {
        return frame.isIP && frame.number == number &&
               (frame.sourcePort == port || frame.destinationPort == port);
    }

    // Whether the frame is of the row's traffic, which is what its filter must say.
    bool selects(Reading const & frame) const
    {
        switch (kind) {
        case Kind::station:
            return atStation(frame);
        case Kind::stationPort:
            return ofPort(frame) && atStation(frame);
        case Kind::protocol:
            return frame.protocol == number;
        case Kind::macConnection:
            return frame.source == mac && frame.destination == toMac;
        case Kind::ipConnection:
            return frame.isIP && frame.ipSource == fromIp && frame.ipDestination == toIp;
        case Kind::arp:
            return frame.protocol == 0x0806 && atStation(frame);
        case Kind::subprotocol:
            return frame.isIP && frame.number == number;
        case Kind::port:
            return ofPort(frame);
        default:
            return false;
        }
    }

    // How the counting takes a frame of the row's traffic. A filter can't say these rules: a group is no
    // receiver, frames to one aren't looked at for IP, and a port at a station is counted at the end where
    // both are, not when the port is the other station's.
    bool transmits(Reading const & frame) const
    {
        switch (kind) {
        case Kind::station:
            return frame.source == mac;
        case Kind::stationPort:
            return !frame.group && frame.source == mac && frame.sourcePort == port;
        case Kind::protocol:
            return true;
        case Kind::port:
            return !frame.group && frame.sourcePort == port;
        case Kind::arp:
            return false;
        default:
            return !frame.group;
        }
    }
    bool receives(Reading const & frame) const
    {
        switch (kind) {
        case Kind::station:
            return !frame.group && frame.destination == mac;
        case Kind::stationPort:
            return !frame.group && frame.destination == mac && frame.destinationPort == port;
        case Kind::port:
            return !frame.group && frame.destinationPort == port;
        default:
            return false;
        }
    }

    bool looksAtTags() const { return kind != Kind::station && kind != Kind::macConnection; }

    // How many bytes libpcap wants of a frame that the filter passes. It refuses a frame that has less.
    std::size_t bytesWanted(Reading const & frame) const
    {
        std::size_t const addresses = 12;
        std::size_t const nextPort = frame.transport + (frame.sourcePort == port ? 2 : 4);
        switch (kind) {
        case Kind::ipConnection:
            return frame.network + 20;
        case Kind::subprotocol:
            return frame.network + 10;
        case Kind::port:
        case Kind::stationPort:
            return std::max<std::size_t>(frame.network + 10, nextPort);
        case Kind::protocol:
        case Kind::arp:
            switch (frame.framing) {
            case Reading::ethernet2:
                return frame.payload;
            case Reading::rawIPX:
                return frame.payload + 2;
            case Reading::snap:
                return frame.payload + 8;
            case Reading::llc:
                break;
            }
            // That it isn't SNAP, or raw IPX, takes more bytes than the first.
            if (frame.protocol == 0xAA)
                return frame.payload + (frame.byte(frame.payload + 1) == 0xAA ? 3 : 2);
            return frame.payload + (frame.protocol == 0xFF ? 2 : 1);
        default:
            return addresses;
        }
    }
};

// Why libpcap's answer differs from the filter's.
struct Differences
{
    unsigned int tags = 0; // an expression looks behind two
    unsigned int cut = 0;

    unsigned int all() const { return tags + cut; }

    // Whether libpcap refuses a frame that the filter passes. It never passes one that the filter doesn't.
    bool explain(Row const & row, Reading const & frame)
    {
        if (row.looksAtTags() && frame.tags > 2)
            return ++tags > 0;
        if (frame.bytes.size() < row.bytesWanted(frame))
            return ++cut > 0;
        return false;
    }
};

struct Totals
{
    std::array<unsigned int, kinds> rows{};
    std::array<unsigned int, kinds> passed{};
    std::array<unsigned int, kinds> uncounted{}; // passed, and counted in neither way
    unsigned int compared = 0;                   // pairs of a row and a frame
    unsigned int parts = 0;
    Differences differences;

    unsigned int allRows() const { return sum(rows); }
    unsigned int allPassed() const { return sum(passed); }
    static unsigned int sum(std::array<unsigned int, kinds> const & numbers)
    {
        unsigned int total = 0;
        for (unsigned int const number : numbers)
            total += number;
        return total;
    }
};

// Expressions as libpcap compiles them.
class Programs
{
public:
    Programs() : m_handle(pcap_open_dead(DLT_EN10MB, 262144)) {}
    ~Programs()
    {
        for (auto & [text, programs] : m_programs)
            for (bpf_program & program : programs)
                pcap_freecode(&program);
        pcap_close(m_handle);
    }
    Programs(Programs const &) = delete;
    Programs & operator=(Programs const &) = delete;

    // The same expression, with and without libpcap's optimiser.
    std::array<bpf_program, 2> const & of(std::string const & expression)
    {
        auto const [place, isNew] = m_programs.try_emplace(expression);
        for (int optimise = 0; isNew && optimise < 2; ++optimise)
            if (pcap_compile(m_handle, &place->second[static_cast<std::size_t>(optimise)], expression.c_str(),
                             optimise, PCAP_NETMASK_UNKNOWN) != 0)
                ADD_FAILURE() << expression << ": " << pcap_geterr(m_handle);
        return place->second;
    }

    static bool passes(bpf_program const & program, Captured const & frame)
    {
        pcap_pkthdr header{};
        header.caplen = static_cast<bpf_u_int32>(frame.data.size());
        header.len = frame.length;
        static unsigned char const nothing = 0;
        return pcap_offline_filter(&program, &header, frame.data.empty() ? &nothing : frame.data.data()) != 0;
    }

private:
    pcap_t * m_handle;
    std::map<std::string, std::array<bpf_program, 2>> m_programs;
};

template <class Target, class Source>
Target bytesOf(Source const & source)
{
    Target target{};
    Bytes const content = test::keyBytes(source);
    std::copy(content.begin(), content.end(), target.begin());
    return target;
}

unsigned int numberOf(CProtocolIdPacked const & id)
{
    return static_cast<unsigned int>(static_cast<long long>(id));
}

template <class Node, class Visit>
void overRows(typename Node::Container const & table, Visit const & visit)
{
    for (CBaseStat const * const row : ketmon::rowsOf(table))
        visit(dynamic_cast<Node const &>(*row));
}

std::vector<Row> rowsOf(CAgentStatistic const & tree)
{
    std::vector<Row> rows;
    auto const add = [&rows](Kind kind, auto const & node) -> Row & {
        Row & row = rows.emplace_back();
        row.kind = kind;
        row.node = &node;
        if constexpr (requires { node.framesTransmitted; })
            row.transmitted = node.framesTransmitted.get();
        if constexpr (requires { node.framesReceived; })
            row.received = node.framesReceived.get();
        return row;
    };
    auto const addPorts = [&add](Kind kind, auto const & tables, MAC const & mac) {
        overRows<CTcpPortStat>(tables.tcpPorts, [&](CTcpPortStat const & node) {
            Row & row = add(kind, node);
            row.mac = mac;
            row.number = 6;
            row.port = numberOf(node.port.get());
        });
        overRows<CUdpPortStat>(tables.udpPorts, [&](CUdpPortStat const & node) {
            Row & row = add(kind, node);
            row.mac = mac;
            row.number = 17;
            row.port = numberOf(node.port.get());
        });
    };

    overRows<CStationStat>(tree.stations, [&](CStationStat const & node) {
        MAC const mac = bytesOf<MAC>(node.address.get());
        add(Kind::station, node).mac = mac;
        addPorts(Kind::stationPort, node, mac);
    });
    overRows<CProtocolStat>(tree.protocols, [&](CProtocolStat const & node) {
        add(Kind::protocol, node).number = numberOf(node.protocolId.get());
    });
    overRows<CMACConnectionStat>(tree.macConnections, [&](CMACConnectionStat const & node) {
        Row & row = add(Kind::macConnection, node);
        row.mac = bytesOf<MAC>(node.source.get());
        row.toMac = bytesOf<MAC>(node.destination.get());
    });
    overRows<CIPConnectionStat>(tree.ipConnections, [&](CIPConnectionStat const & node) {
        Row & row = add(Kind::ipConnection, node);
        row.fromIp = bytesOf<IP>(node.source.get());
        row.toIp = bytesOf<IP>(node.destination.get());
    });
    overRows<CARPStat>(tree.arpTable, [&](CARPStat const & node) {
        add(Kind::arp, node).mac = bytesOf<MAC>(node.macAddress.get());
    });
    overRows<CGenProtoStat<0>>(tree.ipSubprotocols, [&](CGenProtoStat<0> const & node) {
        add(Kind::subprotocol, node).number = numberOf(node.protocolId.get());
    });
    addPorts(Kind::port, tree.ipPorts, {});
    return rows;
}

// How many rows the fullest table still takes.
unsigned int roomLeft(CAgentStatistic & tree)
{
    unsigned int room = tree.ipConnections.getLimit();
    auto const look = [&room](CBaseHashedContainerStat const & table) {
        room = std::min(room, table.getLimit() - 1 - table.size());
    };
    for (CBaseHashedContainerStat const * table : std::initializer_list<CBaseHashedContainerStat const *>{
             &tree.stations, &tree.protocols, &tree.macConnections, &tree.ipConnections, &tree.arpTable,
             &tree.ipSubprotocols, &tree.ipPorts.tcpPorts, &tree.ipPorts.udpPorts})
        look(*table);
    for (unsigned int id = tree.stations.getOldestId(); id != 0; id = tree.stations.getNextNewerId(id)) {
        look(tree.stations.getChildById(id)->tcpPorts);
        look(tree.stations.getChildById(id)->udpPorts);
    }
    return room;
}

// Counts the frames from `next` on, as many as the tables have room for, and checks each row's filter on each
// of them.
class Part
{
public:
    Part(std::vector<Captured> const & frames, std::size_t & next)
    {
        ketmon::CAnalysisOptions options;
        options.tcpPorts = options.udpPorts = "0-65535";
        ketmon::configure(m_manager, options);
        m_manager.beginAnalyzing(nullptr);
        ketmon::CRecording & recording =
            m_recording.emplace(m_manager, ketmon::CRecordingOptions{}, 125911584000000000);

        // A frame makes at most two rows in one table.
        unsigned int room = roomLeft(m_manager.getAgentStatistic());
        for (; next < frames.size() && m_frames.size() < framesAtATime && room >= 2; ++next) {
            Captured const & captured = frames[next];
            CNetworkFrame frame(captured.data.data(), static_cast<unsigned int>(captured.data.size()),
                                captured.length);
            m_manager.analyzeFrame(&frame);
            m_frames.push_back(&captured);
            m_readings.emplace_back(captured);
            room = roomLeft(m_manager.getAgentStatistic());
        }
        recording.finish();
        m_rows = rowsOf(dynamic_cast<CAgentStatistic const &>(recording.result()));
    }

    void check(Programs & programs, Totals & totals) const
    {
        expectNothingEvicted();
        for (Row const & row : m_rows)
            check(row, programs, totals);
        ++totals.parts;
    }

private:
    // Every frame has a sender and a protocol, so a row that went would leave a gap in these sums.
    void expectNothingEvicted() const
    {
        std::size_t sent = 0;
        std::size_t counted = 0;
        for (Row const & row : m_rows) {
            sent += row.kind == Kind::station ? row.transmitted : 0;
            counted += row.kind == Kind::protocol ? row.transmitted : 0;
        }
        EXPECT_EQ(sent, m_frames.size());
        EXPECT_EQ(counted, m_frames.size());
        EXPECT_GT(m_frames.size(), 0U);
    }

    void check(Row const & row, Programs & programs, Totals & totals) const
    {
        std::unique_ptr<CFilter> const filter(buildFilter(row.node));
        ASSERT_TRUE(filter) << row.node->getOid().toString();
        std::string const expression = filter->GetDescription();
        auto const & compiled = programs.of(expression);

        unsigned int transmitted = 0;
        unsigned int received = 0;
        for (std::size_t i = 0; i < m_frames.size(); ++i) {
            Captured const & captured = *m_frames[i];
            Reading const & reading = m_readings[i];
            CFrame const frame(captured.data.data(), static_cast<unsigned int>(captured.data.size()),
                               captured.length);

            bool const passed = filter->IsSatisfied(&frame);
            bool const explained = passed && totals.differences.explain(row, reading);

            ASSERT_EQ(passed, row.selects(reading)) << expression << ", frame " << i;
            ASSERT_EQ(Programs::passes(compiled[0], captured), passed && !explained)
                << expression << ", frame " << i;
            ASSERT_EQ(Programs::passes(compiled[1], captured), passed && !explained)
                << expression << ", optimised, frame " << i;

            bool const sent = passed && row.transmits(reading);
            bool const got = passed && row.receives(reading);
            transmitted += sent;
            received += got;
            totals.passed[row.kind] += passed;
            totals.uncounted[row.kind] += passed && !sent && !got;
        }
        EXPECT_EQ(row.transmitted, transmitted) << row.node->getOid().toString() << ": " << expression;
        EXPECT_EQ(row.received, received) << row.node->getOid().toString() << ": " << expression;
        ++totals.rows[row.kind];
        totals.compared += static_cast<unsigned int>(m_frames.size());
    }

    CKetrinStatManager m_manager;
    std::optional<ketmon::CRecording> m_recording;
    std::vector<Captured const *> m_frames;
    std::vector<Reading> m_readings;
    std::vector<Row> m_rows;
};

Totals checkAll(std::vector<Captured> const & frames)
{
    Programs programs;
    Totals totals;
    for (std::size_t next = 0; next < frames.size() && !testing::Test::HasFatalFailure();)
        Part(frames, next).check(programs, totals);
    return totals;
}

std::vector<Captured> framesOf(std::string const & path)
{
    std::vector<Captured> frames;
    test::CPcapFile source(path);
    for (ketmon::CCapturedFrame frame{}; source.next(frame);)
        frames.push_back({Bytes(frame.data, frame.data + frame.capturedLength), frame.length});
    return frames;
}

// A bundled capture, and how much of it there must be to compare.
struct Capture
{
    char const * name;
    unsigned int rows;
    unsigned int passed;
    unsigned int differences; // exactly so many of libpcap's answers are other than the filters'

    friend std::ostream & operator<<(std::ostream & out, Capture const & capture)
    {
        return out << capture.name;
    }
};

class RowFiltersOfCapture : public testing::TestWithParam<Capture>
{};

TEST_P(RowFiltersOfCapture, PassTheFramesThatTheirRowsCount)
{
    std::vector<Captured> const frames = framesOf(test::capture(GetParam().name));

    Totals const totals = checkAll(frames);

    EXPECT_GE(totals.allRows(), GetParam().rows);
    EXPECT_GE(totals.allPassed(), GetParam().passed);
    EXPECT_EQ(totals.differences.all(), GetParam().differences);
}

INSTANTIATE_TEST_SUITE_P(Bundled, RowFiltersOfCapture,
                         testing::Values(Capture{"internet-mixed.pcap", 1200, 46000, 0},
                                         Capture{"many-stations-arp.pcap", 450, 71000, 0},
                                         Capture{"many-connections.pcap", 1600, 15000, 0},
                                         Capture{"llc-snap-ipx-vlan.pcap", 60, 1100, 0},
                                         Capture{"file-service-fragments.pcap", 530, 5900, 0},
                                         Capture{"multicast-ip-options.pcap", 85, 990, 0},
                                         Capture{"jumbo-ssh.pcap", 100, 18000, 0},
                                         Capture{"truncated-snaplen.pcap", 12, 8780, 0},
                                         Capture{"malformed-and-runts.pcap", 190, 2000, 124},
                                         Capture{"offload-directory.pcapng", 40, 3140, 0},
                                         Capture{"nanosecond-big-endian.pcap", 9, 90, 0}),
                         [](auto const & about) {
                             std::string name = about.param.name;
                             for (char & c : name)
                                 c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
                             return name;
                         });

// An 802.3 frame with these bytes behind the length.
Bytes behindLength(char const * destination, char const * source, std::string const & payload)
{
    return test::operator+(test::ethernet(destination, source, 0x0040),
                           test::operator+(test::bytes(payload), Bytes(30)));
}

// One of each kind of frame, and of each that is counted by a rule of its own.
std::vector<Bytes> kindsOfFrames()
{
    using namespace test;
    Host const groupAsSender{"03-00-00-00-00-01", "10.0.0.99"};
    std::vector<Bytes> frames;

    for (auto const frame : {tcpFrame, udpFrame}) {
        frames.push_back(frame(hostA, hostB, 80, 3000, 5));
        frames.push_back(frame(hostB, hostA, 3000, 80, 5));
        frames.push_back(frame(hostB, hostA, 80, 80, 5));
        frames.push_back(frame(hostA, hostA, 80, 3000, 5)); // to oneself
        frames.push_back(frame(hostA, hostA, 53, 53, 5));
        frames.push_back(frame(hostA, hostC, 3000, 80, 5)); // the port is the other's
        frames.push_back(frame(hostC, hostA, 0, 65535, 5));
        frames.push_back(frame(hostA, everybody, 80, 53, 5));
        frames.push_back(frame(hostA, somebody, 53, 80, 5));
        frames.push_back(frame(groupAsSender, hostA, 80, 53, 5));
        frames.push_back(frame(hostB, groupAsSender, 53, 80, 5));
        for (unsigned int const words : {6U, 10U, 15U}) // with options
            frames.push_back(frame(hostA, hostB, 80, 3000, words));
        for (unsigned int const words : {0U, 1U, 3U, 4U}) // with less than a header
            frames.push_back(frame(hostB, hostC, 53, 80, words));
        Bytes fragment = frame(hostA, hostB, 80, 3000, 5);
        fragment[20] = 0x20; // more follow
        frames.push_back(fragment);
        fragment[20] = 0x01; // a later one
        frames.push_back(fragment);
        Bytes version = frame(hostA, hostB, 80, 3000, 5);
        version[14] = 0x65;
        frames.push_back(version);
    }
    for (unsigned int const number : {0U, 1U, 2U, 47U, 255U})
        frames.push_back(ipFrame(hostB, hostC, number, Bytes(8)));
    frames.push_back(ipFrame(hostB, somebody, 2, Bytes(8)));

    frames.push_back(arpRequest(hostA, hostB));
    frames.push_back(arpReply(hostB, hostA));
    frames.push_back(arpReply(groupAsSender, hostB));
    frames.push_back(arpFrame(3, hostC, hostA, hostA.mac)); // no request and no reply

    for (unsigned int const type : {0x0600U, 0x8137U, 0x86DDU, 0x88CCU, 0x88B5U})
        frames.push_back(ethernet(macB, macC, type) + Bytes(46, 0x5A));

    for (char const * const payload : {
             "42 42 03",
             "00 00 00",
             "AA 00 03",
             "AA AA 00",
             "AA AB 03",
             "FF 03 00",
             "FF 00 FF",
             "E0 E0 03",
             "FF FF 00",
             "FF FF FF", // raw IPX
             "AA AA 03 00 00 0C 20 00",
             "AA AA 03 00 00 00 81 37", // SNAP
             "AA AA 03 00 00 00 00 42",
             "AA AA 03 00 00 00 81 00",
             "AA AA 03 00 00 00 00 AA",
             "AA AA 03 00 00 00 00 FF",
             "AA AA 03 00 00 00 00 00",
             "AA AA 03 08 00 06 88 CC",
         })
        frames.push_back(behindLength(macA, macC, payload));
    std::size_t const direct = frames.size();
    for (std::size_t i = 0; i < direct; ++i)
        if (frames[i][12] == 0x08)
            frames.push_back(snap(Bytes(frames[i])));
    return frames;
}

// All kinds of frames behind 0 to 3 tags, whole and cut at every place where it may matter.
std::vector<Captured> generated()
{
    test::Random random(20);
    std::vector<Captured> frames;
    for (Bytes const & plain : kindsOfFrames()) {
        Bytes frame = plain;
        for (unsigned int tags = 0; tags <= 3; ++tags) {
            auto const length = static_cast<unsigned int>(frame.size());
            frames.push_back({frame, length});
            for (int cuts = 0; cuts < 5; ++cuts)
                frames.push_back({Bytes(frame.begin(), frame.begin() + random.below(length)), length});
            unsigned int const tagType[] = {0x8100, 0x88A8, 0x9100};
            frame = test::tagged(frame, random.below(0x10000), tagType[random.below(3)]);
        }
    }
    // Runts, of which the first few bytes are there.
    Bytes const whole = test::tcpFrame(test::hostA, test::hostB, 80, 3000);
    for (unsigned int length = 0; length < whole.size(); ++length)
        frames.push_back({Bytes(whole.begin(), whole.begin() + length), length});
    for (std::size_t i = frames.size(); i > 1; --i)
        std::swap(frames[i - 1], frames[random.below(i)]);
    return frames;
}

TEST(RowFiltersOfGeneratedFrames, PassTheFramesThatTheirRowsCount)
{
    std::vector<Captured> const frames = generated();

    Totals const totals = checkAll(frames);

    for (std::size_t kind = 0; kind < kinds; ++kind) {
        EXPECT_GE(totals.rows[kind], 15U) << kind;
        EXPECT_GE(totals.passed[kind], 250U) << kind;
    }
    for (Kind const kind : {station, stationPort, ipConnection, subprotocol, port})
        EXPECT_GE(totals.uncounted[kind], 80U) << kind;
    EXPECT_EQ(totals.uncounted[protocol], 0U);
    EXPECT_EQ(totals.uncounted[macConnection], 0U);
    EXPECT_EQ(totals.uncounted[arp], totals.passed[arp]) << "these rows have no counters";
    EXPECT_GE(totals.differences.tags, 2000U);
    EXPECT_GE(totals.differences.cut, 3000U);
    EXPECT_GE(totals.compared, 300000U);
}

} // namespace
