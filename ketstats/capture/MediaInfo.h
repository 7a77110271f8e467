#pragma once

#include "ketstats/capture/Address.h"
#include "ketstats/capture/ProtocolId.h"
#include "ketstats/platform/Exports.h"

// What the analysis of a frame found out about its medium. The object belongs to the frame and is valid until
// the frame is given other bytes. All operations are inline, so that a module which binds the capture library
// late needs nothing of it to read, test or cast one of these.
class KETSTATS_TYPE CMediaInfo
{
public:
    virtual ~CMediaInfo() = default;

    virtual bool IsBroadcast() const { return false; }
    virtual bool IsMulticast() const { return false; }

    // Bytes on the medium per frame that the frame's length doesn't include.
    virtual int GetOverhead() const { return 0; }

    // The network protocol of the frame.
    CProtocolId const & GetProtocolId() const { return protocolId; }

    unsigned int networkOffset = 0; // of the network header, from the start of the frame's data
    unsigned int frameFormat = 0;   // see CEthernetInfo
    CMACAddr sourceMAC;
    CMACAddr destinationMAC;
    CProtocolId protocolId;
};

class KETSTATS_TYPE CEthernetInfo : public CMediaInfo
{
public:
    enum FrameFormat : unsigned int
    {
        ffNone = 0,
        ffEthernet2 = 1, // type field
        ffRawIPX = 2,    // 802.3 length, payload FF FF
        ffLLC = 3,       // 802.3 length, 802.2 header
        ffSNAP = 4,      // 802.3 length, 802.2 header AA AA 03
        ffTaggedEthernet2 = 6,
        ffTagged8023 = 7, // any of 2, 3, 4 behind a VLAN tag
    };

    // The frame check sequence, which captures leave out.
    static constexpr int frameCheckSequence = 4;

    bool IsBroadcast() const override
    {
        for (unsigned char octet : destinationMAC.bytes)
            if (octet != 0xFF)
                return false;
        return true;
    }

    bool IsMulticast() const override { return (destinationMAC.bytes[0] & 1) != 0; }

    int GetOverhead() const override { return frameCheckSequence; }

    bool hasVlanTag() const { return frameFormat == ffTaggedEthernet2 || frameFormat == ffTagged8023; }

private:
    [[maybe_unused]] unsigned char reserved[2] = {};

public:
    // The two bytes behind the first tag type, stored as on the wire; used only if hasVlanTag().
    unsigned char vlanTag[2] = {};
};
