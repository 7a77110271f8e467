#include "host/support/OptionChecks.h"

#include <fmt/core.h>

#include <cstdlib>
#include <limits>
#include <string>

namespace ketmon {

namespace {

CLI::Validator inRange(double low, double high, std::string const & range)
{
    auto const check = [low, high, range](std::string const & text) {
        char * end = nullptr;
        double const value = std::strtod(text.c_str(), &end);
        bool const isNumber = !text.empty() && *end == '\0';
        return isNumber && value >= low && value <= high ? std::string()
                                                         : fmt::format("'{}' isn't {}", text, range);
    };
    return {check, range};
}

} // namespace

CLI::Validator notEmpty()
{
    return {[](std::string const & text) { return std::string(text.empty() ? "the value is empty" : ""); },
            ""};
}

CLI::Validator between(double low, double high)
{
    return inRange(low, high, fmt::format("{} to {}", low, high));
}

CLI::Validator atLeast(double low)
{
    return inRange(low, std::numeric_limits<double>::max(), fmt::format("{} or more", low));
}

} // namespace ketmon
