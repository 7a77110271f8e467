#pragma once

#include "ketstats/capture/FieldFilters.h"
#include "ketstats/capture/IPv6Filters.h"
#include "ketstats/capture/VlanFilter.h"

#include "tests/support/Bytes.h"

#include <initializer_list>
#include <memory>
#include <random>
#include <string>

namespace test {

using Filter = std::unique_ptr<CFilter>;

// Filters without a description.
Filter from(char const * mac);
Filter to(char const * mac);
Filter protocol(unsigned int number);
Filter protocol(Bytes const & sixBytes);
Filter subprotocol(unsigned int number);
Filter port(unsigned int number, CIPPortFilter::ePortType type);
// Dotted, at a position of the IP header.
Filter address(char const * ip, unsigned int position);
// The like of IPv6.
Filter address6(char const * ip, unsigned int position);
Filter protocol6(unsigned int number);
Filter port6(unsigned int number, CIPPortFilter::ePortType type);
Filter vlan(unsigned int identifier, CVlanFilter::eTag tag = CVlanFilter::vtOuter);

template <class... Filters>
Filter compound(CCompoundFilter::eMode mode, Filters... filters)
{
    auto result = std::make_unique<CCompoundFilter>("", false);
    result->mode = mode;
    (result->Add(filters.release()), ...);
    return result;
}

template <class... Filters>
Filter all(Filters... filters)
{
    return compound(CCompoundFilter::cmAll, std::move(filters)...);
}

template <class... Filters>
Filter any(Filters... filters)
{
    return compound(CCompoundFilter::cmAny, std::move(filters)...);
}

// The opposite of a filter; and a filter with a description.
Filter no(Filter filter);
Filter described(std::string const & description, Filter filter);

// So many compounds of one filter, one within the other, around a filter.
Filter nested(unsigned int compounds, Filter innermost);

Bytes packedFilter(CFilter const & filter);
// Throws what UnpackNew throws.
Filter unpackedFilter(Bytes const & stream);

// Whether the filter passes a frame of these bytes.
bool passes(Filter const & filter, Bytes const & frame);

// Frames of every framing, and filters of every kind that pass some of them. Both draw their addresses, ids
// and ports from a few, so that they meet.
class RandomTraffic
{
public:
    explicit RandomTraffic(unsigned int seed) : m_engine(seed) {}

    Bytes frame();
    Filter filter(unsigned int levels = 3);

    unsigned int below(unsigned int limit) { return static_cast<unsigned int>(m_engine()) % limit; }

    // A protocol id that no filter of the kind above asks for.
    static constexpr unsigned int strangeId = 0x7777;

private:
    template <class T>
    T oneOf(std::initializer_list<T> list)
    {
        return list.begin()[below(static_cast<unsigned int>(list.size()))];
    }
    Bytes network();
    Bytes ipPacket();
    Bytes ipv6Packet();
    Filter field();
    Filter extendedField();

    std::mt19937 m_engine;
};

} // namespace test
