#include "host/capture/CaptureFile.h"

#include "host/capture/CaptureFormat.h"
#include "host/capture/ClassicReader.h"
#include "host/capture/NextGenerationReader.h"
#include "host/support/ByteFile.h"
#include "host/support/Failure.h"

#include <fmt/core.h>

namespace ketmon {

namespace {

struct CLinkType
{
    std::uint32_t number;
    char const * name;
};

// The ones that people meet, by the names that capture tools show.
constexpr CLinkType linkTypes[] = {
    {0, "NULL"},        {6, "IEEE802"},   {9, "PPP"},          {10, "FDDI"},
    {51, "PPP_ETHER"},  {101, "RAW"},     {105, "IEEE802_11"}, {108, "LOOP"},
    {113, "LINUX_SLL"}, {119, "PRISM"},   {122, "IP_OVER_FC"}, {127, "IEEE802_11_RADIO"},
    {189, "USB_LINUX"}, {228, "IPV4"},    {229, "IPV6"},       {239, "NFLOG"},
    {249, "USBPCAP"},   {253, "NETLINK"}, {276, "LINUX_SLL2"},
};

char const * linkTypeName(std::uint32_t number)
{
    for (CLinkType const & type : linkTypes)
        if (type.number == number)
            return type.name;
    return "unknown";
}

std::unique_ptr<CFrameReader> readerOf(CByteFile & file)
{
    unsigned char magic[format::magicLength];
    if (file.read(magic, sizeof magic) != sizeof magic)
        throw CDamagedCapture("the file is too short for a capture");
    if (CNextGenerationReader::starts(magic))
        return std::make_unique<CNextGenerationReader>(file);
    for (std::endian const order : {std::endian::little, std::endian::big})
        if (CClassicReader::starts(magic, format::CByteOrder(order)))
            return std::make_unique<CClassicReader>(file, magic, format::CByteOrder(order));
    throw CDamagedCapture("unknown file format");
}

class CCaptureFile : public CCaptureSource
{
public:
    explicit CCaptureFile(std::string const & path) : m_file(path)
    {
        try {
            m_reader = readerOf(m_file);
        } catch (CDamagedCapture const & damage) {
            throw CFailure(exitBadInput, fmt::format("{}: {}", path, damage.what()));
        }
        std::uint32_t const type = m_reader->linkType();
        if (type != format::linkTypeEthernet)
            throw CFailure(exitBadInput,
                           fmt::format("{}: the link type is {} ({}), and only Ethernet can be counted", path,
                                       linkTypeName(type), type));
    }

    bool next(CCapturedFrame & frame) override
    {
        try {
            bool const there = m_reader->next(frame);
            m_frames += there ? 1 : 0;
            return there;
        } catch (CDamagedCapture const & damage) {
            throw CFailure(exitBadInput, fmt::format("{}: damaged behind frame {}: {}", m_file.path(),
                                                     m_frames, damage.what()));
        }
    }

    std::uint64_t position() const override { return m_file.position(); }
    std::uint64_t size() const override { return m_file.size(); }

private:
    CByteFile m_file;
    std::unique_ptr<CFrameReader> m_reader;
    std::uint64_t m_frames = 0;
};

} // namespace

std::unique_ptr<CCaptureSource> openCaptureFile(std::string const & path)
{
    return std::make_unique<CCaptureFile>(path);
}

} // namespace ketmon
