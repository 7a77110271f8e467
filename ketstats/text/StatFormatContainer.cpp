#include "ketstats/text/StatFormatContainer.h"

#include "ketstats/text/IPSubProtocolFormat.h"

namespace KetStats {

CStatFormatContainerBase::CStatFormatContainerBase(CStatFormatBase::ValueType theValueType)
    : valueType(theValueType)
{}

CStatFormatContainerBase::CStatFormatContainerBase(CStatFormatBase::ValueType theValueType,
                                                   CStatFormatBase ** array)
    : CStatFormatContainerBase(theValueType)
{
    for (; *array; ++array)
        if ((*array)->getValueType() == valueType)
            push_back(*array);
}

CStatFormatContainerBase::~CStatFormatContainerBase()
{
    clear();
}

void CStatFormatContainerBase::clear()
{
    for (CStatFormatBase * const format : formats)
        delete format;
    formats.clear();
}

// One format as it is, and one for each multiplier with an even index: these are the powers of 1024.
template <class Format>
static void addMultiplied(CStatFormatContainerBase & list)
{
    list.push_back(new Format);
    for (unsigned int i = 0; multipliers[i]; i += 2) {
        auto * const format = new Format;
        format->setMultiplier(multipliers[i]);
        list.push_back(format);
    }
}

CStandardIntegerFormats::CStandardIntegerFormats() : CStatFormatContainerBase(CStatFormatBase::vtInteger)
{
    addMultiplied<CIntegerFormat>(*this);
}

CStandardDoubleFormats::CStandardDoubleFormats() : CStatFormatContainerBase(CStatFormatBase::vtDouble)
{
    addMultiplied<CFixedPointStatFormat>(*this);
}

CStandardMACFormats::CStandardMACFormats() : CStatFormatContainerBase(CStatFormatBase::vtMAC)
{
    push_back(new CMACAddressFormat);
}

CStandardIPFormats::CStandardIPFormats() : CStatFormatContainerBase(CStatFormatBase::vtIP)
{
    push_back(new CIPAddressFormat);
}

CStandardIPv6Formats::CStandardIPv6Formats() : CStatFormatContainerBase(CStatFormatBase::vtIPv6)
{
    push_back(new CIPv6AddressFormat);
    push_back(new CIPv6AddressBytesFormat);
}

CStandardProtocolIdFormats::CStandardProtocolIdFormats()
    : CStatFormatContainerBase(CStatFormatBase::vtInteger)
{
    push_back(new CIntegerHexFormat);
    push_back(new CIPSubProtocolShortNameStatFormat);
    push_back(new CIPSubProtocolLongNameStatFormat);
}

CStandardStringFormats::CStandardStringFormats() : CStatFormatContainerBase(CStatFormatBase::vtString)
{
    push_back(new CStringFormat);
}

} // namespace KetStats
