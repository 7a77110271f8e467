#include "ketstats/capture/FilterExpression.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <unordered_set>
#include <utility>

namespace {

// Where the type stands behind no tag, and what a tag adds.
constexpr unsigned int typeOffset = 12;
constexpr unsigned int tagSize = 4;
// From the type to the header behind it, where a SNAP header is in between.
constexpr unsigned int snapHeader = 2 + 8;

constexpr unsigned int deepest = 2; // tags that an expression looks behind

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

// The text with each {N} replaced by `start` + N.
std::string placed(std::string const & text, unsigned int start)
{
    std::string result;
    std::size_t from = 0;
    for (std::size_t open; (open = text.find('{', from)) != std::string::npos;) {
        std::size_t const close = text.find('}', open);
        result.append(text, from, open - from);
        result += std::to_string(start + std::stoul(text.substr(open + 1, close - open - 1)));
        from = close + 1;
    }
    return result.append(text, from);
}

std::size_t mixed(std::size_t hash, std::size_t next)
{
    return (hash ^ next) * 0x9E3779B97F4A7C15U + (hash >> 7);
}

} // namespace

// A protocol whose header libpcap reads, but not in a SNAP header.
struct CFilterExpression::CFamily
{
    unsigned int bit;
    unsigned int type;
    char const * text;

    static CFamily const ip;
    static CFamily const ipv6;
    static CFamily const * const list[2];
};

constexpr CFilterExpression::CFamily CFilterExpression::CFamily::ip{1, 0x0800, "ip"};
constexpr CFilterExpression::CFamily CFilterExpression::CFamily::ipv6{2, 0x86DD, "ip6"};
constexpr CFilterExpression::CFamily const * CFilterExpression::CFamily::list[] = {&ip, &ipv6};

struct CFilterExpression::CNode
{
    Kind kind;
    std::string text{};       // of a protocol only a stand-in that tells it from others
    std::string alone{};      // in place of the text where that is all; empty if nothing is shorter
    std::string anywhere{};   // of a family
    CFamily const * family{}; // null for all that is of none
    unsigned int number = 0;  // of a protocol
    std::vector<CFilterExpression> implied{}; // of a family: others that hold wherever this one does
    std::vector<CFilterExpression> parts{};

    // Worked out from the parts. Families are told by their bits.
    bool dependsOnTags = false;
    unsigned int asksFor = 0;
    unsigned int implies = 0;
    // Whether it can only become true, never false, when primitives that depend on tags do; and whether its
    // negation can.
    bool isMonotone = true;
    bool isNegationMonotone = true;
    Truth withoutProtocols = Truth::depends;
    std::size_t hash = 0;
};

struct CFilterExpression::CSameHash
{
    std::size_t operator()(CFilterExpression const & expression) const { return expression.m_node->hash; }
};

struct CFilterExpression::CSame
{
    bool operator()(CFilterExpression const & left, CFilterExpression const & right) const
    {
        CNode const & a = *left.m_node;
        CNode const & b = *right.m_node;
        return &a == &b ||
               (a.hash == b.hash && a.kind == b.kind && a.text == b.text &&
                std::equal(a.parts.begin(), a.parts.end(), b.parts.begin(), b.parts.end(), *this));
    }
};

CFilterExpression::CFilterExpression(CNode && made)
{
    CNode node = std::move(made);
    auto const decisive = node.kind == Kind::all ? Truth::never : Truth::always;
    switch (node.kind) {
    case Kind::never:
    case Kind::network:
    case Kind::protocol:
        node.withoutProtocols = Truth::never;
        break;
    case Kind::always:
        node.withoutProtocols = Truth::always;
        break;
    case Kind::anyDepth:
    case Kind::negation:
        break;
    case Kind::all:
    case Kind::any:
        node.withoutProtocols = node.kind == Kind::all ? Truth::always : Truth::never;
        break;
    }
    node.dependsOnTags = node.kind == Kind::network || node.kind == Kind::protocol;
    node.asksFor = node.family ? node.family->bit : 0;
    node.implies = node.kind == Kind::any ? ~0U : node.asksFor;
    node.isNegationMonotone = !node.dependsOnTags;
    node.hash = mixed(static_cast<std::size_t>(node.kind), std::hash<std::string>()(node.text));

    for (CFilterExpression const & expression : node.parts) {
        CNode const & part = *expression.m_node;
        bool const isNegation = node.kind == Kind::negation;
        node.dependsOnTags |= part.dependsOnTags;
        node.asksFor |= part.asksFor;
        if (node.kind == Kind::all)
            node.implies |= part.implies;
        else if (node.kind == Kind::any)
            node.implies &= part.implies;
        node.isMonotone &= isNegation ? part.isNegationMonotone : part.isMonotone;
        node.isNegationMonotone &= isNegation ? part.isMonotone : part.isNegationMonotone;
        Truth const truth = part.withoutProtocols;
        if (isNegation)
            node.withoutProtocols = truth == Truth::never    ? Truth::always
                                    : truth == Truth::always ? Truth::never
                                                             : Truth::depends;
        else if (node.withoutProtocols != decisive && (truth == decisive || truth == Truth::depends))
            node.withoutProtocols = truth;
        node.hash = mixed(node.hash, part.hash);
    }
    m_node = std::make_shared<CNode const>(std::move(node));
}

CFilterExpression::CFilterExpression(Kind kind, std::vector<CFilterExpression> parts)
    : CFilterExpression(CNode{.kind = kind, .parts = std::move(parts)})
{}

CFilterExpression CFilterExpression::ofAnyDepth(std::string text)
{
    return ofAnyDepth(std::move(text), {});
}

CFilterExpression CFilterExpression::ofAnyDepth(std::string text, std::string alone)
{
    return CFilterExpression(
        CNode{.kind = Kind::anyDepth, .text = std::move(text), .alone = std::move(alone)});
}

CFilterExpression CFilterExpression::ofIP(std::string text, std::string anywhere)
{
    return ofFamily(CFamily::ip, std::move(text), std::move(anywhere), {});
}

CFilterExpression CFilterExpression::ofIPv6(std::string text, std::string anywhere,
                                            std::vector<CFilterExpression> implied)
{
    return ofFamily(CFamily::ipv6, std::move(text), std::move(anywhere), std::move(implied));
}

CFilterExpression CFilterExpression::ofFamily(CFamily const & family, std::string text, std::string anywhere,
                                              std::vector<CFilterExpression> implied)
{
    return CFilterExpression(CNode{.kind = Kind::network,
                                   .text = std::move(text),
                                   .anywhere = std::move(anywhere),
                                   .family = &family,
                                   .implied = std::move(implied)});
}

CFilterExpression CFilterExpression::ofProtocol(unsigned int number)
{
    for (CFamily const * family : CFamily::list)
        if (number == family->type)
            return ofFamily(*family, family->text, {}, {});
    return CFilterExpression(CNode{.kind = Kind::protocol, .text = hexNumber(number, 2), .number = number});
}

CFilterExpression CFilterExpression::constant(bool value)
{
    return CFilterExpression(value ? CNode{.kind = Kind::always, .text = "len >= 0"}
                                   : CNode{.kind = Kind::never, .text = "len < 0"});
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

// Whether it asks for the family, and for nothing of it.
bool CFilterExpression::isFamilyAlone() const
{
    return m_node->family && m_node->text == m_node->family->text;
}

CFilterExpression CFilterExpression::combined(Kind kind, std::vector<CFilterExpression> const & parts)
{
    Kind const neutral = kind == Kind::all ? Kind::always : Kind::never;
    Kind const decisive = kind == Kind::all ? Kind::never : Kind::always;
    if (parts.size() == 1)
        return parts.front();

    std::vector<CFilterExpression> kept;
    std::unordered_set<CFilterExpression, CSameHash, CSame> said;
    auto const keep = [&](CFilterExpression const & part) {
        if (part.m_node->kind != neutral && said.insert(part).second)
            kept.push_back(part);
    };
    for (CFilterExpression const & part : parts) {
        if (part.m_node->kind == kind)
            std::for_each(part.m_node->parts.begin(), part.m_node->parts.end(), keep);
        else
            keep(part);
    }

    auto const decides = [&](CFilterExpression const & part) { return part.m_node->kind == decisive; };
    if (std::any_of(kept.begin(), kept.end(), decides))
        return constant(decisive == Kind::always);

    if (kind == Kind::all) {
        unsigned int families = 0;
        std::unordered_set<CFilterExpression, CSameHash, CSame> implied;
        for (CFilterExpression const & part : kept) {
            if (!part.isFamilyAlone())
                families |= part.m_node->implies;
            implied.insert(part.m_node->implied.begin(), part.m_node->implied.end());
        }
        std::erase_if(kept, [&](CFilterExpression const & part) {
            return implied.contains(part) ||
                   (part.isFamilyAlone() && (families & part.m_node->family->bit) != 0);
        });
    }

    if (kept.empty())
        return constant(neutral == Kind::always);
    if (kept.size() == 1)
        return kept.front();
    return {kind, std::move(kept)};
}

CFilterExpression CFilterExpression::operator!() const
{
    switch (m_node->kind) {
    case Kind::never:
        return constant(true);
    case Kind::always:
        return constant(false);
    case Kind::negation:
        return m_node->parts.front();
    default:
        return {Kind::negation, std::vector<CFilterExpression>{*this}};
    }
}

// Whether it could select a frame on which nothing of what it was written for holds, and that it wouldn't
// select when written for that frame.
bool CFilterExpression::needsGuard() const
{
    return !m_node->isMonotone && m_node->withoutProtocols != Truth::never;
}

// The negation, with every "not" moved in to the primitives.
CFilterExpression CFilterExpression::opposite() const
{
    if (m_node->kind != Kind::all && m_node->kind != Kind::any)
        return !*this;
    std::vector<CFilterExpression> parts;
    parts.reserve(m_node->parts.size());
    for (CFilterExpression const & part : m_node->parts)
        parts.push_back(part.opposite());
    return combined(m_node->kind == Kind::all ? Kind::any : Kind::all, parts);
}

std::string CFilterExpression::text() const
{
    bool const isNegation = m_node->kind == Kind::negation;
    std::string const & alone = (isNegation ? m_node->parts.front() : *this).m_node->alone;
    if (!alone.empty())
        return isNegation ? "not (" + alone + ")" : alone;
    std::string text;
    forAllDepths().write(text);
    return text;
}

// Whether it has no primitives but those of the family.
bool CFilterExpression::asksForNothingBut(CFamily const & family) const
{
    switch (m_node->kind) {
    case Kind::never:
    case Kind::always:
        return true;
    case Kind::anyDepth:
    case Kind::protocol:
        return false;
    case Kind::network:
        return m_node->family == &family;
    case Kind::all:
    case Kind::any:
    case Kind::negation:
        break;
    }
    return std::all_of(m_node->parts.begin(), m_node->parts.end(),
                       [&family](CFilterExpression const & part) { return part.asksForNothingBut(family); });
}

std::string CFilterExpression::textOfPackets(unsigned int protocol, std::optional<unsigned int> header) const
{
    std::string text;
    for (CFamily const * family : CFamily::list)
        if (family->type == protocol && (m_node->implies & family->bit) != 0 && asksForNothingBut(*family))
            (header ? inPacket(*family, *header) : *this).writeWithin(Kind::negation, text);
    return text;
}

// What doesn't depend on tags is said once, in front. "Not" is said of the whole where that saves the guards.
CFilterExpression CFilterExpression::forAllDepths() const
{
    Kind const kind = m_node->kind;
    if (!m_node->dependsOnTags)
        return *this;
    if (kind == Kind::negation)
        return !m_node->parts.front().forAllDepths();

    if (kind == Kind::all || kind == Kind::any) {
        std::vector<CFilterExpression> parts = m_node->parts;
        auto const split =
            std::stable_partition(parts.begin(), parts.end(),
                                  [](CFilterExpression const & part) { return !part.m_node->dependsOnTags; });
        if (split != parts.begin()) {
            CFilterExpression const dependent = combined(kind, {split, parts.end()});
            parts.erase(split, parts.end());
            parts.push_back(dependent.forAllDepths());
            return combined(kind, parts);
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

// On a packet in a SNAP header all that is written for packets behind a type is false, like on a frame with more
// tags; so it takes the same guard.
CFilterExpression CFilterExpression::atDepth(unsigned int depth) const
{
    CFilterExpression const plain = behindType(depth);
    if (m_node->asksFor == 0)
        return plain;
    std::vector<CFilterExpression> guarded;
    std::vector<CFilterExpression> snapped;
    for (CFamily const * family : CFamily::list) {
        if ((m_node->asksFor & family->bit) == 0)
            continue;
        CFilterExpression const isInSNAP = protocolAtDepth(family->type, depth);
        guarded.push_back(!isInSNAP);
        snapped.push_back(all({isInSNAP, inPacket(*family, typeOffset + depth * tagSize + snapHeader)}));
    }
    guarded.push_back(plain);
    snapped.insert(snapped.begin(), needsGuard() ? all(guarded) : plain);
    return any(snapped);
}

// The same expression with other primitives.
template <class Replace>
CFilterExpression CFilterExpression::rebuilt(Replace const & replace) const
{
    Kind const kind = m_node->kind;
    if (!m_node->dependsOnTags)
        return *this;
    if (kind == Kind::negation)
        return !m_node->parts.front().rebuilt(replace);
    if (kind != Kind::all && kind != Kind::any)
        return replace(*this);
    std::vector<CFilterExpression> parts;
    parts.reserve(m_node->parts.size());
    for (CFilterExpression const & part : m_node->parts)
        parts.push_back(part.rebuilt(replace));
    return combined(kind, parts);
}

CFilterExpression CFilterExpression::behindType(unsigned int depth) const
{
    return rebuilt([depth](CFilterExpression const & primitive) {
        CNode const & node = *primitive.m_node;
        return node.kind == Kind::protocol ? protocolAtDepth(node.number, depth) : primitive;
    });
}

// For packets of which it is known that they are of that family, and where their header begins.
CFilterExpression CFilterExpression::inPacket(CFamily const & family, unsigned int header) const
{
    return rebuilt([header, &family](CFilterExpression const & primitive) {
        bool const isOfFamily = primitive.m_node->family == &family;
        if (!isOfFamily || primitive.isFamilyAlone())
            return constant(isOfFamily);
        return ofAnyDepth(placed(primitive.m_node->anywhere, header));
    });
}

// All framings that give this id: Ethernet II, and behind a length raw IPX, LLC and SNAP; of a family only the last.
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

    // A family behind a type is left to libpcap, which knows its fields.
    auto const isOfNumber = [number](CFamily const * family) { return family->type == number; };
    if (number < 0x600 || isVlanType(number) ||
        std::any_of(std::begin(CFamily::list), std::end(CFamily::list), isOfNumber))
        return framed;
    CFilterExpression const plain = number == 0x0806 ? ofAnyDepth("arp") : is(type, 2, number);
    return any({plain, framed});
}

void CFilterExpression::write(std::string & text) const
{
    Kind const kind = m_node->kind;
    if (kind == Kind::negation) {
        text += "not ";
        m_node->parts.front().writeWithin(kind, text);
        return;
    }
    if (kind != Kind::all && kind != Kind::any) {
        text += m_node->text;
        return;
    }
    char const * between = "";
    for (CFilterExpression const & part : m_node->parts) {
        text += between;
        part.writeWithin(kind, text);
        between = kind == Kind::all ? " and " : " or ";
    }
}

// libpcap gives "and" and "or" the same rank, so one within the other always stands in parentheses.
void CFilterExpression::writeWithin(Kind outer, std::string & text) const
{
    bool const several = m_node->kind == Kind::all || m_node->kind == Kind::any;
    bool const parentheses = several && m_node->kind != outer;
    text += parentheses ? "(" : "";
    write(text);
    text += parentheses ? ")" : "";
}
