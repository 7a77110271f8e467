#pragma once

#include "ketstats/platform/Exports.h"

#include <string>

namespace KetStats {

// The most places behind the point that are written. No value has more than 1074 that aren't zero.
inline constexpr int mostFractionDigits = 1100;

// `value` in decimal with `digits` places behind the point, mostFractionDigits at most, or without a point for 0
// places or fewer. Every
// digit is right: the value is taken for the exact binary fraction that it is, and an exact tie goes away
// from zero, so that 0.125 with 2 digits reads "0.13" on every platform. The point is always a full stop and
// there is no grouping. A negative value keeps its sign when it rounds to zero: "-0.00". What is no number
// reads "nan", the infinities "inf" and "-inf". Any thread may call it.
[[nodiscard]] KETSTATS_API std::string fixedPointToString(double value, int digits);

} // namespace KetStats
