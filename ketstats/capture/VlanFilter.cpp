#include "ketstats/capture/VlanFilter.h"

#include "ketstats/capture/FilterExpression.h"
#include "ketstats/capture/FilterStream.h"
#include "ketstats/capture/FilteredFrame.h"

namespace {

constexpr char source[] = "VlanFilter";

// That a tag type stands there.
std::string tagTypeAt(unsigned int offset)
{
    std::string const type = "ether[" + std::to_string(offset) + ":2] = ";
    return '(' + type + "0x8100 or " + type + "0x88a8 or " + type + "0x9100)";
}

} // namespace

CVlanFilter::CVlanFilter(unsigned short theIdentifier, eTag theTag, std::string const & theDescription,
                         bool isNegated)
    : CFilter(theDescription, isNegated),
      identifier(theIdentifier),
      tag(theTag)
{}

KETSTATS_FIELD_FILTER_BODIES(CVlanFilter, fiVlan)

bool CVlanFilter::matches(CFilteredFrame const & frame) const
{
    return tag <= vtInner && frame.vlan(tag) == identifier;
}

// `vlan 5` also finds a tag that the system took out of the frame, but it shifts whatever stands behind it.
CFilterExpression CVlanFilter::expression() const
{
    if (tag > vtInner || identifier > highestIdentifier)
        return CFilterExpression::constant(false);
    std::string const number = std::to_string(identifier);
    if (tag == vtOuter)
        return CFilterExpression::ofAnyDepth(
            '(' + tagTypeAt(12) + " and ether[14:2] & 0xfff = " + number + ')', "vlan " + number);
    return CFilterExpression::ofAnyDepth('(' + tagTypeAt(12) + " and " + tagTypeAt(16) +
                                             " and ether[18:2] & 0xfff = " + number + ')',
                                         "vlan and vlan " + number);
}

// What a stream may not hold.
void CVlanFilter::checkPackable(unsigned int levels) const
{
    CFilter::checkPackable(levels);
    if (tag > vtInner || identifier > highestIdentifier)
        ktools::raise<CException>(1, source, 55);
}

void CVlanFilter::packFields(ktools::CMemoryBuffer & buffer) const
{
    filterstream::write(buffer, identifier);
    filterstream::write(buffer, tag);
}

void CVlanFilter::unpackFields(ktools::CMemoryBuffer & buffer, unsigned int /*levels*/)
{
    auto const theIdentifier = filterstream::read<unsigned short>(buffer);
    if (theIdentifier > highestIdentifier)
        filterstream::refuse(68, source);
    auto const theTag = filterstream::read<unsigned int>(buffer);
    if (theTag > vtInner)
        filterstream::refuse(71, source);
    identifier = theIdentifier;
    tag = static_cast<eTag>(theTag);
}
