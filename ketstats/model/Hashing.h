#pragma once

#include "ketstats/platform/Exports.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

// How keys become places in a table of prime size: remainders of the key's bytes read as one number.
namespace KetStats {

// Remainders by a fixed divisor, through multiplication. Exact for every x with x * divisor below 2^64.
struct CDivisor
{
    constexpr CDivisor() = default;
    explicit constexpr CDivisor(unsigned int divisor)
        : value(divisor),
          m_inverse(~std::uint64_t{0} / divisor + 1)
    {}

    constexpr unsigned int remainder(std::uint64_t x) const
    {
        auto const quotient = static_cast<std::uint64_t>(static_cast<Product>(x) * m_inverse >> 64);
        return static_cast<unsigned int>(x - quotient * value);
    }

    unsigned int value = 1;

private:
    __extension__ using Product = unsigned __int128;

    std::uint64_t m_inverse = 0;
};

// What hashing into a table of one size needs: the size and the weights of 16-bit words, 2^(16 i) modulo it,
// and the same for the step, which works modulo the next lower number.
struct CHashPlan
{
    static constexpr unsigned int mostWords = 16;

    constexpr CHashPlan() = default;
    explicit constexpr CHashPlan(unsigned int tableSize) : size(tableSize), step(tableSize - 1)
    {
        std::uint64_t ofSize = 1;
        std::uint64_t ofStep = 1;
        for (unsigned int i = 0; i < mostWords; ++i) {
            sizeWeights[i] = static_cast<unsigned int>(ofSize % size.value);
            stepWeights[i] = static_cast<unsigned int>(ofStep % step.value);
            ofSize = (ofSize << 16) % size.value;
            ofStep = (ofStep << 16) % step.value;
        }
    }

    CDivisor size;
    CDivisor step;
    std::array<unsigned int, mostWords> sizeWeights{};
    std::array<unsigned int, mostWords> stepWeights{};
};

// The sizes of tables: the largest primes below the powers of two from 2^8 to 2^30.
inline constexpr unsigned int tablePrimes[] = {251,      509,       1021,      2039,      4093,      8191,
                                               16381,    32749,     65521,     131071,    262139,    524287,
                                               1048573,  2097143,   4194301,   8388593,   16777213,  33554393,
                                               67108859, 134217689, 268435399, 536870909, 1073741789};

// Below 2^16 a remainder shifted left by a word doesn't leave 32 bits, and only then is the loop of hash()
// plain arithmetic on one long number, which the plans rely on.
inline constexpr std::size_t plannedPrimes = 9;
inline constexpr auto hashPlans = [] {
    std::array<CHashPlan, plannedPrimes> plans;
    for (std::size_t i = 0; i < plannedPrimes; ++i)
        plans[i] = CHashPlan(tablePrimes[i]);
    return plans;
}();
static_assert(tablePrimes[plannedPrimes - 1] < 65536 && tablePrimes[plannedPrimes] > 65536);

// The plan of a table of that size, null if it has none.
constexpr CHashPlan const * hashPlanOf(unsigned int tableSize)
{
    for (CHashPlan const & plan : hashPlans)
        if (plan.size.value == tableSize)
            return &plan;
    return nullptr;
}

// Hashes a key of plain bytes as 16-bit little-endian words.
template <class K>
struct KETSTATS_TYPE CWordHasher
{
    static constexpr unsigned int words = sizeof(K) / 2;
    static_assert(sizeof(K) % 2 == 0 && words <= CHashPlan::mostWords, "keys are up to sixteen words");

    // Where the search for a key starts, below n. All arithmetic is on 32 bits; a shift discards what leaves
    // them.
    static unsigned int hash(K const & key, unsigned int n)
    {
        auto const w = wordsOf(key);
        unsigned int x = w[0] % n;
        for (unsigned int i = 1; i < words; ++i)
            x = ((x << 16) + w[i]) % n;
        return x;
    }

    // How far it goes on each time, from 1 to n - 1. The words are taken in reverse order.
    static unsigned int rehash(K const & key, unsigned int n)
    {
        auto const w = wordsOf(key);
        unsigned int const m = n - 1;
        unsigned int x = w[words - 1] % m;
        for (unsigned int i = words - 1; i-- > 0;)
            x = ((x << 16) + w[i]) % m;
        return x + 1;
    }

    // The same numbers for a size that has a plan, without a division.
    static unsigned int hash(K const & key, CHashPlan const & plan)
    {
        auto const w = wordsOf(key);
        std::uint64_t sum = 0;
        for (unsigned int i = 0; i < words; ++i)
            sum += static_cast<std::uint64_t>(w[i]) * plan.sizeWeights[words - 1 - i];
        return plan.size.remainder(sum);
    }

    static unsigned int rehash(K const & key, CHashPlan const & plan)
    {
        auto const w = wordsOf(key);
        std::uint64_t sum = 0;
        for (unsigned int i = 0; i < words; ++i)
            sum += static_cast<std::uint64_t>(w[i]) * plan.stepWeights[i];
        return plan.step.remainder(sum) + 1;
    }

private:
    static std::array<std::uint16_t, words> wordsOf(K const & key)
    {
        static_assert(std::endian::native == std::endian::little, "words are read as they lie");
        std::array<std::uint16_t, words> result;
        std::memcpy(result.data(), &key, sizeof(K));
        return result;
    }
};

// Random odd numbers, one for each number of a key.
using CIndexFactors = std::uint64_t[4];

// A key of plain bytes as numbers, which is how a table holds and compares keys. They are put together from
// the pieces in which keys are written, 4 and 2 bytes: a load that spans several fresh stores would have to
// wait for them.
template <class K>
struct CKeyBits
{
    static_assert(sizeof(K) == 4 || sizeof(K) == 6 || sizeof(K) == 8 || sizeof(K) == 12);

    explicit CKeyBits(K const & key)
    {
        auto const * const bytes = reinterpret_cast<unsigned char const *>(&key);
        if constexpr (sizeof(K) == 4) {
            low = load<std::uint32_t>(bytes);
        } else if constexpr (sizeof(K) == 8) {
            low = load<std::uint32_t>(bytes) | load<std::uint32_t>(bytes + 4) << 32;
        } else {
            low = load<std::uint32_t>(bytes) | load<std::uint16_t>(bytes + 4) << 32;
            if constexpr (sizeof(K) == 12)
                high = load<std::uint32_t>(bytes + 6) | load<std::uint16_t>(bytes + 10) << 32;
        }
    }

    // From numbers that were put together so already. The second is of keys of twelve bytes.
    explicit CKeyBits(std::uint64_t bits) requires(sizeof(K) != 12) : low(bits) {}
    CKeyBits(std::uint64_t first, std::uint64_t second) requires(sizeof(K) == 12) : low(first), high(second)
    {}

    std::uint64_t number() const requires(sizeof(K) != 12) { return low; }
    // The key as it lies.
    K key() const
    {
        K result;
        auto * const bytes = reinterpret_cast<unsigned char *>(&result);
        if constexpr (sizeof(K) == 12) {
            std::memcpy(bytes, &low, 6);
            std::memcpy(bytes + 6, &high, 6);
        } else {
            std::memcpy(bytes, &low, sizeof(K));
        }
        return result;
    }

    bool operator==(CKeyBits const & other) const
    {
        if constexpr (sizeof(K) == 12)
            return low == other.low && high == other.high;
        else
            return low == other.low;
    }

    // The number whose upper bits say where a table keeps the key in its own index. That index is private to
    // a process: its factors are drawn at random, so that nobody on the network can choose addresses that
    // crowd it.
    std::uint64_t mix(CIndexFactors const & factors) const
    {
        if constexpr (sizeof(K) == 12)
            return low * factors[0] + high * factors[1];
        else
            return low * factors[0];
    }

private:
    struct CNothing
    {};

    template <class Word>
    static std::uint64_t load(unsigned char const * bytes)
    {
        Word word;
        std::memcpy(&word, bytes, sizeof word);
        return word;
    }

    std::uint64_t low;
    [[no_unique_address]] std::conditional_t<sizeof(K) == 12, std::uint64_t, CNothing> high;
};

// The same of the long keys.
template <class K>
requires(sizeof(K) == 16 || sizeof(K) == 32) struct CKeyBits<K>
{
    static constexpr unsigned int words = sizeof(K) / 8;

    explicit CKeyBits(K const & key)
    {
        auto const bytes = reinterpret_cast<unsigned char const *>(&key);
        for (unsigned int i = 0; i < words; ++i)
            std::memcpy(&m_words[i], bytes + i * sizeof m_words[i], sizeof m_words[i]);
    }
    explicit CKeyBits(std::array<std::uint64_t, words> const & asTheyLie) : m_words(asTheyLie) {}

    K key() const
    {
        K result;
        std::memcpy(static_cast<void *>(&result), m_words.data(), sizeof(K));
        return result;
    }

    // Word by word, as they were written: a wider load would wait for the stores before it.
    bool operator==(CKeyBits const & other) const
    {
        for (unsigned int i = 0; i < words; ++i)
            if (m_words[i] != other.m_words[i])
                return false;
        return true;
    }

    // A product by a factor would leave what differs in the upper bytes of a word, where the numbers of hosts lie, in
    // its upper bits, where it meets that of the other words. Products of two words, both halves of them, don't; of
    // numbers one behind the other they come in steps, which the second product breaks.
    std::uint64_t mix(CIndexFactors const & factors) const
    {
        std::uint64_t sum = 0;
        for (unsigned int i = 0; i < words; i += 2)
            sum ^= folded(m_words[i] ^ factors[i], m_words[i + 1] ^ factors[i + 1]);
        return (sum ^ sum >> 32) * factors[0];
    }

private:
    __extension__ using Product = unsigned __int128;

    static std::uint64_t folded(std::uint64_t left, std::uint64_t right)
    {
        Product const product = static_cast<Product>(left) * right;
        return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
    }

    std::array<std::uint64_t, words> m_words;
};

// The factors of this process.
KETSTATS_API CIndexFactors const & indexFactors();

} // namespace KetStats
