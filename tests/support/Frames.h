#pragma once

#include "ketstats/capture/NetworkFrame.h"
#include "ketstats/model/statvalues.h"

#include "tests/support/Bytes.h"

#include <string>

namespace test {

// Addresses that read well in tests.
inline char const * const broadcastMac = "FF-FF-FF-FF-FF-FF";
inline char const * const multicastMac = "01-00-5E-00-00-01";
inline char const * const macA = "02-00-00-00-00-0A";
inline char const * const macB = "02-00-00-00-00-0B";
inline char const * const macC = "02-00-00-00-00-0C";

Bytes operator+(Bytes const & front, Bytes const & back);

// Fourteen bytes: destination, source, type.
Bytes ethernet(char const * destination, char const * source, unsigned int type);

// A frame of its own bytes. The wire length is that of the bytes unless told otherwise.
class Frame : public CNetworkFrame
{
public:
    explicit Frame(Bytes data) : Frame(data, static_cast<unsigned int>(data.size())) {}
    Frame(Bytes data, unsigned int length) : m_bytes(std::move(data))
    {
        Assign(m_bytes.data(), static_cast<unsigned int>(m_bytes.size()), length);
    }
    Frame(Frame const &) = delete;
    Frame & operator=(Frame const &) = delete;

private:
    Bytes m_bytes;
};

// An Ethernet II frame of `length` bytes on the wire.
inline Frame plainFrame(char const * destination, char const * source, unsigned int length,
                        unsigned int type = 0x88B5)
{
    return Frame(ethernet(destination, source, type), length);
}

// Who sends or receives a frame.
struct Host
{
    std::string mac;
    std::string ip;
};
inline Host const hostA{macA, "10.0.0.10"};
inline Host const hostB{macB, "10.0.0.11"};
inline Host const hostC{macC, "10.0.0.12"};
inline Host const everybody{broadcastMac, "255.255.255.255"};
inline Host const somebody{multicastMac, "224.0.0.1"};
// One of 65536 others.
Host host(unsigned int number);

// Keys of tables: of an address as text, and of a protocol, sub-protocol or port as a number.
KetStats::CMACAddrPacked mac(std::string const & text);
KetStats::CIPAddress ip(std::string const & text);
KetStats::CProtocolIdPacked id(unsigned int number);

// Ethernet II frames. An IP header of more than five words ends in zeros; the payload stands behind the words
// that the header claims to have, or overlays them from its end on if they are less than five.
Bytes ipFrame(Host const & from, Host const & to, unsigned int protocol, Bytes const & payload = {},
              unsigned int headerWords = 5);
Bytes tcpFrame(Host const & from, Host const & to, unsigned int fromPort, unsigned int toPort,
               unsigned int headerWords = 5);
Bytes udpFrame(Host const & from, Host const & to, unsigned int fromPort, unsigned int toPort,
               unsigned int headerWords = 5);

// An ARP packet with the sender and the target as given, in a frame from the sender to `destination`.
Bytes arpFrame(unsigned int opcode, Host const & sender, Host const & target,
               std::string const & destination);
// Everybody is asked for the MAC address of `to`.
Bytes arpRequest(Host const & from, Host const & to);
Bytes arpReply(Host const & from, Host const & to);

// The frame with a VLAN tag in front of its type, and with its type behind an 802.3 length and a SNAP header.
Bytes tagged(Bytes const & frame, unsigned int tag, unsigned int tagType = 0x8100);
Bytes snap(Bytes const & frame);

} // namespace test
