#include "ketstats/text/FixedPoint.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace KetStats {

namespace {

using Limbs = std::vector<std::uint32_t>; // base 2^32, the lowest first

constexpr int limbBits = 32;
constexpr std::uint32_t chunk = 1000000000; // digits are worked out nine at a time
constexpr int chunkDigits = 9;

// `mantissa` shifted left by `bits`.
Limbs shifted(std::uint64_t mantissa, int bits)
{
    Limbs limbs(static_cast<std::size_t>(bits / limbBits), 0);
    int const rest = bits % limbBits;
    std::uint64_t const low = mantissa << rest;
    std::uint64_t const high = rest == 0 ? 0 : mantissa >> (2 * limbBits - rest);
    limbs.push_back(static_cast<std::uint32_t>(low));
    limbs.push_back(static_cast<std::uint32_t>(low >> limbBits));
    limbs.push_back(static_cast<std::uint32_t>(high));
    return limbs;
}

// Divides by `chunk` and gives the remainder.
std::uint32_t divideByChunk(Limbs & number)
{
    std::uint64_t remainder = 0;
    for (std::size_t i = number.size(); i-- > 0;) {
        remainder = remainder << limbBits | number[i];
        number[i] = static_cast<std::uint32_t>(remainder / chunk);
        remainder %= chunk;
    }
    while (!number.empty() && number.back() == 0)
        number.pop_back();
    return static_cast<std::uint32_t>(remainder);
}

// Nine decimal digits of a number below 10^9.
std::string chunkText(std::uint32_t number)
{
    std::string text(chunkDigits, '0');
    for (std::size_t i = chunkDigits; i-- > 0; number /= 10)
        text[i] = static_cast<char>('0' + number % 10);
    return text;
}

// The whole number mantissa * 2^bits in decimal, without zeros in front.
std::string wholeDigits(std::uint64_t mantissa, int bits)
{
    std::vector<std::uint32_t> chunks; // the lowest first
    for (Limbs number = shifted(mantissa, bits); !number.empty();)
        chunks.push_back(divideByChunk(number));
    std::string text;
    for (std::size_t i = chunks.size(); i-- > 0;)
        text += chunkText(chunks[i]);
    text.erase(0, std::min(text.find_first_not_of('0'), text.size()));
    return text.empty() ? "0" : text;
}

// A binary fraction below 1, numerator / 2^bits, that gives its decimal digits from the point on.
class CFraction
{
public:
    CFraction(std::uint64_t numerator, int bits) : m_bits(bits), m_limbs(limbCount(bits), 0)
    {
        for (std::size_t i = 0; i < m_limbs.size() && numerator != 0; ++i, numerator >>= limbBits)
            m_limbs[i] = static_cast<std::uint32_t>(numerator);
    }

    // The next nine digits.
    std::string take()
    {
        std::uint64_t carry = 0;
        for (std::uint32_t & limb : m_limbs) {
            carry += static_cast<std::uint64_t>(limb) * chunk;
            limb = static_cast<std::uint32_t>(carry);
            carry >>= limbBits;
        }
        // What now lies at 2^bits and above is the part before the point.
        std::size_t const position = static_cast<std::size_t>(m_bits / limbBits);
        int const rest = m_bits % limbBits;
        std::uint64_t above = m_limbs[position] >> rest;
        m_limbs[position] &= (std::uint32_t{1} << rest) - 1;
        if (position + 1 < m_limbs.size()) {
            above |= static_cast<std::uint64_t>(m_limbs[position + 1]) << (limbBits - rest);
            m_limbs[position + 1] = 0;
        }
        return chunkText(static_cast<std::uint32_t>(above));
    }

    bool isZero() const
    {
        return std::all_of(m_limbs.begin(), m_limbs.end(), [](std::uint32_t limb) { return limb == 0; });
    }

private:
    // Room for the numerator and the thirty bits that nine digits add to it.
    static std::size_t limbCount(int bits) { return static_cast<std::size_t>(bits / limbBits) + 2; }

    int m_bits;
    Limbs m_limbs;
};

// The first `digits` places of the fraction and one more, which alone decides the rounding: at 5 the value is
// a tie or above it.
std::string fractionDigits(CFraction fraction, std::size_t digits)
{
    std::string text;
    while (text.size() <= digits && !fraction.isZero())
        text += fraction.take();
    text.resize(digits + 1, '0');
    return text;
}

// Adds one to the last digit.
void increment(std::string & digits)
{
    for (std::size_t i = digits.size(); i-- > 0;) {
        if (digits[i] != '9') {
            ++digits[i];
            return;
        }
        digits[i] = '0';
    }
    digits.insert(0, 1, '1');
}

} // namespace

std::string fixedPointToString(double value, int digits)
{
    std::string text = std::signbit(value) ? "-" : "";
    if (std::isnan(value))
        return "nan";
    if (std::isinf(value))
        return text + "inf";

    // |value| = mantissa * 2^exponent
    constexpr int mantissaBits = std::numeric_limits<double>::digits;
    int exponent = 0;
    auto const mantissa =
        static_cast<std::uint64_t>(std::ldexp(std::frexp(std::fabs(value), &exponent), mantissaBits));
    exponent -= mantissaBits;

    // The part before the point and the numerator of what stands behind it.
    int const fractionBits = std::max(-exponent, 0);
    std::uint64_t const whole = fractionBits <= mantissaBits ? mantissa >> fractionBits : 0;
    std::uint64_t const numerator =
        fractionBits <= mantissaBits ? mantissa & ((std::uint64_t{1} << fractionBits) - 1) : mantissa;

    auto const places = static_cast<std::size_t>(std::clamp(digits, 0, mostFractionDigits));
    std::string all = wholeDigits(whole, std::max(exponent, 0));
    all += fractionDigits(CFraction(numerator, fractionBits), places);
    bool const up = all.back() >= '5';
    all.pop_back();
    if (up)
        increment(all);

    if (places != 0)
        all.insert(all.size() - places, 1, '.');
    return text + all;
}

} // namespace KetStats
