#pragma once

#include <cstdint>
#include <random>

namespace test {

// The distributions of the standard library are each library's own; remainders are the same everywhere.
class Dice
{
public:
    explicit Dice(std::uint64_t seed) : m_engine(seed) {}

    unsigned int below(unsigned int bound) { return static_cast<unsigned int>(m_engine() % bound); }
    bool oneIn(unsigned int chances) { return below(chances) == 0; }
    template <class T, std::size_t size>
    T const & oneOf(T const (&all)[size])
    {
        return all[below(size)];
    }

private:
    std::mt19937_64 m_engine;
};

} // namespace test
