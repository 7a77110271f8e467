#pragma once

#include <cstdint>
#include <string>

namespace ketmon {

// Where an agent listens: "ADDRESS:PORT", "ADDRESS" with the usual port, "[ADDRESS]:PORT" for IPv6, or
// "unix:PATH" for a socket in the file system.
struct CEndpoint
{
    std::string address; // or the path
    std::uint16_t port = 0;
    bool local = false; // "unix:"

    // Throws CFailure, exit code 2. Whether there is such an address isn't looked at.
    static CEndpoint parsed(std::string const & text);
    std::string toString() const;
};

inline constexpr std::uint16_t usualPort = 7290;
inline constexpr char const * usualEndpoint = "127.0.0.1:7290";

} // namespace ketmon
