#include "host/capture/Progress.h"

#include "host/support/Terminal.h"

#include <fmt/core.h>

namespace ketmon {

namespace {

constexpr std::uint64_t longInput = std::uint64_t{64} << 20;
constexpr std::chrono::milliseconds interval(200);

} // namespace

CProgress::CProgress(std::string const & name, CCaptureSource const & source, bool quiet)
    : m_name(name),
      m_source(source),
      m_shown(!quiet && source.size() > longInput && isTerminal(stderr))
{}

CProgress::~CProgress()
{
    // Leaves an empty line to whatever is written next.
    if (m_written)
        fmt::print(stderr, "\r\033[K");
}

void CProgress::show()
{
    auto const now = std::chrono::steady_clock::now();
    if (now < m_next)
        return;
    m_next = now + interval;
    m_written = true;
    fmt::print(stderr, "\r\033[Kketmon: {}: {} of {} MiB read ({} %)", m_name, m_source.position() >> 20,
               m_source.size() >> 20, m_source.position() * 100 / m_source.size());
    std::fflush(stderr);
}

} // namespace ketmon
