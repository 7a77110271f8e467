#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ketmon {

// A network interface, as the system tells of it to anybody.
struct CInterface
{
    std::string name;
    unsigned int index = 0;
    bool up = false;        // by whoever administers it
    bool running = false;   // there is a carrier, too
    bool loopback = false;  // of which no wire is behind
    bool ethernet = false;  // frames are of Ethernet
    bool countable = false; // frames can be counted
    std::optional<std::uint64_t> bitsPerSecond;
    std::string driver;                 // this and the next are empty where there is none
    std::string mac;                    // "00:11:22:aa:bb:cc"
    std::vector<std::string> addresses; // of IP
};

// All of them, in the order of their numbers. It takes no rights. Throws CFailure: exit code 1 if they can't be
// asked for, 2 on a system on which ketmon can't capture.
std::vector<CInterface> networkInterfaces();

} // namespace ketmon
