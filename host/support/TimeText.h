#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace ketmon {

// A moment, in units of 100 ns since 1601-01-01 UTC, as RFC 3339 has it: 2026-11-21T22:07:51.1234567Z.
// Nothing for one that has no such text, which is before the year 0 or behind 9999.
std::optional<std::string> timeText(long long ticks);

// A moment of the system's clock, in milliseconds: 2026-11-21T22:07:51.123Z. Empty for one that has no such text.
std::string timeText(std::chrono::system_clock::time_point moment);

} // namespace ketmon
