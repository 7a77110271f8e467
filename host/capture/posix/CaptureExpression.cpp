#include "host/capture/CaptureExpression.h"

#include "host/capture/Medium.h"
#include "host/support/Failure.h"

#include <fmt/core.h>
#include <pcap/pcap.h>
#include <sys/socket.h>

#include <array>
#include <map>
#include <vector>

namespace ketmon {

namespace {

constexpr int snapLength = 262144;

// The optimiser of libpcap 1.10.3 changes the meaning of some expressions and refuses others that no frame
// satisfies.
constexpr int optimise = 0;

// What libpcap calls a link type that capture files have a number for.
int pcapLinkType(std::uint32_t linkType)
{
    return linkType == linktype::raw ? DLT_RAW : static_cast<int>(linkType);
}

// An expression for the frames of one link type, or why there is none.
class CProgram
{
public:
    CProgram(std::string const & text, std::uint32_t linkType)
    {
        std::unique_ptr<pcap_t, decltype(&pcap_close)> const handle(
            pcap_open_dead(pcapLinkType(linkType), snapLength), &pcap_close);
        if (!handle)
            throw CFailure(exitFailure, "no memory for a capture filter");
        if (pcap_compile(handle.get(), &m_program, text.c_str(), optimise, PCAP_NETMASK_UNKNOWN) != 0)
            m_refusal = fmt::format(
                "'{}' is no capture filter{}: {}", text,
                linkType == linktype::ethernet ? "" : " for the link type " + linkTypeText(linkType),
                pcap_geterr(handle.get()));
    }
    CProgram(CProgram const &) = delete;
    CProgram & operator=(CProgram const &) = delete;
    ~CProgram() { pcap_freecode(&m_program); }

    // Empty unless there is none.
    std::string const & refusal() const { return m_refusal; }

    bool passes(unsigned char const * data, unsigned int captured, unsigned int length) const
    {
        pcap_pkthdr header{};
        header.caplen = captured;
        header.len = length;
        return pcap_offline_filter(&m_program, &header, data) != 0;
    }

private:
    bpf_program m_program{};
    std::string m_refusal;
};

// A frame in the one form in which libpcap knows those of its medium, where there are several.
class CUsualForm
{
public:
    explicit CUsualForm(CCapturedFrame const & frame) : m_frame(frame)
    {
        switch (frame.linkType) {
        case linktype::null:
        case linktype::loop:
            loopback();
            break;
        case linktype::ppp:
        case linktype::pppHdlc:
            ppp();
            break;
        default:
            break;
        }
    }

    CCapturedFrame const & frame() const { return m_frame; }

private:
    CMedium medium() const
    {
        CMedium medium;
        analyseMedium(m_frame.linkType, CBoundedBytes(m_frame.data, m_frame.capturedLength), medium);
        return medium;
    }

    // The family in the order of networks, and that of IPv6 as this system has it.
    void loopback()
    {
        CMedium const known = medium();
        m_frame.linkType = linktype::loop;
        int const type = known.protocolId.bytes[4] << 8 | known.protocolId.bytes[5];
        if (type == 0 || m_frame.capturedLength < known.networkOffset)
            return;
        put({0, 0, 0, static_cast<unsigned char>(type == ipv4 ? AF_INET : AF_INET6)}, known.networkOffset);
    }

    // With the two bytes that many leave out in front of the protocol, and that in two bytes.
    void ppp()
    {
        CMedium const known = medium();
        unsigned int const offset = known.networkOffset;
        if (offset == longestPpp || m_frame.capturedLength < offset)
            return;
        unsigned char const * const data = m_frame.data;
        bool const isFramed = data[0] == 0xFF && offset > 2;
        unsigned int const at = isFramed ? 2 : 0;
        bool const isCompressed = offset - at == 1;
        put({0xFF, 0x03, isCompressed ? static_cast<unsigned char>(0) : data[at], data[offset - 1]}, offset);
    }

    void put(std::array<unsigned char, 4> const & header, unsigned int replaced)
    {
        m_bytes.assign(header.begin(), header.end());
        m_bytes.insert(m_bytes.end(), m_frame.data + replaced, m_frame.data + m_frame.capturedLength);
        m_frame.data = m_bytes.data();
        m_frame.capturedLength = static_cast<unsigned int>(m_bytes.size());
    }

    static constexpr int ipv4 = 0x0800;
    static constexpr unsigned int longestPpp = 4;

    CCapturedFrame m_frame;
    std::vector<unsigned char> m_bytes;
};

class CPcapExpression : public CCaptureExpression
{
public:
    // Frames may be of a link type for which there is one though there is none for Ethernet.
    explicit CPcapExpression(std::string const & text) : m_text(text)
    {
        CProgram const & usual = program(linktype::ethernet);
        if (usual.refusal().empty())
            return;
        for (std::uint32_t const other : {linktype::linuxSll, linktype::linuxSll2, linktype::raw,
                                          linktype::loop, linktype::ppp, linktype::ipv4, linktype::ipv6})
            if (program(other).refusal().empty())
                return;
        throw CFailure(exitBadInput, usual.refusal());
    }

    bool passes(CCapturedFrame const & frame) const override
    {
        if (frame.linkType == linktype::ethernet)
            return checked(linktype::ethernet).passes(frame.data, frame.capturedLength, frame.length);
        CUsualForm const usual(frame);
        CCapturedFrame const & form = usual.frame();
        return checked(form.linkType).passes(form.data, form.capturedLength, form.length);
    }

private:
    CProgram const & program(std::uint32_t linkType) const
    {
        std::unique_ptr<CProgram const> & made = m_programs[linkType];
        if (!made)
            made = std::make_unique<CProgram const>(m_text, linkType);
        return *made;
    }

    CProgram const & checked(std::uint32_t linkType) const
    {
        CProgram const & made = program(linkType);
        if (!made.refusal().empty())
            throw CFailure(exitBadInput, made.refusal());
        return made;
    }

    std::string m_text;
    mutable std::map<std::uint32_t, std::unique_ptr<CProgram const>> m_programs; // by link type
};

} // namespace

std::unique_ptr<CCaptureExpression> compiledExpression(std::string const & text)
{
    return std::make_unique<CPcapExpression>(text);
}

} // namespace ketmon
