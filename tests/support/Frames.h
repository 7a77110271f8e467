#pragma once

#include "ketstats/capture/NetworkFrame.h"

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

} // namespace test
