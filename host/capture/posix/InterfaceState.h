#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace ketmon {

// What the system says of its network interfaces at this moment. It takes one socket, which it opens when it is
// made: a program that gives up the right to open others can still ask.
class CInterfaceState
{
public:
    // Throws CFailure, exit code 1, if there is no socket to be had.
    CInterfaceState();
    ~CInterfaceState();
    CInterfaceState(CInterfaceState const &) = delete;
    CInterfaceState & operator=(CInterfaceState const &) = delete;

    // Empty if there is no such interface (any more).
    std::string nameOf(unsigned int index) const;

    // Flags such as IFF_UP; none set if there is no such interface.
    unsigned int flags(std::string const & name) const;
    bool isUp(std::string const & name) const;
    // Number and kind of hardware (ARPHRD_ETHER ...); nothing if there is no such interface.
    std::optional<unsigned int> index(std::string const & name) const;
    std::optional<unsigned int> hardware(std::string const & name) const;

    // Answers of the driver's; nothing where it has none.
    std::optional<std::uint32_t> driverValue(std::string const & name, std::uint32_t command) const;
    std::optional<std::uint64_t> bitsPerSecond(std::string const & name) const;
    std::string driver(std::string const & name) const;

private:
    bool askDriver(std::string const & name, void * question) const;

    int m_socket;
};

} // namespace ketmon
