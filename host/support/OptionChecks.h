#pragma once

#include <CLI/CLI.hpp>

namespace ketmon {

// Checks of what the user gives to options; their messages stand behind the option's name. CLI11 itself would
// take an empty text for 0, or for no option at all, and not-a-number for one that is in every range.

// Any text but an empty one.
CLI::Validator notEmpty();

// A number, limits included.
CLI::Validator between(double low, double high);
CLI::Validator atLeast(double low);

} // namespace ketmon
