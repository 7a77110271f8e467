#include "ketstats/capture/NetworkFrame.h"

#include "ketstats/capture/EthernetAnalysis.h"

#include <typeinfo>

namespace {

constexpr unsigned int tagSize = 4; // tag type and tag

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
        analyse();
        m_analysed = true;
    }
    return &m_media;
}

void CNetworkFrame::analyse()
{
    // A view of the host's bytes, which is what nearly all frames are, needn't ask itself for them.
    bool const isView = typeid(*this) == typeid(CNetworkFrame);
    analyseEthernet(isView ? CBoundedBytes(m_data, m_capturedLength) : CBoundedBytes(*this), m_media);
}

void analyseEthernet(CBoundedBytes bytes, CEthernetInfo & media)
{
    bytes.copy<6>(0, media.destinationMAC.bytes.data());
    bytes.copy<6>(6, media.sourceMAC.bytes.data());

    unsigned int at = ethernet::typeOffset;
    unsigned int type = bytes.word(at);
    bool const tagged = ethernet::isVlanType(type);
    media.vlanTag[0] = tagged ? bytes[at + 2] : 0;
    media.vlanTag[1] = tagged ? bytes[at + 3] : 0;
    while (ethernet::isVlanType(type)) {
        at += tagSize;
        type = bytes.word(at);
    }

    if (type >= ethernet::lowestType) {
        unsigned char const wire[2] = {bytes[at], bytes[at + 1]};
        media.protocolId.Set(2, wire);
        media.networkOffset = at + 2;
        media.frameFormat = tagged ? CEthernetInfo::ffTaggedEthernet2 : CEthernetInfo::ffEthernet2;
    } else {
        analysePayload(bytes, at + 2, media);
        if (tagged)
            media.frameFormat = CEthernetInfo::ffTagged8023;
    }
}

void handOver(CFrameView const & view, void (*handler)(CNetworkFrame const * frame, void * context),
              void * context)
{
    CNetworkFrame const frame(view.data, view.capturedLength, view.length);
    handler(&frame, context);
}
