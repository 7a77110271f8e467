#pragma once

#include "host/capture/CaptureFile.h"
#include "host/capture/GzipSource.h"
#include "host/support/Failure.h"
#include "tests/host/PcapFile.h"

#include <cstring>
#include <memory>
#include <string>

// What must hold for the reading of any capture file: that it goes as with libpcap, as far as that reads it. The fuzz target and the
// tests share it. The words of a refusal are each reader's own.
namespace fuzz {

// One reader of a file, with its failures caught.
class CReading
{
public:
    template <class Open>
    explicit CReading(Open const & open)
    {
        try {
            m_source = open();
        } catch (ketmon::CFailure const & caught) {
            fail(caught);
        }
    }

    // False at the end and at a failure.
    bool next()
    {
        try {
            return m_source && m_source->next(frame);
        } catch (ketmon::CFailure const & caught) {
            fail(caught);
            return false;
        }
    }

    bool isOpen() const { return m_source != nullptr; }
    std::uint64_t position() const { return m_source->position(); }
    std::uint64_t size() const { return m_source->size(); }

    ketmon::CCapturedFrame frame{};
    std::string failure; // empty if there was none
    int exitCode = ketmon::exitSuccess;

private:
    void fail(ketmon::CFailure const & caught)
    {
        failure = caught.what();
        exitCode = caught.exitCode();
    }

    std::unique_ptr<ketmon::CCaptureSource> m_source;
};

inline bool isSame(ketmon::CCapturedFrame const & one, ketmon::CCapturedFrame const & other)
{
    return one.capturedLength == other.capturedLength && one.length == other.length &&
           one.ticks == other.ticks && one.linkType == other.linkType &&
           (one.capturedLength == 0 || std::memcmp(one.data, other.data, one.capturedLength) == 0);
}

// Reads on without libpcap. Empty if all is well.
inline std::string checkRest(CReading & own, unsigned long long & frames)
{
    while (own.next()) {
        static_cast<void>(
            std::string(reinterpret_cast<char const *>(own.frame.data), own.frame.capturedLength));
        ++frames;
    }
    if (!own.failure.empty() && own.failure.find("damaged behind frame ") == std::string::npos)
        return "a failure tells the last good frame: '" + own.failure + "'";
    return {};
}

inline bool has(std::string const & text, char const * part)
{
    return text.find(part) != std::string::npos;
}

// Empty if all is well, otherwise what should have held. `frames` is how many there were, as far as both read.
// What libpcap doesn't read is compressed files, and interfaces that have different link types or limits.
inline std::string checkCapture(std::string const & path, unsigned long long & frames)
{
    CReading own([&] { return ketmon::openCaptureFile(path); });
    CReading theirs([&] { return std::make_unique<test::CPcapFile>(path); });
    auto const told = [&](char const * rule) {
        return std::string(rule) + ", at frame " + std::to_string(frames + 1) + ": '" + own.failure +
               "' and by libpcap '" + theirs.failure + "'";
    };

    frames = 0;
    unsigned long long more = 0;
    bool const compressed =
        ketmon::isGzip(*std::make_unique<ketmon::CByteInput>(ketmon::openByteSource(path)));
    if (own.isOpen() && !theirs.isOpen() && (compressed || has(theirs.failure, "the link type is ")))
        return checkRest(own, more);
    if (own.isOpen() != theirs.isOpen())
        return told("the same files are refused");
    if (own.exitCode != theirs.exitCode)
        return told("a refusal has the same exit code");
    if (!own.isOpen())
        return {};
    if (own.size() != theirs.size())
        return told("the size is that of the file");

    for (bool another = true; another;) {
        another = theirs.next();
        if (!another && has(theirs.failure, " different from the "))
            return checkRest(own, more);
        if (another != own.next())
            return told("there are as many frames");
        if (own.failure.empty() != theirs.failure.empty() || own.exitCode != theirs.exitCode)
            return told("damage is seen as damage");
        if (another && !isSame(own.frame, theirs.frame))
            return told("frames are the same");
        if (own.failure.empty() && own.position() != theirs.position())
            return told("the position is how much was read");
        frames += another ? 1 : 0;
    }
    std::string const behind = "damaged behind frame " + std::to_string(frames) + ": ";
    if (!own.failure.empty() && own.failure.find(behind) == std::string::npos)
        return told("a failure tells the last good frame");
    return {};
}

inline std::string checkCapture(std::string const & path)
{
    unsigned long long frames = 0;
    return checkCapture(path, frames);
}

} // namespace fuzz
