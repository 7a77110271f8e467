#include "tests/host/LibpcapProgram.h"

#include "host/capture/LinkType.h"

#include <gtest/gtest.h>
#include <pcap/pcap.h>

namespace test {

struct LibpcapProgram::Compiled
{
    Compiled() = default;
    ~Compiled() { pcap_freecode(&program); }
    Compiled(Compiled const &) = delete;
    Compiled & operator=(Compiled const &) = delete;

    bpf_program program{};
};

LibpcapProgram::LibpcapProgram(std::string const & expression, Optimiser optimiser, std::uint32_t linkType)
    : m_compiled(std::make_unique<Compiled>())
{
    int const number = linkType == ketmon::linktype::raw ? DLT_RAW : static_cast<int>(linkType);
    std::unique_ptr<pcap_t, void (*)(pcap_t *)> const handle(pcap_open_dead(number, 1 << 18), &pcap_close);
    if (pcap_compile(handle.get(), &m_compiled->program, expression.c_str(), optimiser == Optimiser::on,
                     PCAP_NETMASK_UNKNOWN) == 0)
        return;
    m_compiled.reset();
    if (std::string const error = pcap_geterr(handle.get()); error != "expression rejects all packets")
        ADD_FAILURE() << error << ": " << expression;
}

LibpcapProgram::~LibpcapProgram() = default;

bool LibpcapProgram::passes(Bytes const & frame) const
{
    static unsigned char const nothing = 0;
    pcap_pkthdr header{};
    header.caplen = header.len = static_cast<bpf_u_int32>(frame.size());
    return m_compiled &&
           pcap_offline_filter(&m_compiled->program, &header, frame.empty() ? &nothing : frame.data()) != 0;
}

unsigned int LibpcapProgram::size() const
{
    return m_compiled ? m_compiled->program.bf_len : 0;
}

} // namespace test
