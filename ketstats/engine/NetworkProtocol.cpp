#include "ketstats/engine/NetworkProtocol.h"

namespace KetStats {

namespace {

CProtocolId idOf(int length, unsigned char first, unsigned char second = 0)
{
    unsigned char const wire[2] = {first, second};
    CProtocolId id;
    id.Set(length, wire);
    return id;
}

} // namespace

CNetworkProtocol::~CNetworkProtocol() = default;

CProtocolId const & CNetworkProtocol::ipId()
{
    static CProtocolId const id = idOf(2, 0x08, 0x00);
    return id;
}

CProtocolId const & CNetworkProtocol::arpId()
{
    static CProtocolId const id = idOf(2, 0x08, 0x06);
    return id;
}

CProtocolId const & CNetworkProtocol::tcpId()
{
    static CProtocolId const id = idOf(1, 6);
    return id;
}

CProtocolId const & CNetworkProtocol::udpId()
{
    static CProtocolId const id = idOf(1, 17);
    return id;
}

bool CNetworkProtocol::analyze()
{
    if (!frame)
        return false;
    if (!media)
        media = frame->AnalyzeFrame();
    return media && media->GetProtocolId() == getProtocolId();
}

bool CNetworkProtocol::analyzeWithHeader()
{
    if (!CNetworkProtocol::analyze())
        return false;
    // A header that would start behind the captured bytes is an empty one at their end.
    unsigned int const captured = frame->GetCapturedLength();
    unsigned int const offset = media->networkOffset < captured ? media->networkOffset : captured;
    header = frame->GetData() + offset;
    m_available = captured - offset;
    return true;
}

} // namespace KetStats
