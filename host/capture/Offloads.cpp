#include "host/capture/Offloads.h"

#include <fmt/core.h>

#include <algorithm>
#include <cctype>

namespace ketmon {

std::string offloadWarning(std::string const & interface, std::vector<std::string> const & offloads)
{
    if (offloads.empty())
        return {};
    std::string names;
    std::string command = fmt::format("ethtool -K {}", interface);
    for (std::size_t i = 0; i < offloads.size(); ++i) {
        std::string name = offloads[i];
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        names += (i == 0 ? "" : i + 1 == offloads.size() ? " and " : ", ") + name;
        command += fmt::format(" {} off", offloads[i]);
    }
    bool const one = offloads.size() == 1;
    return fmt::format("{}: {} {} on, so frames may look larger than they are on the wire; '{}' turns {} off",
                       interface, names, one ? "is" : "are", command, one ? "it" : "them");
}

} // namespace ketmon
