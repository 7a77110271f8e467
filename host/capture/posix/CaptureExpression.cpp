#include "host/capture/CaptureExpression.h"

#include "host/support/Failure.h"

#include <fmt/core.h>
#include <pcap/pcap.h>

namespace ketmon {

namespace {

constexpr int snapLength = 262144;

// The optimiser of libpcap 1.10.3 changes the meaning of some expressions and refuses others that no frame
// satisfies.
constexpr int optimise = 0;

class CPcapExpression : public CCaptureExpression
{
public:
    explicit CPcapExpression(std::string const & text)
    {
        std::unique_ptr<pcap_t, decltype(&pcap_close)> const handle(pcap_open_dead(DLT_EN10MB, snapLength),
                                                                    &pcap_close);
        if (!handle)
            throw CFailure(exitFailure, "no memory for a capture filter");
        if (pcap_compile(handle.get(), &m_program, text.c_str(), optimise, PCAP_NETMASK_UNKNOWN) != 0)
            throw CFailure(exitBadInput,
                           fmt::format("'{}' is no capture filter: {}", text, pcap_geterr(handle.get())));
    }

    ~CPcapExpression() override { pcap_freecode(&m_program); }

    bool passes(CCapturedFrame const & frame) const override
    {
        pcap_pkthdr header{};
        header.caplen = frame.capturedLength;
        header.len = frame.length;
        return pcap_offline_filter(&m_program, &header, frame.data) != 0;
    }

private:
    bpf_program m_program{};
};

} // namespace

std::unique_ptr<CCaptureExpression> compiledExpression(std::string const & text)
{
    return std::make_unique<CPcapExpression>(text);
}

} // namespace ketmon
