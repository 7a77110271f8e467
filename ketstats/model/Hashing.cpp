#include "ketstats/model/Hashing.h"

#include <random>

namespace KetStats {

namespace {

struct CMultipliers
{
    CMultipliers()
    {
        std::random_device random;
        for (std::uint64_t & value : values)
            value = (static_cast<std::uint64_t>(random()) << 32 | random()) | 1;
    }

    std::uint64_t values[2];
};

} // namespace

std::uint64_t const (&indexMultipliers())[2]
{
    static CMultipliers const multipliers;
    return multipliers.values;
}

} // namespace KetStats
