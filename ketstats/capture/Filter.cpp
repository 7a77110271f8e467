#include "ketstats/capture/Filter.h"

#include "ketstats/capture/FieldFilters.h"
#include "ketstats/capture/FilterExpression.h"
#include "ketstats/capture/FilterStream.h"
#include "ketstats/capture/FilteredFrame.h"

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

CFilterExpression CFilter::wholeExpression() const
{
    return negated ? !expression() : expression();
}

void CFilter::Pack(ktools::CMemoryBuffer & buffer) const
{
    if (description.size() > INT_MAX)
        ktools::raise<CException>(1, "Filter", 72);
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

// Delegates, so that what was cloned before a failed allocation is deleted.
CCompoundFilter::CCompoundFilter(CCompoundFilter const & other)
    : CCompoundFilter(other.description, other.negated)
{
    mode = other.mode;
    for (CFilter const * filter : other.filters)
        Add(filter->Clone());
}

CCompoundFilter::~CCompoundFilter()
{
    for (CFilter * filter : filters)
        delete filter;
}

eFilterId CCompoundFilter::GetFilterId() const
{
    return fiCompound;
}

CFilter * CCompoundFilter::Clone() const
{
    return new CCompoundFilter(*this);
}

void CCompoundFilter::Add(CFilter * filter)
{
    std::unique_ptr<CFilter> owned(filter);
    if (!filter)
        return;
    filters.push_back(filter);
    static_cast<void>(owned.release());
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
    parts.reserve(filters.size());
    for (CFilter const * filter : filters)
        parts.push_back(filter->wholeExpression());
    return mode == cmAny ? CFilterExpression::any(std::move(parts))
                         : CFilterExpression::all(std::move(parts));
}

bool CCompoundFilter::nestsDeeperThan(unsigned int levels) const
{
    return levels == 0 || std::any_of(filters.begin(), filters.end(), [levels](CFilter const * filter) {
               auto const * const compound = dynamic_cast<CCompoundFilter const *>(filter);
               return compound && compound->nestsDeeperThan(levels - 1);
           });
}

void CCompoundFilter::Pack(ktools::CMemoryBuffer & buffer) const
{
    if (nestsDeeperThan(deepestNesting))
        ktools::raise<CException>(1, "Filter", 196);
    CFilter::Pack(buffer);
}

void CCompoundFilter::packFields(ktools::CMemoryBuffer & buffer) const
{
    filterstream::write(buffer, mode == cmAny ? cmAny : cmAll);
    filterstream::write(buffer, size());
    for (CFilter const * filter : filters)
        filter->Pack(buffer);
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
}
