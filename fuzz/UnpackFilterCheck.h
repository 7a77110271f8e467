#pragma once

#include "ketstats/capture/FieldFilters.h"
#include "ketstats/capture/IPv6Filters.h"
#include "ketstats/capture/NetworkFrame.h"
#include "ketstats/capture/VlanFilter.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

// What must hold for the reading of any bytes as a packed filter. The fuzz target and the tests share it. A
// read out of bounds, and a leak, are for the sanitizers to find.
namespace fuzz {

using Bytes = std::span<unsigned char const>;
using Filter = std::unique_ptr<CFilter>;

inline std::vector<unsigned char> packed(CFilter const & filter)
{
    ktools::CMemoryBuffer buffer;
    filter.Pack(buffer);
    return {buffer.data, buffer.data + buffer.size};
}

// Bytes to be read, in a block of exactly their size, so that a read behind its end is seen.
class ExactStream
{
public:
    explicit ExactStream(Bytes input) : m_bytes(new unsigned char[input.size()])
    {
        std::copy(input.begin(), input.end(), m_bytes.get());
        buffer.data = m_bytes.get();
        buffer.size = buffer.capacity = static_cast<int>(input.size());
        buffer.ownsData = false;
    }

    ktools::CMemoryBuffer buffer{0, false};

private:
    std::unique_ptr<unsigned char[]> m_bytes;
};

// Runs a reading. False if it was refused in one of the two ways there are; anything else that is raised is a
// failure of its own.
template <class Reading>
bool reads(Reading && reading)
{
    try {
        reading();
        return true;
    } catch (CFilter::CException * refused) {
        delete refused;
    } catch (ktools::CMemoryBuffer::CException * refused) {
        delete refused;
    }
    return false;
}

// Filters of every kind, to be read into.
inline std::vector<Filter> receivers()
{
    std::vector<Filter> filters;
    auto compound = std::make_unique<CCompoundFilter>("before", true);
    compound->Add(new CSrcMACFilter("inner", false));
    filters.push_back(std::move(compound));
    filters.push_back(std::make_unique<CSrcMACFilter>("before", true));
    filters.push_back(std::make_unique<CDstMACFilter>("02-00-00-00-00-0A", "before", true));
    filters.push_back(std::make_unique<CProtocolFilter>("before", true));
    filters.push_back(std::make_unique<CIPSubprotocolFilter>(static_cast<unsigned char>(1), "before", true));
    filters.push_back(
        std::make_unique<CIPPortFilter>(std::uint16_t{80}, CIPPortFilter::ptTCP, eoEqual, "before", true));
    filters.push_back(std::make_unique<CIPAddrFilter>(1U, 12U, eoEqual, "before", true));
    filters.push_back(
        std::make_unique<CIPv6AddrFilter>(CIPv6AddrFilter::CAddress{1}, 8U, eoEqual, "before", true));
    filters.push_back(std::make_unique<CIPv6ProtocolFilter>(static_cast<unsigned char>(1), "before", true));
    filters.push_back(
        std::make_unique<CIPv6PortFilter>(std::uint16_t{80}, CIPPortFilter::ptTCP, eoEqual, "before", true));
    filters.push_back(std::make_unique<CVlanFilter>(std::uint16_t{7}, CVlanFilter::vtInner, "before", true));
    return filters;
}

inline std::string brokenFilter(CFilter & filter, std::vector<unsigned char> const & form, Bytes input)
{
    if (packed(filter) != form)
        return "a filter packs as what it was read from";
    Filter const clone(filter.Clone());
    if (packed(*clone) != form)
        return "a clone packs like its original";
    if (filter.GetDescription().empty())
        return "every filter has a description";
    if (filter.IsSatisfied(nullptr))
        return "null passes no filter";

    // The input serves as frames too: as it is, as IP, and as IPv6.
    std::vector<unsigned char> ip{2, 0, 0, 0, 0, 10, 2, 0, 0, 0, 0, 11, 8, 0};
    ip.insert(ip.end(), input.begin(), input.end());
    std::vector<unsigned char> ipv6 = ip;
    ipv6[12] = 0x86;
    ipv6[13] = 0xDD;
    for (Bytes const bytes : {input, Bytes(ip), Bytes(ipv6)}) {
        CNetworkFrame const frame(bytes.data(), static_cast<unsigned int>(bytes.size()), 60);
        bool const satisfied = filter.IsSatisfied(&frame);
        if (clone->IsSatisfied(&frame) != satisfied)
            return "a clone passes what its original passes";
        filter.negated = !filter.negated;
        bool const other = filter.IsSatisfied(&frame);
        filter.negated = !filter.negated;
        if (other == satisfied)
            return "a negated filter passes what it otherwise wouldn't";
    }
    return {};
}

// Empty if all is well, otherwise what should have held.
inline std::string checkFilter(Bytes input)
{
    ExactStream stream(input);
    Filter filter;
    bool const read = reads([&] { filter.reset(CFilter::UnpackNew(stream.buffer)); });
    auto const end = input.begin() + stream.buffer.readPosition;
    std::vector<unsigned char> const form(input.begin(), end);
    if (read) {
        std::string broken = brokenFilter(*filter, form, input);
        if (!broken.empty())
            return broken;
    }

    for (Filter const & receiver : receivers()) {
        std::vector<unsigned char> const before = packed(*receiver);
        ExactStream again(input);
        bool const wanted = read && receiver->GetFilterId() == filter->GetFilterId();
        if (reads([&] { receiver->Unpack(again.buffer); }) != wanted)
            return "a filter reads what is of its kind, and nothing else";
        if (packed(*receiver) != (wanted ? form : before))
            return wanted ? "a filter becomes what it reads" : "a filter stays what it was if it is refused";
    }
    return {};
}

} // namespace fuzz
