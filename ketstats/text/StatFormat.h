#pragma once

#include "ketstats/capture/Address.h"
#include "ketstats/platform/Exports.h"
#include "ketstats/text/Multiplier.h"

#include <string>

namespace KetStats {

// One way of turning a value into text. A format takes one kind of value; asked for any other it answers an
// error text in place of the value. The text never contains the unit of a statistic.
//
// A host may derive formats of its own from the classes below and put them into the custom lists. `context`
// is whatever the caller of formatValue gave, passed on unchanged; the formats of this library ignore it.
//
// Formatting is safe on any thread, and so is asking for the name. The setters, assignment and copying belong to
// the owner of the format, before it is shared.
class KETSTATS_API CStatFormatBase
{
public:
    // The kind of value that a format takes.
    enum ValueType : unsigned int
    {
        vtNone,
        vtInteger,
        vtDouble,
        vtMAC,
        vtIP,
        vtString,
        vtIPv6,
    };

    CStatFormatBase(CStatFormatBase const &) = default;
    CStatFormatBase & operator=(CStatFormatBase const &) = default;

    // The display name; "Unknown statistic" if its resource is missing.
    std::string const & getName() const;
    ValueType getValueType() const { return valueType; }

    // Numbers can be divided by a multiplier. Setting one on a format of another kind does nothing; null
    // takes it away. The multiplier isn't owned.
    bool canUseMultiplier() const { return valueType == vtInteger || valueType == vtDouble; }
    void setMultiplier(Multiplier const * newMultiplier);
    Multiplier const * getMultiplier() const { return multiplier; }

    // Places behind the point, 0 or more; a negative count is ignored. However many there are, no more than
    // mostFractionDigits (see FixedPoint.h) are written.
    void setFractionDigits(int digits);
    int getFractionDigits() const { return fractionDigits; }

    // The places that the user's locale asks for, 2 if it doesn't tell.
    static int getDefaultPrecision();

    // The value as text. At the root all of them answer "Invalid format for this statistic".
    virtual std::string formatValue(std::string const & value, void * context) const;
    virtual std::string formatValue(CMACAddr const & value, void * context) const;
    virtual std::string formatValue(long long value, void * context) const;
    virtual std::string formatValue(double value, void * context) const;
    // Of `size` raw bytes. This works for MAC and IPv6 addresses alone.
    virtual std::string formatValue(void const * value, unsigned int size, void * context) const;

    virtual ~CStatFormatBase();

protected:
    CStatFormatBase(unsigned int theNameResourceId, ValueType theValueType);
    CStatFormatBase(std::string const & theName, ValueType theValueType);

    ValueType valueType;
    mutable unsigned int nameResourceId = 0; // 0 once the name is there
    mutable std::string name;
    Multiplier const * multiplier = nullptr;
    int fractionDigits = getDefaultPrecision();
};

// The number that starts the locale's text, which `fractionDigits` writes; 2 if it fails or the number is
// negative. A text that doesn't start with digits counts as 0, as its conversion does.
KETSTATS_API int precisionOf(bool (*fractionDigits)(char * text, unsigned int size));

// The base of all formats for floating-point numbers.
class KETSTATS_API CDoubleStatFormatBase : public CStatFormatBase
{
public:
    using CStatFormatBase::formatValue;
    // Reads a double and answers the error text all the same, also below: only addresses have a raw form.
    std::string formatValue(void const * value, unsigned int size, void * context) const override;

protected:
    explicit CDoubleStatFormatBase(unsigned int theNameResourceId);
    explicit CDoubleStatFormatBase(std::string const & theName);
};

// The base of all formats for integers.
class KETSTATS_API CIntegerStatFormatBase : public CStatFormatBase
{
public:
    using CStatFormatBase::formatValue;
    // Reads an integer and answers the error text all the same.
    std::string formatValue(void const * value, unsigned int size, void * context) const override;

protected:
    explicit CIntegerStatFormatBase(unsigned int theNameResourceId);
    explicit CIntegerStatFormatBase(std::string const & theName);
};

// "1234.57", or "1.23 k" with a multiplier.
class KETSTATS_API CFixedPointStatFormat : public CDoubleStatFormatBase
{
public:
    CFixedPointStatFormat();
    using CDoubleStatFormatBase::formatValue;
    std::string formatValue(double value, void * context) const override;
};

// "1234", or "1.23 k" with a multiplier. Without one the value is read as unsigned, so that -1 shows as
// 18446744073709551615; with one it keeps its sign. That asymmetry is meant.
class KETSTATS_API CIntegerFormat : public CIntegerStatFormatBase
{
public:
    CIntegerFormat();
    using CIntegerStatFormatBase::formatValue;
    std::string formatValue(long long value, void * context) const override;
};

// "0x4D2": unsigned, in upper case, without padding. Multiplier and places play no part.
class KETSTATS_API CIntegerHexFormat : public CIntegerStatFormatBase
{
public:
    CIntegerHexFormat();
    using CIntegerStatFormatBase::formatValue;
    std::string formatValue(long long value, void * context) const override;
};

// "00-11-22-AA-BB-CC"
class KETSTATS_API CMACAddressFormat : public CStatFormatBase
{
public:
    CMACAddressFormat();
    using CStatFormatBase::formatValue;
    std::string formatValue(CMACAddr const & value, void * context) const override;
    // Of six bytes; the size isn't looked at.
    std::string formatValue(void const * value, unsigned int size, void * context) const override;
};

// "10.0.0.1", of the low 32 bits, which hold the address in network byte order.
class KETSTATS_API CIPAddressFormat : public CStatFormatBase
{
public:
    CIPAddressFormat();
    using CStatFormatBase::formatValue;
    std::string formatValue(long long value, void * context) const override;
};

// "2001:db8::1": the canonical text of an IPv6 address, which is given as its sixteen bytes.
class KETSTATS_API CIPv6AddressFormat : public CStatFormatBase
{
public:
    CIPv6AddressFormat();
    using CStatFormatBase::formatValue;
    // The size isn't looked at.
    std::string formatValue(void const * value, unsigned int size, void * context) const override;
};

// "20-01-0D-B8-00-00-00-00-00-00-00-00-00-00-00-01"
class KETSTATS_API CIPv6AddressBytesFormat : public CStatFormatBase
{
public:
    CIPv6AddressBytesFormat();
    using CStatFormatBase::formatValue;
    std::string formatValue(void const * value, unsigned int size, void * context) const override;
};

// The text itself.
class KETSTATS_API CStringFormat : public CStatFormatBase
{
public:
    CStringFormat();
    using CStatFormatBase::formatValue;
    std::string formatValue(std::string const & value, void * context) const override;
};

} // namespace KetStats
