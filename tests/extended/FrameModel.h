#pragma once

#include "tests/support/Bytes.h"

#include <array>
#include <map>
#include <string>

namespace test {

// What the second tree counts of frames, worked out anew from their bytes, as its documentation tells it: no line of the
// library is in it. Nothing is ever given up.
class FrameModel
{
public:
    struct Traffic
    {
        unsigned long long frames = 0;
        unsigned long long bytes = 0;
        friend bool operator==(Traffic const &, Traffic const &) = default;
    };
    // By the key as it lies in a frame: addresses, a number of one byte or two.
    using Table = std::map<Bytes, Traffic>;

    void take(Bytes const & captured, unsigned int length);

    Table traffic;
    Table protocols;
    Table tcpSent, tcpReceived, udpSent, udpReceived; // by port
    Table outerVlans, innerVlans;
    std::map<Bytes, Bytes> neighbours;            // MAC addresses
    std::array<unsigned long long, 18> signals{}; // from 1 on
    std::array<Traffic, 8> tunnels{};             // from 1 on

    int lowestPort = 1;
    int highestPort = 1024;

private:
    class Frame;

    void takeVlans(Frame const & frame);
    void takeIPv6(Frame const & frame);
    void takeIPv4(Frame const & frame);
    void takeARP(Frame const & frame);
    void takePorts(Frame const & frame, unsigned int at, bool tcp);
    void takeTCP(Frame const & frame, unsigned int at);
    void takeTunnel(Frame const & frame, unsigned int protocol, bool hasHeader, unsigned int at,
                    bool overIPv6);
    void takeNeighbour(Frame const & frame, unsigned int at);
    void learn(std::map<Bytes, Bytes> & bindings, Bytes const & address, Bytes const & mac,
               bool noticed = true);

    std::map<Bytes, Bytes> m_arp;
};

} // namespace test
