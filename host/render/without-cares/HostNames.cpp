#include "host/render/HostNames.h"

namespace ketmon {

std::string hostNameResolver()
{
    return {};
}

std::map<std::string, std::string> hostNames(std::vector<std::string> const &, CHostNameLimits const &,
                                             std::function<bool()> const &)
{
    return {};
}

} // namespace ketmon
