#pragma once

#include "host/capture/CaptureSource.h"

#include <memory>
#include <string>

struct pcap;

namespace test {

// A capture file with frames that can be counted as libpcap reads it, against which the readers of ketmon are
// held.
class CPcapFile : public ketmon::CCaptureSource
{
public:
    // Throws CFailure, exit code 2, for a file that can't be opened, isn't a capture, or has a link type
    // that can't be counted.
    explicit CPcapFile(std::string const & path);
    ~CPcapFile() override;

    // Throws CFailure, exit code 2, for a damaged record or one that is cut short.
    bool next(ketmon::CCapturedFrame & frame) override;
    std::uint64_t position() const override;
    std::uint64_t size() const override { return m_size; }

private:
    struct CCloser
    {
        void operator()(pcap * handle) const;
    };

    std::string m_path;
    std::uint64_t m_size = 0;
    std::uint64_t m_frames = 0;
    std::uint32_t m_linkType = 0;
    std::unique_ptr<pcap, CCloser> m_handle;
};

} // namespace test
