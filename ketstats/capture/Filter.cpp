#include "ketstats/capture/Filter.h"

#include "ketstats/capture/FieldFilters.h"
#include "ketstats/capture/FilterExpression.h"
#include "ketstats/capture/FilterStream.h"
#include "ketstats/capture/FilteredFrame.h"
#include "ketstats/capture/IPv6Filters.h"
#include "ketstats/capture/VlanFilter.h"

#include <algorithm>
#include <climits>
#include <memory>
#include <new>

namespace {

// A filter of a kind, with nothing set; null for a number that is no kind.
CFilter * makeBlank(unsigned char id)
{
    switch (id) {
    case fiCompound:
        return new CCompoundFilter({}, false);
    case fiSourceMAC:
        return new CSrcMACFilter({}, false);
    case fiDestinationMAC:
        return new CDstMACFilter({}, {}, false);
    case fiProtocol:
        return new CProtocolFilter({}, false);
    case fiIPSubprotocol:
        return new CIPSubprotocolFilter(0, {}, false);
    case fiIPPort:
        return new CIPPortFilter(0, CIPPortFilter::ptAny, eoEqual, {}, false);
    case fiIPAddress:
        return new CIPAddrFilter(0, 0, eoEqual, {}, false);
    case fiIPv6Address:
        return new CIPv6AddrFilter({}, 0, eoEqual, {}, false);
    case fiIPv6Protocol:
        return new CIPv6ProtocolFilter(0, {}, false);
    case fiIPv6Port:
        return new CIPv6PortFilter(0, CIPPortFilter::ptAny, eoEqual, {}, false);
    case fiVlan:
        return new CVlanFilter(0, CVlanFilter::vtOuter, {}, false);
    default:
        return nullptr;
    }
}

} // namespace

CFilter::CFilter(std::string const & theDescription, bool isNegated)
    : description(theDescription),
      negated(isNegated)
{}

CFilter::CFilter(CFilter const &) = default;

CFilter::~CFilter() = default;

bool CFilter::IsSatisfied(CFrame const * frame) const
{
    return frame && passes(CFilteredFrame(*frame));
}

bool CFilter::passes(CFilteredFrame const & frame) const
{
    return matches(frame) != negated;
}

std::string CFilter::GetDescription() const
{
    return description.empty() ? wholeExpression().text() : description;
}

std::string CFilter::GetPacketExpression(unsigned int protocol, std::optional<unsigned int> header) const
{
    return expression().textOfPackets(protocol, header);
}

CFilterExpression CFilter::wholeExpression() const
{
    return negated ? !expression() : expression();
}

void CFilter::Pack(ktools::CMemoryBuffer & buffer) const
{
    checkPackable(deepestNesting);
    packChecked(buffer);
}

void CFilter::checkPackable(unsigned int /*levels*/) const
{
    if (description.size() > INT_MAX)
        ktools::raise<CException>(1, "Filter", 72);
}

void CFilter::packChecked(ktools::CMemoryBuffer & buffer) const
{
    auto const length = static_cast<unsigned int>(description.size());
    filterstream::write(buffer, static_cast<unsigned char>(GetFilterId()));
    filterstream::write(buffer, negated ? filterstream::negatedFlag : static_cast<unsigned char>(0));
    filterstream::write(buffer, length);
    buffer.Write(description.data(), static_cast<int>(length));
    packFields(buffer);
}

void CFilter::Unpack(ktools::CMemoryBuffer & buffer)
{
    if (filterstream::read<unsigned char>(buffer) != GetFilterId())
        filterstream::refuse(84);
    unpackBehindId(buffer, deepestNesting);
}

CFilter * CFilter::UnpackNew(ktools::CMemoryBuffer & buffer)
{
    return unpackNew(buffer, deepestNesting);
}

CFilter * CFilter::unpackNew(ktools::CMemoryBuffer & buffer, unsigned int levels)
{
    std::unique_ptr<CFilter> filter(makeBlank(filterstream::read<unsigned char>(buffer)));
    if (!filter)
        filterstream::refuse(97);
    filter->unpackBehindId(buffer, levels);
    return filter.release();
}

// Nothing of the filter changes before all of it was read.
void CFilter::unpackBehindId(ktools::CMemoryBuffer & buffer, unsigned int levels)
{
    auto const flags = filterstream::read<unsigned char>(buffer);
    if ((flags & ~filterstream::negatedFlag) != 0)
        filterstream::refuse(107);
    auto const length = filterstream::read<unsigned int>(buffer);
    if (length > static_cast<unsigned int>(buffer.size - buffer.readPosition))
        filterstream::refuse(110);
    std::string text(length, '\0');
    buffer.Read(text.data(), static_cast<int>(length));

    unpackFields(buffer, levels);
    description.swap(text);
    negated = (flags & filterstream::negatedFlag) != 0;
}

CCompoundFilter::CCompoundFilter(std::string const & theDescription, bool isNegated)
    : CFilter(theDescription, isNegated),
      mode(cmAll)
{}

// Delegates, so that what was cloned before a failed allocation is deleted. Whoever clones has looked how deep
// the other is nested.
CCompoundFilter::CCompoundFilter(CCompoundFilter const & other)
    : CCompoundFilter(other.description, other.negated)
{
    mode = other.mode;
    filters.reserve(other.filters.size());
    for (CFilter const * filter : other.filters) {
        auto const * const compound = dynamic_cast<CCompoundFilter const *>(filter);
        filters.push_back(compound ? new CCompoundFilter(*compound) : filter->Clone());
    }
}

// What compounds within hold is deleted from here, one after another: its owner may have put them together to
// any depth without Add.
CCompoundFilter::~CCompoundFilter()
{
    while (!filters.empty()) {
        std::unique_ptr<CFilter> const last(filters.back());
        filters.pop_back();
        auto * const inner = dynamic_cast<CCompoundFilter *>(last.get());
        if (!inner)
            continue;
        try {
            filters.insert(filters.end(), inner->filters.begin(), inner->filters.end());
            inner->filters.clear();
        } catch (std::bad_alloc const &) {
            // They are deleted with the inner one.
        }
    }
}

eFilterId CCompoundFilter::GetFilterId() const
{
    return fiCompound;
}

CFilter * CCompoundFilter::Clone() const
{
    if (nestsDeeperThan(deepestBuilding))
        ktools::raise<CException>(1, "Filter", 170);
    std::unique_ptr<CCompoundFilter> copy(new CCompoundFilter(*this));
    copy->setLevel(0);
    return copy.release();
}

void CCompoundFilter::Add(CFilter * filter)
{
    std::unique_ptr<CFilter> owned(filter);
    if (!filter)
        return;
    auto * const compound = dynamic_cast<CCompoundFilter *>(filter);
    unsigned int const around = m_level + 1;
    if (compound && (around >= deepestBuilding || compound->nestsDeeperThan(deepestBuilding - around)))
        ktools::raise<CException>(1, "Filter", 185);
    filters.push_back(filter);
    static_cast<void>(owned.release());
    if (compound)
        compound->setLevel(around);
}

void CCompoundFilter::setLevel(unsigned int level)
{
    m_level = level;
    for (CFilter * filter : filters)
        if (auto * const compound = dynamic_cast<CCompoundFilter *>(filter))
            compound->setLevel(level + 1);
}

CFilter * CCompoundFilter::GetAt(unsigned int index) const
{
    return index < filters.size() ? filters[index] : nullptr;
}

unsigned int CCompoundFilter::size() const
{
    return static_cast<unsigned int>(filters.size());
}

bool CCompoundFilter::matches(CFilteredFrame const & frame) const
{
    auto const passed = [&frame](CFilter const * filter) { return filter->passes(frame); };
    return mode == cmAny ? std::any_of(filters.begin(), filters.end(), passed)
                         : std::all_of(filters.begin(), filters.end(), passed);
}

CFilterExpression CCompoundFilter::expression() const
{
    std::vector<CFilterExpression> parts;
    gatherParts(parts);
    return mode == cmAny ? CFilterExpression::any(parts) : CFilterExpression::all(parts);
}

// Those of compounds of the same mode belong to the same list, however deep they are nested.
void CCompoundFilter::gatherParts(std::vector<CFilterExpression> & parts) const
{
    for (CFilter const * filter : filters) {
        auto const * const compound = dynamic_cast<CCompoundFilter const *>(filter);
        if (compound && !compound->negated && (compound->mode == cmAny) == (mode == cmAny))
            compound->gatherParts(parts);
        else
            parts.push_back(filter->wholeExpression());
    }
}

bool CCompoundFilter::nestsDeeperThan(unsigned int levels) const
{
    return levels == 0 || std::any_of(filters.begin(), filters.end(), [levels](CFilter const * filter) {
               auto const * const compound = dynamic_cast<CCompoundFilter const *>(filter);
               return compound && compound->nestsDeeperThan(levels - 1);
           });
}

void CCompoundFilter::checkPackable(unsigned int levels) const
{
    if (levels == 0)
        ktools::raise<CException>(1, "Filter", 196);
    CFilter::checkPackable(levels);
    for (CFilter const * filter : filters)
        filter->checkPackable(levels - 1);
}

void CCompoundFilter::packFields(ktools::CMemoryBuffer & buffer) const
{
    filterstream::write(buffer, mode == cmAny ? cmAny : cmAll);
    filterstream::write(buffer, size());
    for (CFilter const * filter : filters)
        filter->packChecked(buffer);
}

void CCompoundFilter::unpackFields(ktools::CMemoryBuffer & buffer, unsigned int levels)
{
    if (levels == 0)
        filterstream::refuse(211);
    auto const theMode = filterstream::read<unsigned int>(buffer);
    if (theMode != cmAll && theMode != cmAny)
        filterstream::refuse(214);
    auto const count = filterstream::read<unsigned int>(buffer);
    if (count > static_cast<unsigned int>((buffer.size - buffer.readPosition) / filterstream::smallestFilter))
        filterstream::refuse(217);

    CCompoundFilter read({}, false);
    read.filters.reserve(count);
    for (unsigned int i = 0; i < count; ++i)
        read.Add(unpackNew(buffer, levels - 1));
    filters.swap(read.filters);
    mode = static_cast<eMode>(theMode);
    if (m_level != 0)
        setLevel(m_level);
}
