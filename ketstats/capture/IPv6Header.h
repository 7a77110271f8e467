#pragma once

#include "ketstats/capture/Frame.h"

#include <utility>

// An IPv6 header, with the extension headers behind it walked over: which protocol it carries, and where that begins.
// The version isn't looked at. The walk ends at a header that wasn't captured whole, whose own number counts then, behind
// the header of a fragment that isn't the first, and at the sixteenth extension header.
//
//      4 payload length   6 next header   7 hop limit   8 source   24 destination   40 what comes next
class CIPv6Header
{
public:
    static constexpr unsigned int size = 40;

    explicit CIPv6Header(CBoundedBytes bytes) : m_bytes(bytes), m_protocol(bytes[6])
    {
        if (isExtension(m_protocol)) [[unlikely]]
            walk();
    }

    CBoundedBytes bytes() const { return m_bytes; }
    unsigned int hopLimit() const { return m_bytes[7]; }
    // From the start of this header to the end of the packet, as it says.
    unsigned int length() const { return size + m_bytes.word(4); }

    unsigned char protocol() const { return m_protocol; }
    // Whether the header of that protocol is there to be looked at, and where, from the start of this one.
    bool hasPayload() const { return m_payload != 0; }
    unsigned int payload() const { return m_payload; }
    bool hasFragmentHeader() const { return m_hasFragmentHeader; }
    bool isFragment() const { return m_isFragment; } // first or later

    static bool isExtension(unsigned char number)
    {
        return number == hopByHop || number == routing || number == fragment || number == authentication ||
               number == destinationOptions || number == mobility;
    }

private:
    enum : unsigned char
    {
        hopByHop = 0,
        routing = 43,
        fragment = 44,
        authentication = 51,
        destinationOptions = 60,
        mobility = 135,
    };
    static constexpr unsigned int mostHeaders = 16;

    unsigned int extensionLength(unsigned int at) const
    {
        return m_protocol == fragment         ? 8
               : m_protocol == authentication ? (m_bytes[at + 1] + 2U) * 4
                                              : (m_bytes[at + 1] + 1U) * 8;
    }

    void walk()
    {
        unsigned int at = std::exchange(m_payload, 0U);
        for (unsigned int headers = 0; isExtension(m_protocol); ++headers) {
            if (headers == mostHeaders || !m_bytes.holds(at, 8) || !m_bytes.holds(at, extensionLength(at)))
                return;
            unsigned int const length = extensionLength(at);
            bool isLater = false;
            if (m_protocol == fragment) {
                unsigned int const place = m_bytes.word(at + 2);
                isLater = place >> 3 != 0;
                m_hasFragmentHeader = true;
                m_isFragment = m_isFragment || isLater || (place & 1) != 0;
            }
            m_protocol = m_bytes[at];
            at += length;
            if (isLater)
                return;
        }
        m_payload = at;
    }

    CBoundedBytes m_bytes;
    unsigned char m_protocol;
    bool m_hasFragmentHeader = false;
    bool m_isFragment = false;
    unsigned int m_payload = size;
};
