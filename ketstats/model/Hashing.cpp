#include "ketstats/model/Hashing.h"

#include <random>

namespace KetStats {

namespace {

struct CFactors
{
    CFactors()
    {
        std::random_device random;
        for (std::uint64_t & value : values)
            value = (static_cast<std::uint64_t>(random()) << 32 | random()) | 1;
    }

    CIndexFactors values;
};

} // namespace

CIndexFactors const & indexFactors()
{
    static CFactors const drawn;
    return drawn.values;
}

} // namespace KetStats
