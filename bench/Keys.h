#pragma once

#include "ketstats/model/statvalues.h"

#include <cstring>

namespace bench {

// A key of any kind, scattered over its table.
template <class Key>
Key keyOf(unsigned int number)
{
    Key key{};
    unsigned int const scattered = number * 2654435761U;
    std::memcpy(static_cast<void *>(&key), &scattered, sizeof scattered);
    return key;
}

inline KetStats::CProtocolIdPacked portOf(unsigned int number)
{
    unsigned char const wire[2] = {static_cast<unsigned char>(number >> 8),
                                   static_cast<unsigned char>(number)};
    KetStats::CProtocolIdPacked id;
    id.Set(2, wire);
    return id;
}

} // namespace bench
