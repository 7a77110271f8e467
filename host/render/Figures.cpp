#include "host/render/Figures.h"

namespace ketmon {

namespace {

constexpr double ticksPerSecond = 1e7;
constexpr double bitsPerByte = 8.0;

} // namespace

std::optional<double> CFigures::durationSeconds() const
{
    if (!zero || !time || *time <= *zero)
        return {};
    return static_cast<double>(*time - *zero) / ticksPerSecond;
}

CRateFigures CFigures::averages() const
{
    std::optional<double> const seconds = durationSeconds();
    if (!seconds || !frames || !bytes)
        return {};
    return {static_cast<double>(*frames) / *seconds, static_cast<double>(*bytes) * bitsPerByte / *seconds};
}

} // namespace ketmon
