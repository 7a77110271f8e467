#include "ketstats/capture/NetworkFrame.h"

#include <typeinfo>

namespace {

constexpr unsigned int typeOffset = 12;     // behind destination and source
constexpr unsigned int tagSize = 4;         // tag type and tag
constexpr unsigned int lowestType = 0x0600; // below, the field is an 802.3 length

bool isVlanType(unsigned int type)
{
    return type == 0x8100 || type == 0x88A8 || type == 0x9100;
}

// Frame layouts behind the two addresses:
//
//     Ethernet II   type(2)    network header ...
//     802.3         length(2)  payload:  raw IPX  FF FF ...                      header at payload + 0
//                                        SNAP     AA AA 03 org(3) type(2) ...    header at payload + 8
//                                        LLC      DSAP SSAP control ...          header at payload + 3
//
// Any number of VLAN tags (tag type(2), tag(2)) can stand in front of the type or length.
void analysePayload(CBoundedBytes bytes, unsigned int payload, CEthernetInfo & media)
{
    static constexpr unsigned char rawIPX[2] = {0x81, 0x37};

    if (bytes.word(payload) == 0xFFFF) {
        media.protocolId.Set(2, rawIPX);
        media.networkOffset = payload;
        media.frameFormat = CEthernetInfo::ffRawIPX;
    } else if (bytes.word(payload) == 0xAAAA && bytes[payload + 2] == 0x03) {
        unsigned char const type[2] = {bytes[payload + 6], bytes[payload + 7]};
        media.protocolId.Set(2, type);
        media.networkOffset = payload + 8;
        media.frameFormat = CEthernetInfo::ffSNAP;
    } else {
        unsigned char const dsap = bytes[payload];
        media.protocolId.Set(1, &dsap);
        media.networkOffset = payload + 3;
        media.frameFormat = CEthernetInfo::ffLLC;
    }
}

} // namespace

CNetworkFrame::~CNetworkFrame() = default;

CMediaInfo * CNetworkFrame::AnalyzeFrame()
{
    if (!m_analysed) {
        analyseEthernet();
        m_analysed = true;
    }
    return &m_media;
}

void CNetworkFrame::analyseEthernet()
{
    // A view of the host's bytes, which is what nearly all frames are, needn't ask itself for them.
    CBoundedBytes const bytes = typeid(*this) == typeid(CNetworkFrame)
                                    ? CBoundedBytes(m_data, m_capturedLength)
                                    : CBoundedBytes(*this);
    bytes.copy<6>(0, m_media.destinationMAC.bytes.data());
    bytes.copy<6>(6, m_media.sourceMAC.bytes.data());

    unsigned int at = typeOffset;
    unsigned int type = bytes.word(at);
    bool const tagged = isVlanType(type);
    m_media.vlanTag[0] = tagged ? bytes[at + 2] : 0;
    m_media.vlanTag[1] = tagged ? bytes[at + 3] : 0;
    while (isVlanType(type)) {
        at += tagSize;
        type = bytes.word(at);
    }

    if (type >= lowestType) {
        unsigned char const wire[2] = {bytes[at], bytes[at + 1]};
        m_media.protocolId.Set(2, wire);
        m_media.networkOffset = at + 2;
        m_media.frameFormat = tagged ? CEthernetInfo::ffTaggedEthernet2 : CEthernetInfo::ffEthernet2;
    } else {
        analysePayload(bytes, at + 2, m_media);
        if (tagged)
            m_media.frameFormat = CEthernetInfo::ffTagged8023;
    }
}
