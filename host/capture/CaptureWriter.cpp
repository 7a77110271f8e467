#include "host/capture/CaptureWriter.h"

#include "host/capture/CaptureFormat.h"
#include "host/capture/CaptureTime.h"
#include "host/support/Failure.h"

#include <fmt/core.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace ketmon {

namespace classic = format::classic;

namespace {

constexpr unsigned int majorVersion = 2;
constexpr unsigned int minorVersion = 4;
// Seconds that take the highest bit are negative to one reader and great to another.
constexpr long long endOfTime = ticksTo1970 + 0x80000000LL * ticksPerSecond;

void put(unsigned char * to, std::uint32_t value)
{
    for (unsigned int i = 0; i < 4; ++i)
        to[i] = static_cast<unsigned char>(value >> 8 * i);
}

// Where a link leads; any other path, and that of a link to nowhere, as it stands.
std::string behindLinks(std::string const & path)
{
    std::error_code error;
    if (!std::filesystem::is_symlink(path, error))
        return path;
    std::filesystem::path const target = std::filesystem::canonical(path, error);
    return error ? path : target.string();
}

// A name beside the file, under which to write until it can take its place. Empty for what can't be replaced.
std::string unfinishedName(std::string const & target)
{
    std::error_code error;
    auto const type = std::filesystem::symlink_status(target, error).type();
    if (type != std::filesystem::file_type::regular && type != std::filesystem::file_type::not_found)
        return "";
    std::string name = target + ".part";
    for (unsigned int number = 2; std::filesystem::exists(std::filesystem::symlink_status(name, error));
         ++number)
        name = fmt::format("{}.part{}", target, number);
    return name;
}

} // namespace

CCaptureWriter::CUnfinished::~CUnfinished()
{
    std::error_code ignored;
    if (!path.empty())
        std::filesystem::remove(path, ignored);
}

CCaptureWriter::CCaptureWriter(std::string const & path)
    : m_path(path),
      m_target(behindLinks(path)),
      m_unfinished(unfinishedName(m_target))
{
    // To take the place of a file needs no right to write to it, so that is asked for here.
    if (!m_unfinished.path.empty() && !CFileHandle(std::fopen(m_target.c_str(), "r+b")) && errno != ENOENT) {
        m_unfinished.path.clear();
        fail(std::strerror(errno));
    }
    std::string const & written = m_unfinished.path.empty() ? m_target : m_unfinished.path;
    m_file.reset(std::fopen(written.c_str(), "wb"));
    if (!m_file) {
        m_unfinished.path.clear();
        fail(std::strerror(errno));
    }
    unsigned char header[classic::headerLength] = {};
    put(header, classic::nanoseconds);
    put(header + 4, majorVersion | minorVersion << 16);
    put(header + 16, format::longestFrame);
    put(header + 20, format::linkTypeEthernet);
    append(header, sizeof header);
}

void CCaptureWriter::write(CCapturedFrame const & frame)
{
    if (frame.capturedLength > format::longestFrame)
        fail(fmt::format("frame {} has {} captured bytes, more than a capture file holds", m_frames + 1,
                         frame.capturedLength));
    if (frame.ticks < ticksTo1970 || frame.ticks >= endOfTime)
        fail(fmt::format("frame {} was captured at a time that a capture file can't tell", m_frames + 1));

    long long const since1970 = frame.ticks - ticksTo1970;
    unsigned char record[classic::recordLength];
    put(record, static_cast<std::uint32_t>(since1970 / ticksPerSecond));
    put(record + 4, static_cast<std::uint32_t>(since1970 % ticksPerSecond * nanosecondsPerTick));
    put(record + 8, frame.capturedLength);
    put(record + 12, frame.length);
    append(record, sizeof record);
    append(frame.data, frame.capturedLength);
    ++m_frames;
}

void CCaptureWriter::finish()
{
    // What is written late fails late, at the latest when the file is closed.
    if (std::fclose(m_file.release()) != 0)
        fail(std::strerror(errno));
    if (m_unfinished.path.empty())
        return;
    std::error_code error;
    std::filesystem::rename(m_unfinished.path, m_target, error);
    if (error)
        fail(error.message());
    m_unfinished.path.clear();
}

void CCaptureWriter::append(unsigned char const * bytes, std::size_t count)
{
    if (count != 0 && std::fwrite(bytes, 1, count, m_file.get()) != count)
        fail(std::strerror(errno));
}

void CCaptureWriter::fail(std::string const & reason) const
{
    throw CFailure(exitFailure, fmt::format("{}: can't be written: {}", m_path, reason));
}

} // namespace ketmon
