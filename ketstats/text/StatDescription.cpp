#include "ketstats/text/StatDescription.h"

#include "ketstats/model/StatTypes.h"
#include "ketstats/text/LazyText.h"
#include "ketstats/text/StatFormatContainer.h"

namespace KetStats {

namespace {

template <class T>
T const & valueOf(CBaseStat const * stat)
{
    return static_cast<CValueStat<T> const *>(stat)->get();
}

} // namespace

CStatDescription * CStatDescription::d = nullptr;

CStatDescription::CStatDescription(unsigned int theNameResourceId, StatType theStatType,
                                   unsigned short theOid)
    : statType(theStatType),
      oid(theOid),
      nameResourceId(theNameResourceId)
{}

CStatDescription::CStatDescription(std::string const & theName, StatType theStatType, unsigned short theOid)
    : statType(theStatType),
      oid(theOid),
      name(theName)
{}

std::string const & CStatDescription::getStringDescription() const
{
    return loadedName(name, nameResourceId);
}

// The null description is named by a reference, as every description is. Nothing ever reads through it.
__attribute__((no_sanitize("null"))) CStatDescription & CStatDescription::GetNull()
{
    return *d;
}

CStatDescription const * CStatDescription::subStatDescription(unsigned int /*index*/) const
{
    return nullptr;
}

unsigned int CStatDescription::getFormatCount() const
{
    return 0;
}

CStatFormatBase const * CStatDescription::getFormat(unsigned int /*index*/) const
{
    return nullptr;
}

bool CStatDescription::isNumeric() const
{
    return false;
}

double CStatDescription::getNumeric(CBaseStat const * /*stat*/) const
{
    return 0.0;
}

bool CStatDescription::isInteger() const
{
    return false;
}

long long CStatDescription::getInteger(CBaseStat const * /*stat*/) const
{
    return 0;
}

bool CStatDescription::isString() const
{
    return false;
}

std::string CStatDescription::getString(CBaseStat const * /*stat*/) const
{
    return {};
}

std::string CStatDescription::formatValue(CBaseStat const * /*stat*/, unsigned int /*formatIndex*/,
                                          void * /*context*/) const
{
    return textOf(StringIds::cannotFormat);
}

CValueStatDescription::CValueStatDescription(unsigned int theNameResourceId)
    : CStatDescription(theNameResourceId, stValue, 0)
{}

CValueStatDescription::CValueStatDescription(std::string const & theName)
    : CStatDescription(theName, stValue, 0)
{}

unsigned int CValueStatDescription::getFormatCount() const
{
    return getFormats()->size() + getCustomFormats()->size();
}

CStatFormatBase const * CValueStatDescription::getFormat(unsigned int index) const
{
    unsigned int const standard = getFormats()->size();
    return index < standard ? &(*getFormats())[index] : &(*getCustomFormats())[index - standard];
}

CNumericStatDescriptionBase::CNumericStatDescriptionBase(unsigned int theNameResourceId,
                                                         unsigned int theUnitResourceId)
    : CValueStatDescription(theNameResourceId),
      unitResourceId(theUnitResourceId)
{}

CNumericStatDescriptionBase::CNumericStatDescriptionBase(std::string const & theName,
                                                         std::string const & theUnit,
                                                         std::string const & theUnits,
                                                         std::string const & theAbbrev)
    : CValueStatDescription(theName),
      unit(theUnit),
      units(theUnits),
      abbrev(theAbbrev)
{}

void CNumericStatDescriptionBase::loadUnits() const
{
    loadTexts({&unit, &units, &abbrev}, unitResourceId, StringIds::unknownFormatName);
}

std::string const & CNumericStatDescriptionBase::getUnit() const
{
    loadUnits();
    return unit;
}

std::string const & CNumericStatDescriptionBase::getUnits() const
{
    loadUnits();
    return units;
}

std::string const & CNumericStatDescriptionBase::getAbbrev() const
{
    loadUnits();
    return abbrev;
}

bool CNumericStatDescriptionBase::isNumeric() const
{
    return true;
}

// The two lists whose formats a kind of leaf offers.
#define FORMATS_OF_KIND(TEMPLATE, CLASS, KIND)                                                               \
    TEMPLATE CStatFormatContainerBase const * CLASS::getFormats() const                                      \
    {                                                                                                        \
        return Standard##KIND##Formats;                                                                      \
    }                                                                                                        \
    TEMPLATE CStatFormatContainerBase const * CLASS::getCustomFormats() const                                \
    {                                                                                                        \
        return Custom##KIND##Formats;                                                                        \
    }

template <class T>
CNumericStatDescription<T>::CNumericStatDescription(unsigned int theNameResourceId,
                                                    unsigned int theUnitResourceId)
    : CNumericStatDescriptionBase(theNameResourceId, theUnitResourceId)
{}

template <class T>
double CNumericStatDescription<T>::getNumeric(CBaseStat const * stat) const
{
    return static_cast<double>(valueOf<T>(stat));
}

template <class T>
std::string CNumericStatDescription<T>::formatValue(CBaseStat const * stat, unsigned int formatIndex,
                                                    void * context) const
{
    CStatFormatBase const & format = *getFormat(formatIndex);
    switch (format.getValueType()) {
    case CStatFormatBase::vtInteger:
        return format.formatValue(getInteger(stat), context);
    case CStatFormatBase::vtDouble:
        return format.formatValue(getNumeric(stat), context);
    default:
        return textOf(StringIds::invalidFormat);
    }
}

FORMATS_OF_KIND(template <class T>, CNumericStatDescription<T>, Double)

template <class T>
CIntegerStatDescription<T>::CIntegerStatDescription(unsigned int theNameResourceId,
                                                    unsigned int theUnitResourceId)
    : CNumericStatDescription<T>(theNameResourceId, theUnitResourceId)
{}

template <class T>
bool CIntegerStatDescription<T>::isInteger() const
{
    return true;
}

template <class T>
long long CIntegerStatDescription<T>::getInteger(CBaseStat const * stat) const
{
    return static_cast<long long>(valueOf<T>(stat));
}

template <class T>
std::string CIntegerStatDescription<T>::formatValue(CBaseStat const * stat, unsigned int formatIndex,
                                                    void * context) const
{
    return this->getFormat(formatIndex)->formatValue(getInteger(stat), context);
}

FORMATS_OF_KIND(template <class T>, CIntegerStatDescription<T>, Integer)

template class CNumericStatDescription<percentVal>;
template class CNumericStatDescription<unsigned short>;
template class CNumericStatDescription<unsigned int>;
template class CNumericStatDescription<long long>;
template class CIntegerStatDescription<unsigned short>;
template class CIntegerStatDescription<unsigned int>;
template class CIntegerStatDescription<long long>;

bool CStringStatDescription::isString() const
{
    return true;
}

std::string CStringStatDescription::getString(CBaseStat const * stat) const
{
    return static_cast<CStringStat const *>(stat)->get();
}

std::string CStringStatDescription::formatValue(CBaseStat const * stat, unsigned int formatIndex,
                                                void * context) const
{
    return getFormat(formatIndex)->formatValue(static_cast<CStringStat const *>(stat)->get(), context);
}

FORMATS_OF_KIND(, CStringStatDescription, String)

std::string CMACAddressStatDescription::formatValue(CBaseStat const * stat, unsigned int formatIndex,
                                                    void * context) const
{
    CMACAddr const address(valueOf<CMACAddrPacked>(stat).bytes.data());
    return getFormat(formatIndex)->formatValue(address, context);
}

FORMATS_OF_KIND(, CMACAddressStatDescription, MAC)

std::string CIPAddressStatDescription::formatValue(CBaseStat const * stat, unsigned int formatIndex,
                                                   void * context) const
{
    unsigned int const address = valueOf<CIPAddress>(stat);
    if (address == 0)
        return textOf(StringIds::otherAddresses);
    return getFormat(formatIndex)->formatValue(static_cast<long long>(address), context);
}

FORMATS_OF_KIND(, CIPAddressStatDescription, IP)

std::string CIPv6AddressStatDescription::formatValue(CBaseStat const * stat, unsigned int formatIndex,
                                                     void * context) const
{
    auto const & address = valueOf<CIPv6Address>(stat);
    if (address == CIPv6Address())
        return textOf(StringIds::otherAddresses);
    return getFormat(formatIndex)->formatValue(address.bytes.data(), sizeof address, context);
}

FORMATS_OF_KIND(, CIPv6AddressStatDescription, IPv6)

std::string CProtocolIdStatDescription::formatValue(CBaseStat const * stat, unsigned int formatIndex,
                                                    void * context) const
{
    auto const id = static_cast<long long>(valueOf<CProtocolIdPacked>(stat));
    return getFormat(formatIndex)->formatValue(id, context);
}

FORMATS_OF_KIND(, CProtocolIdStatDescription, ProtocolId)

#undef FORMATS_OF_KIND

CStructStatDescription::CStructStatDescription(unsigned int theNameResourceId, Children theChildren)
    : CStatDescription(theNameResourceId, stStruct, 0),
      children(theChildren)
{
    build();
}

CStructStatDescription::CStructStatDescription(unsigned int theNameResourceId, Children theChildren,
                                               CStatDescription const * row)
    : CStatDescription(theNameResourceId, stTable, 0),
      children(theChildren),
      rowDescription(row)
{
    build();
}

CStructStatDescription::CStructStatDescription(unsigned int theNameResourceId, Children theChildren,
                                               unsigned short theOid)
    : CStatDescription(theNameResourceId, stStruct, theOid),
      children(theChildren)
{
    build();
}

void CStructStatDescription::build()
{
    while (CStatDescription const * const child = children[subStatsCount])
        child->resetID(static_cast<unsigned short>(++subStatsCount));
}

CStatDescription const * CStructStatDescription::subStatDescription(unsigned int index) const
{
    return index < subStatsCount ? children[index] : nullptr;
}

CDynamicArrayStatDescription::CDynamicArrayStatDescription(unsigned int theNameResourceId,
                                                           CStatDescription const * row)
    : CStatDescription(theNameResourceId, stDynamicArray, 0),
      rowDescription(row)
{
    subStatsCount = 1;
}

CStatDescription const * CDynamicArrayStatDescription::subStatDescription(unsigned int index) const
{
    return index < subStatsCount ? rowDescription : nullptr;
}

// What nodes do with their descriptions stands here, where descriptions are complete.

CBaseValueStat::CBaseValueStat(CBaseStat * theParent, unsigned short theId,
                               CValueStatDescription const & theDescription, unsigned int theValueSize,
                               void * theValue)
    : CBaseStat(theParent, theId, theDescription, theValueSize),
      value(theValue)
{}

CStringStat::CStringStat(CBaseStat * theParent, unsigned short theId,
                         CValueStatDescription const & theDescription, std::string const & initial)
    : CBaseStat(theParent, theId, theDescription, 0),
      m_text(initial)
{}

CBaseStaticContainerStat::CBaseStaticContainerStat(CBaseStat * theParent, unsigned short theId,
                                                   CStructStatDescription const & theDescription)
    : CBaseStat(theParent, theId, theDescription, 0)
{}

CBaseHashedContainerStat::CBaseHashedContainerStat(CBaseStat * theParent, unsigned short theId,
                                                   CDynamicArrayStatDescription const & theDescription,
                                                   unsigned int theLimit)
    : CBaseStat(theParent, theId, theDescription, 0),
      limit(theLimit),
      freeIdx(theLimit),
      m_version(firstVersion()),
      m_versionEmpty(m_version)
{
    if (limit > largestLimit)
        refuseLimit();
}

bool CBaseStat::isNumeric() const
{
    return description->isNumeric();
}

double CBaseStat::getNumeric() const
{
    return description->getNumeric(this);
}

bool CBaseStat::isString() const
{
    return description->isString();
}

std::string CBaseStat::getString() const
{
    return description->getString(this);
}

} // namespace KetStats
