#include "ketstats/ketstats.h"

#include "tests/support/Filters.h"
#include "tests/support/IPv6Frames.h"

#include <gtest/gtest.h>
#include <pcap/pcap.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>

// Every row of the tables of IPv6 and VLANs is asked for its filter, and the frames that the filter passes are held
// against what the row counted, and against libpcap's opinion of the filter's expression.
namespace {

using namespace KetStats;
using test::Bytes;

struct Captured
{
    Bytes data;
    unsigned int length;

    unsigned int captured() const { return static_cast<unsigned int>(data.size()); }
};

// What libpcap would have to see of a frame to decide as the filter does, and more than any of these reads but for
// headers that are themselves longer.
Captured padded(Captured frame)
{
    frame.data.resize(frame.data.size() + 512);
    return frame;
}

// The same expression, with and without libpcap's optimiser.
class Programs
{
public:
    explicit Programs(std::string const & expression)
    {
        std::unique_ptr<pcap_t, void (*)(pcap_t *)> const handle(pcap_open_dead(DLT_EN10MB, 1 << 18),
                                                                 &pcap_close);
        for (int optimise = 0; optimise < 2; ++optimise) {
            bpf_program program{};
            if (pcap_compile(handle.get(), &program, expression.c_str(), optimise, PCAP_NETMASK_UNKNOWN) == 0)
                m_programs[optimise] = program;
            else
                ADD_FAILURE() << pcap_geterr(handle.get()) << ": " << expression;
        }
    }
    ~Programs()
    {
        for (auto & program : m_programs)
            if (program)
                pcap_freecode(&*program);
    }
    Programs(Programs const &) = delete;
    Programs & operator=(Programs const &) = delete;

    bool passes(Captured const & frame) const
    {
        pcap_pkthdr header{};
        header.caplen = frame.captured();
        header.len = frame.length;
        static unsigned char const nothing = 0;
        unsigned char const * const data = frame.data.empty() ? &nothing : frame.data.data();
        bool const passed = pcap_offline_filter(&*m_programs[0], &header, data) != 0;
        EXPECT_EQ(pcap_offline_filter(&*m_programs[1], &header, data) != 0, passed);
        return passed;
    }

private:
    std::optional<bpf_program> m_programs[2];
};

struct Totals
{
    unsigned int rows = 0;
    unsigned int passed = 0;
    unsigned int uncounted = 0; // passed, and not unicast
    unsigned int cut = 0;       // differences: libpcap wants bytes that are missing
    unsigned int deep = 0;      // more tags, or extension headers, than an expression looks behind
};

unsigned int wordAt(Bytes const & bytes, std::size_t at)
{
    return at + 1 < bytes.size() ? bytes[at] * 256U + bytes[at + 1] : 0;
}

bool isTag(unsigned int type)
{
    return type == 0x8100 || type == 0x88A8 || type == 0x9100;
}

// Whether there are more than two tags, or more than two extension headers of IPv6.
bool isDeep(Bytes const & frame)
{
    std::size_t type = 12;
    for (; isTag(wordAt(frame, type)); type += 4)
        if (type >= 12 + 2 * 4)
            return true;
    std::size_t packet = type + 2;
    if (wordAt(frame, type) < 0x600)
        packet += 8;
    if (packet + 40 > frame.size())
        return false;
    unsigned int number = frame[packet + 6];
    std::size_t at = packet + 40;
    for (unsigned int headers = 0;; ++headers) {
        bool const isExtension =
            number == 0 || number == 43 || number == 44 || number == 51 || number == 60 || number == 135;
        if (!isExtension || headers == 2 || at + 2 > frame.size())
            return isExtension && headers == 2;
        bool const isLater = number == 44 && wordAt(frame, at + 2) >= 8;
        std::size_t const length = number == 44   ? 8
                                   : number == 51 ? frame[at + 1] * 4U + 8
                                                  : frame[at + 1] * 8U + 8;
        number = frame[at];
        at += length;
        if (isLater)
            return false;
    }
}

// Counts some of the frames, and checks the filter of each row on each of them.
class Part
{
public:
    Part(std::vector<Captured> const & frames, std::size_t from, Totals & totals)
        : m_frames(frames.begin() + static_cast<std::ptrdiff_t>(from),
                   frames.begin() + static_cast<std::ptrdiff_t>(std::min(frames.size(), from + most))),
          m_totals(totals)
    {
        for (int group = 1; group <= 5; ++group)
            EXPECT_TRUE(m_manager.enableStatistic("2." + std::to_string(group)));
        m_manager.setTCPPortRange(0, 65535);
        m_manager.setUDPPortRange(0, 65535);
        m_manager.beginAnalyzing(nullptr);
        for (Captured const & captured : m_frames) {
            CNetworkFrame frame(captured.data.data(), captured.captured(), captured.length);
            m_manager.analyzeFrame(&frame);
        }
    }

    static constexpr std::size_t most = 500; // fewer than any table has rows

    void check()
    {
        CExtendedStatistic const & tree = m_manager.getExtendedStatistic();
        checkTable(tree.ipv6Connections, true, false);
        checkTable(tree.ipv6Protocols, true, false);
        checkTable(tree.ipv6Ports.tcpPorts, true, false);
        checkTable(tree.ipv6Ports.udpPorts, true, false);
        checkTable(tree.vlans.outer, false, true);
        checkTable(tree.vlans.inner, false, true);
        for (auto const & row : tree.neighbours)
            EXPECT_GT(passedBy(row, true, false).all, 0U) << row.getOid().toString();
    }

private:
    struct Passed
    {
        unsigned int all = 0;
        unsigned int unicast = 0;
    };

    template <class Table>
    void checkTable(Table const & table, bool ofUnicast, bool ofAnyDepth)
    {
        for (auto const & row : table) {
            if (testing::Test::HasFailure())
                return;
            Passed const passed = passedBy(row, ofUnicast, ofAnyDepth);
            unsigned int counted = row.framesTransmitted.get();
            if constexpr (requires { row.framesReceived; }) {
                // A frame from a port to itself counts once each way.
                counted += row.framesReceived.get();
                EXPECT_LE(passed.unicast, counted) << row.getOid().toString();
                EXPECT_LE(counted, 2 * passed.unicast) << row.getOid().toString();
            } else {
                EXPECT_EQ(ofUnicast ? passed.unicast : passed.all, counted) << row.getOid().toString();
            }
        }
    }

    Passed passedBy(CBaseStat const & row, bool ofUnicast, bool ofAnyDepth)
    {
        std::unique_ptr<CFilter> const filter(buildFilter(&row));
        std::string const expression = filter->GetDescription();
        Programs const programs(expression);
        ++m_totals.rows;
        Passed result;
        for (Captured const & captured : m_frames) {
            CFrame const frame(captured.data.data(), captured.captured(), captured.length);
            bool const passes = filter->IsSatisfied(&frame);
            bool const said = programs.passes(captured);
            if (said != passes) {
                EXPECT_FALSE(said) << expression << ", " << testing::PrintToString(captured.data);
                if (!ofAnyDepth && isDeep(captured.data)) {
                    ++m_totals.deep;
                } else {
                    ++m_totals.cut;
                    Captured const whole = padded(captured);
                    CFrame const wholeFrame(whole.data.data(), whole.captured(), whole.length);
                    EXPECT_TRUE(isDeep(whole.data) ||
                                programs.passes(whole) == filter->IsSatisfied(&wholeFrame))
                        << expression << ", " << testing::PrintToString(captured.data);
                }
            }
            result.all += passes;
            result.unicast += passes && (captured.data.empty() || (captured.data[0] & 1) == 0);
        }
        m_totals.passed += result.all;
        m_totals.uncounted += ofUnicast ? result.all - result.unicast : 0;
        return result;
    }

    CKetrinStatManager m_manager;
    std::vector<Captured> m_frames;
    Totals & m_totals;
};

Totals checkAll(std::vector<Captured> const & frames)
{
    Totals totals;
    for (std::size_t from = 0; from < frames.size() && !testing::Test::HasFailure(); from += Part::most)
        Part(frames, from, totals).check();
    return totals;
}

// As many as can be read; some of the captures are bundled because they end early.
std::vector<Captured> framesOf(std::filesystem::path const & path)
{
    char error[PCAP_ERRBUF_SIZE];
    std::unique_ptr<pcap_t, void (*)(pcap_t *)> const handle(pcap_open_offline(path.c_str(), error),
                                                             &pcap_close);
    std::vector<Captured> frames;
    if (!handle || pcap_datalink(handle.get()) != DLT_EN10MB)
        return frames;
    pcap_pkthdr * header = nullptr;
    u_char const * data = nullptr;
    while (pcap_next_ex(handle.get(), &header, &data) == 1)
        frames.push_back({Bytes(data, data + header->caplen), header->len});
    return frames;
}

TEST(ExtendedRowFiltersOfCaptures, PassTheFramesThatTheirRowsCount)
{
    Totals all;
    for (auto const & file : std::filesystem::directory_iterator(KETSTATS_CAPTURES)) {
        if (file.path().extension() != ".pcap" && file.path().extension() != ".pcapng")
            continue;
        SCOPED_TRACE(file.path().filename());
        Totals const totals = checkAll(framesOf(file.path()));
        all.rows += totals.rows;
        all.passed += totals.passed;
    }

    EXPECT_GE(all.rows, 20U);
    EXPECT_GE(all.passed, 400U);
}

// Of everything that carries IPv6 or a tag, whole and cut.
TEST(ExtendedRowFiltersOfGeneratedFrames, PassTheFramesThatTheirRowsCount)
{
    using namespace test;
    RandomTraffic traffic(30);
    std::vector<Captured> frames;
    Bytes const message = icmpv6(135, 0, Bytes(4) + ipv6Bytes("fe80::2") + addressOption(1, macA));
    for (int i = 0; i < 4000; ++i) {
        Bytes const frame =
            i % 100 == 0 ? ipv6Frame({macA, "fe80::1"}, v6B, 58, message, 255) : traffic.frame();
        frames.push_back({frame, static_cast<unsigned int>(frame.size())});
    }

    Totals const totals = checkAll(frames);

    EXPECT_GE(totals.rows, 500U);
    EXPECT_GE(totals.passed, 5000U);
    EXPECT_GE(totals.uncounted, 200U);
    EXPECT_GE(totals.deep, 100U);
    EXPECT_GE(totals.cut, 20U);
}

} // namespace
