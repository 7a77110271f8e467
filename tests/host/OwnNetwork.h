#pragma once

#include <functional>
#include <string>

namespace test {

// Runs a test in a network of its own, which is that of whatever it starts, too: with nothing but a loopback
// interface that is up. False if that isn't permitted.
bool inOwnNetwork(std::function<void()> const & body);

// Sends a datagram to that port of the loopback interface.
void sendDatagram(unsigned short port, std::string const & bytes);

// An interface of the kind that goes with the program that made it: of Ethernet, or of packets of IP with
// nothing in front of them. It is down.
class PassingInterface
{
public:
    enum Kind
    {
        ethernet,
        packets,
    };

    explicit PassingInterface(std::string const & name, Kind kind = ethernet);
    ~PassingInterface() { remove(); }
    PassingInterface(PassingInterface const &) = delete;
    PassingInterface & operator=(PassingInterface const &) = delete;

    bool there() const { return m_handle >= 0; }
    // False if the system doesn't do it.
    bool setUp(bool up) const;
    bool rename(std::string const & name);
    // Sets what an "ethtool" question sets, such as ETHTOOL_SGRO.
    bool setDriverValue(unsigned int command, unsigned int value) const;
    // Has a frame come in.
    bool send(std::string const & frame) const;
    // How many programs want all frames of it; -1 if the system doesn't tell.
    int promiscuity() const;
    void remove();

private:
    std::string m_name;
    int m_handle;
};

} // namespace test
