#include "host/wire/Fingerprint.h"

#include "ketstats/ketstats.h"

#include <string_view>

namespace ketmon {

using namespace KetStats;

namespace {

class CHash
{
public:
    void add(unsigned char byte)
    {
        m_value ^= byte;
        m_value *= 1099511628211U;
    }
    void add(std::string_view text)
    {
        for (char const c : text)
            add(static_cast<unsigned char>(c));
        add(static_cast<unsigned char>(0));
    }
    std::uint64_t value() const { return m_value; }

private:
    std::uint64_t m_value = 14695981039346656037U;
};

template <class Kind>
bool is(CStatDescription const & description)
{
    return dynamic_cast<Kind const *>(&description) != nullptr;
}

char kindOf(CStatDescription const & description)
{
    switch (description.getStatType()) {
    case CStatDescription::stStruct:
        return 'g';
    case CStatDescription::stTable:
        return 'f';
    case CStatDescription::stDynamicArray:
        return 't';
    default:
        break;
    }
    if (is<CNumericStatDescription<unsigned short>>(description))
        return 'h';
    if (is<CNumericStatDescription<unsigned int>>(description))
        return 'u';
    if (is<CNumericStatDescription<long long>>(description))
        return 'l';
    if (is<CNumericStatDescription<percentVal>>(description))
        return 'p';
    if (is<CNumericStatDescriptionBase>(description))
        return 'n';
    if (is<CMACAddressStatDescription>(description))
        return 'm';
    if (is<CIPAddressStatDescription>(description))
        return 'i';
    if (is<CIPv6AddressStatDescription>(description))
        return 'x';
    if (is<CProtocolIdStatDescription>(description))
        return 'd';
    return description.isString() ? 's' : 'v';
}

void walk(CHash & hash, CStatDescription const & description)
{
    auto const * const numeric = dynamic_cast<CNumericStatDescriptionBase const *>(&description);
    hash.add(static_cast<unsigned char>(description.getOid() & 0xFF));
    hash.add(static_cast<unsigned char>(description.getOid() >> 8));
    hash.add(static_cast<unsigned char>(kindOf(description)));
    hash.add(description.getStringDescription());
    hash.add(numeric ? std::string_view(numeric->getUnits()) : std::string_view());
    for (unsigned int index = 0; CStatDescription const * const below = description.subStatDescription(index);
         ++index)
        walk(hash, *below);
    hash.add(static_cast<unsigned char>(0xFF));
}

} // namespace

std::uint64_t fingerprint(CStatDescription const & description)
{
    CHash hash;
    walk(hash, description);
    return hash.value();
}

std::uint64_t schemaFingerprint()
{
    static std::uint64_t const value = fingerprint(CAgentStatistic::groupDescription());
    return value;
}

std::uint64_t extendedFingerprint()
{
    static std::uint64_t const value = fingerprint(CExtendedStatistic::groupDescription());
    return value;
}

} // namespace ketmon
