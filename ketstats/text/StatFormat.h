#pragma once

#include "ketstats/platform/Exports.h"

namespace KetStats {

// One way of turning a value into text.
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
    };
};

} // namespace KetStats
