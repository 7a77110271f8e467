#include "tests/host/PcapFile.h"

#include "host/capture/posix/PcapTime.h"
#include "host/support/Failure.h"

#include <fmt/core.h>
#include <pcap/pcap.h>

#include <filesystem>

namespace test {

using ketmon::CCapturedFrame;
using ketmon::CFailure;
using ketmon::exitBadInput;
using ketmon::ticksOfNanoStamp;

void CPcapFile::CCloser::operator()(pcap * handle) const
{
    pcap_close(handle);
}

CPcapFile::CPcapFile(std::string const & path) : m_path(path)
{
    std::error_code error;
    if (std::filesystem::is_directory(path, error))
        throw CFailure(exitBadInput, fmt::format("{}: is a directory", path));
    m_size = std::filesystem::file_size(path, error);
    if (error)
        m_size = 0;

    // libpcap takes "-" for the standard input; a file of that name is meant here like any other.
    std::string const file = path == "-" ? "./-" : path;
    char message[PCAP_ERRBUF_SIZE] = "";
    m_handle.reset(
        pcap_open_offline_with_tstamp_precision(file.c_str(), PCAP_TSTAMP_PRECISION_NANO, message));
    if (!m_handle) {
        std::string text = message;
        // Some of libpcap's messages start with the path.
        if (text.rfind(file + ": ", 0) == 0)
            text.erase(0, file.size() + 2);
        throw CFailure(exitBadInput, fmt::format("{}: {}", path, text));
    }
    m_linkType = ketmon::usualLinkType(static_cast<std::uint32_t>(pcap_datalink(m_handle.get())));
    if (!ketmon::isCountable(m_linkType))
        throw CFailure(exitBadInput, fmt::format("{}: the link type is {}, which can't be counted", path,
                                                 ketmon::linkTypeText(m_linkType)));
}

CPcapFile::~CPcapFile() = default;

bool CPcapFile::next(CCapturedFrame & frame)
{
    pcap_pkthdr * header = nullptr;
    unsigned char const * data = nullptr;
    int const result = pcap_next_ex(m_handle.get(), &header, &data);
    if (result == PCAP_ERROR_BREAK)
        return false;
    if (result != 1)
        throw CFailure(exitBadInput, fmt::format("{}: damaged behind frame {}: {}", m_path, m_frames,
                                                 pcap_geterr(m_handle.get())));
    ++m_frames;
    frame.data = data;
    frame.capturedLength = header->caplen;
    frame.length = header->len;
    frame.ticks = ticksOfNanoStamp(header->ts);
    frame.linkType = m_linkType;
    return true;
}

std::uint64_t CPcapFile::position() const
{
    std::FILE * const file = pcap_file(m_handle.get());
    long const at = file ? std::ftell(file) : -1;
    return at < 0 ? 0 : static_cast<std::uint64_t>(at);
}

} // namespace test
