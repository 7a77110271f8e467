#pragma once

#include <stdexcept>
#include <string>

namespace ketmon {

enum ExitCode : int
{
    exitSuccess = 0,
    exitFailure = 1,  // something went wrong while running
    exitBadInput = 2, // bad usage or unreadable input
    exitInterfaceGone = 3,
};

// Ends the program with one line on stderr.
class CFailure : public std::runtime_error
{
public:
    CFailure(ExitCode exitCode, std::string const & message)
        : std::runtime_error(message),
          m_exitCode(exitCode)
    {}

    ExitCode exitCode() const { return m_exitCode; }

private:
    ExitCode m_exitCode;
};

// A network interface is gone from which frames were captured.
class CInterfaceGone : public CFailure
{
public:
    explicit CInterfaceGone(std::string const & message) : CFailure(exitInterfaceGone, message) {}
};

} // namespace ketmon
