#include "ketstats/capture/FilterExpression.h"

#include <algorithm>
#include <set>
#include <utility>

namespace {

// Where the type stands behind no tag, and what a tag adds.
constexpr unsigned int typeOffset = 12;
constexpr unsigned int tagSize = 4;

constexpr unsigned int deepest = 2; // tags that an expression looks behind

constexpr char const * onlyIP = "ip";
constexpr char const * tagged = "ether proto (0x8100 or 0x88a8 or 0x9100)";

bool isVlanType(unsigned int type)
{
    return type == 0x8100 || type == 0x88A8 || type == 0x9100;
}

// The frame's bytes from its start on, whatever stands in front of them in the expression.
std::string frameBytes(unsigned int offset, unsigned int count)
{
    return "ether[" + std::to_string(offset) + (count > 1 ? ":" + std::to_string(count) : "") + "]";
}

} // namespace

CFilterExpression::CFilterExpression(Kind kind, std::string text, unsigned int number)
    : m_kind(kind),
      m_text(std::move(text)),
      m_number(number)
{}

CFilterExpression::CFilterExpression(Kind kind, std::vector<CFilterExpression> parts)
    : m_kind(kind),
      m_parts(std::move(parts))
{}

CFilterExpression CFilterExpression::ofAnyDepth(std::string text)
{
    return {Kind::anyDepth, std::move(text)};
}

CFilterExpression CFilterExpression::ofIP(std::string text)
{
    return {Kind::ip, std::move(text)};
}

CFilterExpression CFilterExpression::ofProtocol(unsigned int number)
{
    return number == 0x0800 ? ofIP(onlyIP) : CFilterExpression(Kind::protocol, hexNumber(number, 2), number);
}

CFilterExpression CFilterExpression::constant(bool value)
{
    return value ? CFilterExpression(Kind::always, "len >= 0") : CFilterExpression(Kind::never, "len < 0");
}

std::string CFilterExpression::hexNumber(unsigned int number, unsigned int bytes)
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string text = "0x";
    for (unsigned int shift = bytes * 8; shift > 0;) {
        shift -= 4;
        text += digits[(number >> shift) & 0xF];
    }
    return text;
}

CFilterExpression CFilterExpression::all(std::vector<CFilterExpression> const & parts)
{
    return combined(Kind::all, parts);
}

CFilterExpression CFilterExpression::any(std::vector<CFilterExpression> const & parts)
{
    return combined(Kind::any, parts);
}

CFilterExpression CFilterExpression::combined(Kind kind, std::vector<CFilterExpression> const & parts)
{
    Kind const neutral = kind == Kind::all ? Kind::always : Kind::never;
    Kind const decisive = kind == Kind::all ? Kind::never : Kind::always;

    std::vector<CFilterExpression> kept;
    std::set<std::string> said;
    auto const keep = [&](CFilterExpression const & part) {
        if (part.m_kind != neutral && said.insert(part.written()).second)
            kept.push_back(part);
    };
    for (CFilterExpression const & part : parts) {
        if (part.m_kind == kind)
            std::for_each(part.m_parts.begin(), part.m_parts.end(), keep);
        else
            keep(part);
    }

    auto const decides = [&](CFilterExpression const & part) { return part.m_kind == decisive; };
    if (std::any_of(kept.begin(), kept.end(), decides))
        return constant(decisive == Kind::always);

    auto const isOnlyIP = [](CFilterExpression const & part) { return part.m_text == onlyIP; };
    auto const saysMore = [&](CFilterExpression const & part) { return !isOnlyIP(part) && part.impliesIP(); };
    if (kind == Kind::all && std::any_of(kept.begin(), kept.end(), saysMore))
        kept.erase(std::remove_if(kept.begin(), kept.end(), isOnlyIP), kept.end());

    if (kept.empty())
        return constant(neutral == Kind::always);
    if (kept.size() == 1)
        return kept.front();
    return {kind, std::move(kept)};
}

CFilterExpression CFilterExpression::operator!() const
{
    switch (m_kind) {
    case Kind::never:
        return constant(true);
    case Kind::always:
        return constant(false);
    case Kind::negation:
        return m_parts.front();
    default:
        return {Kind::negation, std::vector<CFilterExpression>{*this}};
    }
}

bool CFilterExpression::impliesIP() const
{
    auto const implies = [](CFilterExpression const & part) { return part.impliesIP(); };
    switch (m_kind) {
    case Kind::ip:
        return true;
    case Kind::all:
        return std::any_of(m_parts.begin(), m_parts.end(), implies);
    case Kind::any:
        return std::all_of(m_parts.begin(), m_parts.end(), implies);
    default:
        return false;
    }
}

bool CFilterExpression::dependsOnTags() const
{
    return m_kind == Kind::ip || m_kind == Kind::protocol ||
           std::any_of(m_parts.begin(), m_parts.end(),
                       [](CFilterExpression const & part) { return part.dependsOnTags(); });
}

// Whether it can only become true, never false, when primitives that depend on tags do.
bool CFilterExpression::isMonotone(bool negated) const
{
    if (m_kind == Kind::ip || m_kind == Kind::protocol)
        return !negated;
    bool const inner = negated != (m_kind == Kind::negation);
    return std::all_of(m_parts.begin(), m_parts.end(),
                       [inner](CFilterExpression const & part) { return part.isMonotone(inner); });
}

CFilterExpression::Truth CFilterExpression::withoutProtocols() const
{
    switch (m_kind) {
    case Kind::never:
    case Kind::ip:
    case Kind::protocol:
        return Truth::never;
    case Kind::always:
        return Truth::always;
    case Kind::anyDepth:
        return Truth::depends;
    case Kind::negation: {
        Truth const inner = m_parts.front().withoutProtocols();
        return inner == Truth::depends ? inner : inner == Truth::never ? Truth::always : Truth::never;
    }
    case Kind::all:
    case Kind::any:
        break;
    }
    Truth const decisive = m_kind == Kind::all ? Truth::never : Truth::always;
    Truth result = m_kind == Kind::all ? Truth::always : Truth::never;
    for (CFilterExpression const & part : m_parts) {
        Truth const truth = part.withoutProtocols();
        if (truth == decisive)
            return decisive;
        if (truth == Truth::depends)
            result = truth;
    }
    return result;
}

// Whether it could select a frame with more tags than it was written for that it wouldn't select when written
// for them.
bool CFilterExpression::needsGuard() const
{
    return !isMonotone(false) && withoutProtocols() != Truth::never;
}

// The negation, with every "not" moved in to the primitives.
CFilterExpression CFilterExpression::opposite() const
{
    if (m_kind != Kind::all && m_kind != Kind::any)
        return !*this;
    std::vector<CFilterExpression> parts;
    parts.reserve(m_parts.size());
    for (CFilterExpression const & part : m_parts)
        parts.push_back(part.opposite());
    return combined(m_kind == Kind::all ? Kind::any : Kind::all, parts);
}

std::string CFilterExpression::text() const
{
    return forAllDepths().written();
}

// What doesn't depend on tags is said once, in front. "Not" is said of the whole where that saves the guards.
CFilterExpression CFilterExpression::forAllDepths() const
{
    if (!dependsOnTags())
        return *this;
    if (m_kind == Kind::negation)
        return !m_parts.front().forAllDepths();

    if (m_kind == Kind::all || m_kind == Kind::any) {
        std::vector<CFilterExpression> parts = m_parts;
        auto const split = std::stable_partition(
            parts.begin(), parts.end(), [](CFilterExpression const & part) { return !part.dependsOnTags(); });
        if (split != parts.begin()) {
            CFilterExpression const dependent = combined(m_kind, {split, parts.end()});
            parts.erase(split, parts.end());
            parts.push_back(dependent.forAllDepths());
            return combined(m_kind, parts);
        }
        if (needsGuard())
            if (CFilterExpression const other = opposite(); !other.needsGuard())
                return !other.unfolded();
    }
    return unfolded();
}

CFilterExpression CFilterExpression::unfolded() const
{
    CFilterExpression result = atDepth(deepest);
    CFilterExpression const guard = !ofAnyDepth(tagged);
    for (unsigned int depth = deepest; depth-- > 0;) {
        CFilterExpression const here = needsGuard() ? all({guard, atDepth(depth)}) : atDepth(depth);
        result = any({here, all({ofAnyDepth("vlan"), result})});
    }
    return result;
}

CFilterExpression CFilterExpression::atDepth(unsigned int depth) const
{
    if (m_kind == Kind::protocol)
        return protocolAtDepth(m_number, depth);
    if (m_kind == Kind::negation)
        return !m_parts.front().atDepth(depth);
    if (m_kind != Kind::all && m_kind != Kind::any)
        return *this;
    std::vector<CFilterExpression> parts;
    parts.reserve(m_parts.size());
    for (CFilterExpression const & part : m_parts)
        parts.push_back(part.atDepth(depth));
    return combined(m_kind, parts);
}

// All framings that give this id: Ethernet II, and behind a length raw IPX, LLC and SNAP.
CFilterExpression CFilterExpression::protocolAtDepth(unsigned int number, unsigned int depth)
{
    unsigned int const type = typeOffset + depth * tagSize;
    unsigned int const payload = type + 2;
    auto const is = [](unsigned int offset, unsigned int count, unsigned int value) {
        return ofAnyDepth(frameBytes(offset, count) + " = " + hexNumber(value, count));
    };
    CFilterExpression const isSNAP = all({is(payload, 2, 0xAAAA), is(payload + 2, 1, 0x03)});

    std::vector<CFilterExpression> behindLength;
    if (number == 0x8137)
        behindLength.push_back(is(payload, 2, 0xFFFF));
    if (number == 0xAA)
        behindLength.push_back(all({is(payload, 1, number), !isSNAP}));
    else if (number == 0xFF)
        behindLength.push_back(all({is(payload, 1, number), !is(payload + 1, 1, 0xFF)}));
    else if (number < 0x100)
        behindLength.push_back(is(payload, 1, number));
    behindLength.push_back(all({isSNAP, is(payload + 6, 2, number)}));
    CFilterExpression framed = all({ofAnyDepth(frameBytes(type, 2) + " < 0x600"), any(behindLength)});

    if (number < 0x600 || isVlanType(number))
        return framed;
    CFilterExpression const plain = number == 0x0806   ? ofAnyDepth("arp")
                                    : number == 0x86DD ? ofAnyDepth("ip6")
                                                       : is(type, 2, number);
    return any({plain, framed});
}

std::string CFilterExpression::written() const
{
    if (m_kind == Kind::negation)
        return "not " + m_parts.front().writtenWithin(m_kind);
    if (m_kind != Kind::all && m_kind != Kind::any)
        return m_text;
    std::string text;
    for (CFilterExpression const & part : m_parts) {
        if (!text.empty())
            text += m_kind == Kind::all ? " and " : " or ";
        text += part.writtenWithin(m_kind);
    }
    return text;
}

// libpcap gives "and" and "or" the same rank, so one within the other always stands in parentheses.
std::string CFilterExpression::writtenWithin(Kind outer) const
{
    bool const several = m_kind == Kind::all || m_kind == Kind::any;
    return several && m_kind != outer ? "(" + written() + ")" : written();
}
