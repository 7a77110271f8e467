#pragma once

#include "ketstats/capture/Address.h"
#include "ketstats/capture/ProtocolId.h"
#include "ketstats/ktools/MemoryBuffer.h"
#include "ketstats/platform/Exports.h"
#include "ketstats/platform/SystemTypes.h"

#include <string>
#include <type_traits>

// The small values of the statistic tree: percentages, identifiers, addresses, times. All are plain values;
// an object belongs to one thread at a time.
namespace KetStats {

// A percentage as a number, not a fraction. Equality works at the resolution of one hundredth, because it
// serves to detect changes worth sending; operator< is exact and must not be built on it.
struct KETSTATS_API percentVal
{
    percentVal(double initial = 0.0) : value(initial) {}
    percentVal(percentVal const &) = default;
    percentVal & operator=(percentVal const &) = default;
    percentVal & operator=(double other)
    {
        value = other;
        return *this;
    }

    operator double() const { return value; }

    percentVal & operator+=(double other) { return *this = value + other; }
    percentVal & operator-=(double other) { return *this = value - other; }
    percentVal & operator*=(double other) { return *this = value * other; }
    percentVal & operator/=(double other) { return *this = value / other; }

    // True also when the operands are unordered.
    bool operator<(percentVal const & other) const { return !(value >= other.value); }
    bool operator<(double other) const { return !(value >= other); }

    // The low 32 bits of the values times 100, cut off behind the point, are the same.
    bool operator==(percentVal const & other) const { return hundredths() == other.hundredths(); }
    bool operator!=(percentVal const & other) const { return !(*this == other); }
    // A plain number compares like a percentage.
    template <class Number>
    requires std::is_arithmetic_v<Number>
    bool operator==(Number other) const { return *this == percentVal(static_cast<double>(other)); }

    double value;

private:
    unsigned int hundredths() const;
};

// A dotted statistic identifier such as "1.4.2": each component is the id of a node on the way from the root
// of the tree, so the first one is the root's. Only a default-made object, or one whose parse failed, is
// empty.
class KETSTATS_API COid
{
public:
    class KETSTATS_TYPE CException : public ktools::CException
    {
    public:
        using ktools::CException::CException;
    };

    COid() = default;
    COid(unsigned short const * first, unsigned short const * last) : m_components(first, last) {}
    // From an array that a zero ends; a component of value 0 can't pass through this form.
    // Null is an empty path.
    COid(unsigned short const * const zeroTerminated)
    {
        if (zeroTerminated)
            m_components = zeroTerminated;
    }
    // These two parse with assign.
    COid(std::string const & text) { assign(text); }
    COid(char const * const text) { assign(text); }

    // Takes decimal components joined by '.'; one dot at the end is accepted. A component above 65535 wraps.
    // Throws CException, leaving the object empty, code 1, source "statvalues":
    //     line 47  a dot with no digit before it
    //     line 54  a character that is neither digit nor dot
    //     line 62  no text at all
    void assign(std::string const & text);
    void assign(char const * const text) { assign(std::string(text ? text : "")); }

    std::string toString() const;

    unsigned int length() const { return static_cast<unsigned int>(m_components.size()); }
    unsigned short operator[](unsigned int index) const { return m_components[index]; }

    // Negative, 0 or positive: lexicographic on the components; a proper prefix stands first.
    int compare(COid const & other) const;

private:
    std::basic_string<unsigned short> m_components;
};

// The order of COid as the key of a container.
struct COidLess
{
    bool operator()(COid const & left, COid const & right) const { return left.compare(right) < 0; }
};

// An IPv4 address in network byte order: the first octet is the byte at the lowest address.
class KETSTATS_API CIPAddress
{
public:
    CIPAddress() = default;
    CIPAddress(unsigned int networkOrder) : m_address(networkOrder) {}
    CIPAddress & operator=(unsigned int networkOrder)
    {
        m_address = networkOrder;
        return *this;
    }

    operator unsigned int() const { return m_address; }

    bool operator==(CIPAddress const & other) const { return m_address == other.m_address; }
    bool operator!=(CIPAddress const & other) const { return m_address != other.m_address; }
    // A number is an address in network byte order here as well.
    template <class Number>
    requires(std::is_integral_v<Number> && sizeof(Number) <= sizeof(unsigned int)) bool
    operator==(Number other) const
    {
        return m_address == static_cast<unsigned int>(other);
    }
    // The order of the dotted forms, whatever the machine's byte order.
    bool operator<(CIPAddress const & other) const;

    void packValue(ktools::CMemoryBuffer & buffer) const { buffer.Write(&m_address, sizeof m_address); }
    void unpackValue(ktools::CMemoryBuffer & buffer) { buffer.Read(&m_address, sizeof m_address); }

private:
    unsigned int m_address = 0;
};

// Sixteen bytes of an IPv6 address in wire order, a leaf value and a key of tables.
struct KETSTATS_API CIPv6Address
{
    CIPv6Address() = default;
    explicit CIPv6Address(std::array<unsigned char, 16> const & asTheyLie) : bytes(asTheyLie) {}

    friend bool operator==(CIPv6Address const &, CIPv6Address const &) = default;
    friend bool operator<(CIPv6Address const & left, CIPv6Address const & right)
    {
        return left.bytes < right.bytes;
    }

    void packValue(ktools::CMemoryBuffer & buffer) const { buffer.Write(bytes.data(), 16); }
    void unpackValue(ktools::CMemoryBuffer & buffer) { buffer.Read(bytes.data(), 16); }

    std::array<unsigned char, 16> bytes{};
};

// Six bytes of a MAC address in wire order, a leaf value and a key of tables.
struct KETSTATS_API CMACAddrPacked
{
    CMACAddrPacked() = default;
    CMACAddrPacked(CMACAddr const & address) : bytes(address.bytes) {}
    CMACAddrPacked & operator=(CMACAddr const & address)
    {
        bytes = address.bytes;
        return *this;
    }

    friend bool operator==(CMACAddrPacked const &, CMACAddrPacked const &) = default;

    void packValue(ktools::CMemoryBuffer & buffer) const { buffer.Write(bytes.data(), 6); }
    void unpackValue(ktools::CMemoryBuffer & buffer) { buffer.Read(bytes.data(), 6); }

    std::array<unsigned char, 6> bytes{};
};

// Six bytes of a protocol id, a leaf value and the key of the protocol, sub-protocol and port tables.
struct KETSTATS_API CProtocolIdPacked : CProtocolId
{
    CProtocolIdPacked() { Reset(); }
    CProtocolIdPacked(CProtocolId id) : CProtocolId(id) {}
    CProtocolIdPacked(CProtocolIdPacked const &) = default;
    CProtocolIdPacked & operator=(CProtocolId const & id)
    {
        CProtocolId::operator=(id);
        return *this;
    }
    CProtocolIdPacked & operator=(CProtocolIdPacked const &) = default;

    // The six bytes as one big-endian number, never negative: the number by which an id is shown.
    operator long long() const;

    void packValue(ktools::CMemoryBuffer & buffer) const { buffer.Write(bytes.data(), size); }
    void unpackValue(ktools::CMemoryBuffer & buffer) { buffer.Read(bytes.data(), size); }
};

static_assert(sizeof(percentVal) == 8 && sizeof(CIPAddress) == 4, "values are packed as they lie in memory");
static_assert(sizeof(CMACAddrPacked) == 6 && sizeof(CProtocolIdPacked) == 6 && sizeof(CIPv6Address) == 16,
              "keys have no padding");

// A moment in UTC, to the millisecond, broken down and as a tick.
class KETSTATS_API CSystemTime
{
public:
    // Takes the time of day.
    void getSystemTime();

    // This moment minus the other one, in units of 100 ns.
    long long operator-(CSystemTime const & other) const { return m_ticks - other.m_ticks; }

    operator _SYSTEMTIME() const { return m_time; }

    // Puts a host's own clock in the place of the system's, for the whole process: `ticks` yields the time in
    // units of 100 ns since 1601-01-01 UTC. Null brings the system's clock back. Any thread may call it; a
    // getSystemTime under way on another one takes the old or the new clock.
    static void setSource(long long (*ticks)());

private:
    _SYSTEMTIME m_time{};
    long long m_ticks = 0;
};

} // namespace KetStats
