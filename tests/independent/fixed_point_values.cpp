// Prints numbers of a fixed seed as the library reads them, a line each, for fixed_point.py:
//
//     bits of the double in hexadecimal, places, text

#include "ketstats/text/FixedPoint.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>

namespace {

std::mt19937_64 numbers(20240229);

std::uint64_t below(std::uint64_t limit)
{
    return numbers() % limit;
}

// Of any size up to that many bits.
std::uint64_t upToBits(std::uint64_t bits)
{
    return numbers() >> (64 - 1 - below(bits));
}

int anyPlaces()
{
    if (below(1024) == 0)
        return static_cast<int>(below(1101));
    return static_cast<int>(below(16) == 0 ? 21 + below(40) : below(21));
}

void print(double value, int places)
{
    double const given = below(2) ? value : -value;
    std::printf("%016llx %d %s\n", static_cast<unsigned long long>(std::bit_cast<std::uint64_t>(given)),
                places, KetStats::fixedPointToString(given, places).c_str());
}

} // namespace

int main(int argc, char ** argv)
{
    for (int rounds = argc > 1 ? std::atoi(argv[1]) : 0; rounds > 0; --rounds) {
        // Any bits at all, and the ends of the range.
        print(std::bit_cast<double>(numbers()), anyPlaces());
        print(std::bit_cast<double>(upToBits(52)), anyPlaces());
        // What people write: k / 10^n.
        auto const written =
            static_cast<double>(upToBits(52)) / std::pow(10.0, static_cast<double>(below(16)));
        print(written, anyPlaces());
        // (k + 0.5) / 2^n is a tie at n places; its neighbours are not.
        int const places = static_cast<int>(below(31));
        double const tie = std::ldexp(static_cast<double>(upToBits(40)) + 0.5, -places);
        print(tie, places);
        print(std::nextafter(tie, below(2) ? 0.0 : INFINITY), places);
        // Numbers of moderate size, with all bits of the mantissa.
        print(std::ldexp(static_cast<double>(numbers() >> 11), static_cast<int>(below(120)) - 100),
              anyPlaces());
        // About the powers of ten and of two, where digits and limbs come and go.
        print(std::pow(10.0, static_cast<double>(below(40)) - 20.0) *
                  (1.0 - std::ldexp(static_cast<double>(below(3)), -53)),
              anyPlaces());
        print(std::ldexp(1.0, static_cast<int>(below(260)) - 130), anyPlaces());
    }
    for (double const special : {0.0, static_cast<double>(INFINITY), static_cast<double>(NAN), 5e-324,
                                 2.2250738585072014e-308, 1.7976931348623157e308, 9007199254740993.0})
        for (int places = 0; places <= 1100; places += 1 + places / 8)
            for (int sign = 0; sign < 4; ++sign)
                print(special, places);
}
