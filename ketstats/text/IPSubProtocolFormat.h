#pragma once

#include "ketstats/platform/Exports.h"
#include "ketstats/text/StatFormat.h"

namespace KetStats {

// The name of an IP protocol number, "TCP" or "Transmission Control" for 6. Numbers without a name read as
// the first standard format of protocol ids shows them: "0x67" for 103.
class KETSTATS_API CIPSubProtocolShortNameStatFormat : public CIntegerStatFormatBase
{
public:
    CIPSubProtocolShortNameStatFormat();
    using CIntegerStatFormatBase::formatValue;
    std::string formatValue(long long value, void * context) const override;
};

class KETSTATS_API CIPSubProtocolLongNameStatFormat : public CIntegerStatFormatBase
{
public:
    CIPSubProtocolLongNameStatFormat();
    using CIntegerStatFormatBase::formatValue;
    std::string formatValue(long long value, void * context) const override;
};

} // namespace KetStats
