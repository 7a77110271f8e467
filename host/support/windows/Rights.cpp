#include "host/support/Rights.h"

#include "host/support/Failure.h"

namespace ketmon {

std::string dropRights(CRightsOptions const & options, CNeeds const &)
{
    if (!options.user.empty())
        throw CFailure(exitBadInput, "--user: the user can't be changed on this system");
    if (options.sandbox == Sandbox::strict)
        throw CFailure(exitBadInput, "--sandbox strict: there is no sandbox on this system");
    return {};
}

} // namespace ketmon
