#include "host/support/ServiceManager.h"

namespace ketmon {

// ketmon is no service of this system.

bool isService()
{
    return false;
}

CServiceManager::CServiceManager() = default;
CServiceManager::~CServiceManager() = default;

void CServiceManager::ready() {}
void CServiceManager::alive() {}
void CServiceManager::status(std::string_view) {}
void CServiceManager::stopping() {}
void CServiceManager::send(std::string const &) const {}

} // namespace ketmon
