#pragma once

#include <functional>
#include <string>

namespace test {

// Runs a test in a network of its own, with nothing but a loopback interface that is up; false if that isn't
// permitted.
bool inOwnNetwork(std::function<void()> const & body);

// Sends a datagram to that port of the loopback interface.
void sendDatagram(unsigned short port, std::string const & bytes);

} // namespace test
