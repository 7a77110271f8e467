#pragma once

#include "host/render/Figures.h"

#include <cstdint>
#include <string>

namespace ketmon {

// How people read quantities: thousands of 1000, three digits that count, "-" for what isn't known.
class CQuantityText
{
public:
    explicit CQuantityText(bool exact) : m_exact(exact) {}

    // For columns of counts and bytes: all digits up to 9,999, then "12.3 k"; all digits wherever `exact`.
    std::string operator()(CCount const & count) const;

    // For sentences: "4,709 frames", "1 frame", "2.87 MB", "990 bytes".
    std::string frames(std::uint64_t count) const { return counted(count, "frame"); }
    std::string counted(std::uint64_t count, std::string const & what) const;
    std::string bytes(std::uint64_t count) const;

private:
    bool m_exact;
};

// With a point between thousands: "1,234,567".
std::string allDigits(std::uint64_t count);

// Three digits that count and a multiplier of 1000: "29.2 k", "0.12 ".
std::string roughly(double value);

std::string bitRateText(std::optional<double> const & bitsPerSecond);     // "142 kbit/s"
std::string frameRateText(std::optional<double> const & framesPerSecond); // "29.2 frames/s"
std::string percentText(CRatio const & ratio);                            // "18.1 %"
std::string durationText(double seconds);                                 // "2 min 41 s"
std::string momentText(CMoment const & ticks);                            // "2026-11-21 22:07:51.123456 UTC"

// A part of a whole; nothing where there is no whole.
CRatio shareOf(std::uint64_t part, CCount const & whole);

} // namespace ketmon
