#include "host/render/Quantity.h"

#include "host/support/TimeText.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace ketmon {

namespace {

constexpr std::uint64_t mostDigits = 9999;
constexpr std::array<char const *, 7> multipliers = {"", "k", "M", "G", "T", "P", "E"};

// The multiplier is chosen by what the digits round to, so that nothing reads as "1000 k".
std::string threeDigits(double value)
{
    std::size_t step = 0;
    while (value >= 999.5 && step + 1 < multipliers.size()) {
        value /= 1000.0;
        ++step;
    }
    int const places = value < 9.995 ? 2 : value < 99.95 ? 1 : 0;
    return fmt::format("{:.{}f} {}", value, places, multipliers[step]);
}

} // namespace

std::string allDigits(std::uint64_t count)
{
    std::string digits = fmt::format("{}", count);
    for (std::size_t place = digits.size(); place > 3; place -= 3)
        digits.insert(place - 3, ",");
    return digits;
}

std::string roughly(double value)
{
    if (value > 0.0 && value < 0.01) {
        int const places = std::min(6, static_cast<int>(std::ceil(-std::log10(value))));
        return value < 0.000001 ? "<0.000001 " : fmt::format("{:.{}f} ", value, places);
    }
    return threeDigits(value);
}

std::string CQuantityText::operator()(CCount const & count) const
{
    if (!count)
        return "-";
    return m_exact || *count <= mostDigits ? allDigits(*count) : threeDigits(static_cast<double>(*count));
}

std::string CQuantityText::counted(std::uint64_t count, std::string const & what) const
{
    return (*this)(count) + ' ' + what + (count == 1 ? "" : "s");
}

std::string CQuantityText::bytes(std::uint64_t count) const
{
    if (m_exact || count <= mostDigits)
        return allDigits(count) + (count == 1 ? " byte" : " bytes");
    return threeDigits(static_cast<double>(count)) + 'B';
}

std::string bitRateText(std::optional<double> const & bitsPerSecond)
{
    return bitsPerSecond ? roughly(*bitsPerSecond) + "bit/s" : "-";
}

std::string frameRateText(std::optional<double> const & framesPerSecond)
{
    if (!framesPerSecond)
        return "-";
    std::string text = roughly(*framesPerSecond);
    return text + (text.back() == ' ' ? "" : " ") + "frames/s";
}

std::string percentText(CRatio const & ratio)
{
    if (!ratio || !std::isfinite(*ratio))
        return "-";
    double const percent = *ratio * 100.0;
    if (percent <= 0.0)
        return "0 %";
    if (percent < 0.1)
        return "<0.1 %";
    // What isn't all of it doesn't read as if it were.
    if (percent < 100.0 && percent >= 99.95)
        return "99.9 %";
    return fmt::format("{:.{}f} %", percent, percent >= 100.0 ? 0 : 1);
}

std::string durationText(double seconds)
{
    if (seconds < 0.001)
        return fmt::format("{:.3g} us", seconds * 1e6);
    if (seconds < 1.0)
        return fmt::format("{:.3g} ms", seconds * 1e3);
    if (seconds < 120.0)
        return fmt::format("{} s", std::trunc(seconds * 1000.0) / 1000.0);
    auto const whole = static_cast<std::uint64_t>(seconds);
    std::uint64_t const minutes = whole / 60;
    if (minutes < 120)
        return fmt::format("{} min {} s", minutes, whole % 60);
    std::uint64_t const hours = minutes / 60;
    return hours < 48 ? fmt::format("{} h {} min", hours, minutes % 60)
                      : fmt::format("{} days {} h", allDigits(hours / 24), hours % 24);
}

std::string momentText(CMoment const & ticks)
{
    std::optional<std::string> text = ticks ? timeText(*ticks) : std::nullopt;
    if (!text)
        return "-";
    // From "2026-11-21T22:07:51.1234567Z": captures have microseconds, most of them.
    std::size_t const separator = text->find('T');
    (*text)[separator] = ' ';
    if (text->ends_with("0Z"))
        text->erase(text->size() - 2, 1);
    text->pop_back();
    return *text + " UTC";
}

CRatio shareOf(std::uint64_t part, CCount const & whole)
{
    if (!whole || *whole == 0)
        return {};
    return static_cast<double>(part) / static_cast<double>(*whole);
}

} // namespace ketmon
