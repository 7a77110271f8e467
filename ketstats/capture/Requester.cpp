#include "ketstats/capture/Requester.h"

CNdisHook::~CNdisHook() = default;

long CNdisHook::GetLinkSpeed()
{
    return 0;
}

long CNdisHook::GetMissedFrames()
{
    return 0;
}

long CNdisHook::GetSoftMissedFrames()
{
    return 0;
}

long CNdisHook::GetLong(long /*oid*/)
{
    return 0;
}

CNDISRequesterProxy::CNDISRequesterProxy(CNdisHook * hook) : m_hook(hook) {}

CNDISRequesterProxy::~CNDISRequesterProxy() = default;

long CNDISRequesterProxy::GetLinkSpeed()
{
    return m_hook ? m_hook->GetLinkSpeed() : 0;
}

long CNDISRequesterProxy::GetMissedFrames()
{
    return m_hook ? m_hook->GetMissedFrames() : 0;
}

long CNDISRequesterProxy::GetSoftMissedFrames()
{
    return m_hook ? m_hook->GetSoftMissedFrames() : 0;
}

long CNDISRequesterProxy::GetLong(long oid)
{
    return m_hook ? m_hook->GetLong(oid) : 0;
}
