#include "ketstats/text/StatFormat.h"

#include "ketstats/platform/Locale.h"
#include "ketstats/text/FixedPoint.h"
#include "ketstats/text/LazyText.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace KetStats {

namespace {

constexpr int precisionWithoutLocale = 2;

std::string invalidFormat()
{
    return textOf(StringIds::invalidFormat);
}

std::string multiplied(double value, Multiplier const & multiplier, int digits)
{
    return fixedPointToString(value / static_cast<double>(multiplier.value), digits) + ' ' +
           multiplier.abbrev;
}

std::string unsignedText(long long value, int radix)
{
    char text[20]; // 2^64 - 1 in decimal
    auto const end = std::to_chars(text, text + sizeof text, static_cast<unsigned long long>(value), radix);
    return {text, end.ptr};
}

template <class T>
T readRaw(void const * bytes)
{
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

} // namespace

int precisionOf(bool (*fractionDigits)(char * text, unsigned int size))
{
    char text[20] = "";
    if (!fractionDigits(text, sizeof text))
        return precisionWithoutLocale;
    // A number too large for an int must not come out as a negative one.
    long const digits = std::min<long>(std::strtol(text, nullptr, 10), std::numeric_limits<int>::max());
    return digits >= 0 ? static_cast<int>(digits) : precisionWithoutLocale;
}

CStatFormatBase::CStatFormatBase(unsigned int theNameResourceId, ValueType theValueType)
    : valueType(theValueType),
      nameResourceId(theNameResourceId)
{}

CStatFormatBase::CStatFormatBase(std::string const & theName, ValueType theValueType)
    : valueType(theValueType),
      name(theName)
{}

CStatFormatBase::~CStatFormatBase() = default;

std::string const & CStatFormatBase::getName() const
{
    return loadedName(name, nameResourceId);
}

void CStatFormatBase::setMultiplier(Multiplier const * newMultiplier)
{
    if (canUseMultiplier())
        multiplier = newMultiplier;
}

void CStatFormatBase::setFractionDigits(int digits)
{
    if (digits >= 0)
        fractionDigits = digits;
}

int CStatFormatBase::getDefaultPrecision()
{
    return precisionOf(&platform::localeFractionDigits);
}

std::string CStatFormatBase::formatValue(std::string const & /*value*/, void * /*context*/) const
{
    return invalidFormat();
}

std::string CStatFormatBase::formatValue(CMACAddr const & /*value*/, void * /*context*/) const
{
    return invalidFormat();
}

std::string CStatFormatBase::formatValue(long long /*value*/, void * /*context*/) const
{
    return invalidFormat();
}

std::string CStatFormatBase::formatValue(double /*value*/, void * /*context*/) const
{
    return invalidFormat();
}

std::string CStatFormatBase::formatValue(void const * /*value*/, unsigned int /*size*/,
                                         void * /*context*/) const
{
    return invalidFormat();
}

CDoubleStatFormatBase::CDoubleStatFormatBase(unsigned int theNameResourceId)
    : CStatFormatBase(theNameResourceId, vtDouble)
{}

CDoubleStatFormatBase::CDoubleStatFormatBase(std::string const & theName) : CStatFormatBase(theName, vtDouble)
{}

// Past the virtual table, here and for integers: a raw number is no value that the formats below may show.
std::string CDoubleStatFormatBase::formatValue(void const * value, unsigned int /*size*/,
                                               void * context) const
{
    return CStatFormatBase::formatValue(readRaw<double>(value), context);
}

CIntegerStatFormatBase::CIntegerStatFormatBase(unsigned int theNameResourceId)
    : CStatFormatBase(theNameResourceId, vtInteger)
{}

CIntegerStatFormatBase::CIntegerStatFormatBase(std::string const & theName)
    : CStatFormatBase(theName, vtInteger)
{}

std::string CIntegerStatFormatBase::formatValue(void const * value, unsigned int /*size*/,
                                                void * context) const
{
    return CStatFormatBase::formatValue(readRaw<long long>(value), context);
}

CFixedPointStatFormat::CFixedPointStatFormat() : CDoubleStatFormatBase(StringIds::fixedPointFormat) {}

std::string CFixedPointStatFormat::formatValue(double value, void * /*context*/) const
{
    return multiplier ? multiplied(value, *multiplier, fractionDigits)
                      : fixedPointToString(value, fractionDigits);
}

CIntegerFormat::CIntegerFormat() : CIntegerStatFormatBase(StringIds::integerFormat) {}

std::string CIntegerFormat::formatValue(long long value, void * /*context*/) const
{
    return multiplier ? multiplied(static_cast<double>(value), *multiplier, fractionDigits)
                      : unsignedText(value, 10);
}

CIntegerHexFormat::CIntegerHexFormat() : CIntegerStatFormatBase(StringIds::integerHexFormat) {}

std::string CIntegerHexFormat::formatValue(long long value, void * /*context*/) const
{
    std::string text = unsignedText(value, 16);
    for (char & digit : text)
        if (digit >= 'a')
            digit = static_cast<char>(digit - 'a' + 'A');
    return "0x" + text;
}

CMACAddressFormat::CMACAddressFormat() : CStatFormatBase(StringIds::macAddressFormat, vtMAC) {}

std::string CMACAddressFormat::formatValue(CMACAddr const & value, void * /*context*/) const
{
    return value;
}

std::string CMACAddressFormat::formatValue(void const * value, unsigned int /*size*/, void * context) const
{
    return formatValue(readRaw<CMACAddr>(value), context);
}

CIPAddressFormat::CIPAddressFormat() : CStatFormatBase(StringIds::ipAddressFormat, vtIP) {}

std::string CIPAddressFormat::formatValue(long long value, void * /*context*/) const
{
    auto const address = static_cast<unsigned int>(value);
    unsigned char octets[sizeof address];
    std::memcpy(octets, &address, sizeof address);
    std::string text;
    for (unsigned char octet : octets)
        text += (text.empty() ? "" : ".") + std::to_string(octet);
    return text;
}

CIPv6AddressFormat::CIPv6AddressFormat() : CStatFormatBase(StringIds::ipv6AddressFormat, vtIPv6) {}

std::string CIPv6AddressFormat::formatValue(void const * value, unsigned int /*size*/,
                                            void * /*context*/) const
{
    return ipv6Text(static_cast<unsigned char const *>(value));
}

CIPv6AddressBytesFormat::CIPv6AddressBytesFormat()
    : CStatFormatBase(StringIds::ipv6AddressBytesFormat, vtIPv6)
{}

std::string CIPv6AddressBytesFormat::formatValue(void const * value, unsigned int /*size*/,
                                                 void * /*context*/) const
{
    return hexString(static_cast<unsigned char const *>(value), 16);
}

CStringFormat::CStringFormat() : CStatFormatBase(StringIds::stringFormat, vtString) {}

std::string CStringFormat::formatValue(std::string const & value, void * /*context*/) const
{
    return value;
}

} // namespace KetStats
