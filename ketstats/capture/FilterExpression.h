#pragma once

#include <string>
#include <vector>

// A filter expression of libpcap's language in the making. What is equal for every number of VLAN tags in
// front of the type, and what isn't, are kept apart until the whole is written:
//
//     E                                            nothing in E depends on tags
//     E0 or (vlan and (E1 or (vlan and E2)))       otherwise; Ek is E written for k tags
//
// because `vlan` shifts where libpcap looks for everything behind it in the text, except for `ether[...]`.
// A primitive that depends on tags must be false on frames with more tags than it was written for. A frame
// with more than two tags is then one on which all such primitives are false.
class CFilterExpression
{
public:
    // The frames of one station, or any other primitive that is the same for any number of tags.
    static CFilterExpression ofAnyDepth(std::string text);
    // A primitive that libpcap itself shifts behind `vlan`, and that only an IP packet satisfies.
    static CFilterExpression ofIP(std::string text);
    // A protocol id of two bytes.
    static CFilterExpression ofProtocol(unsigned int number);
    static CFilterExpression constant(bool value);

    // All or any of several. What is the same for all frames is worked out, equal parts are said once, and
    // what another part implies isn't said at all.
    static CFilterExpression all(std::vector<CFilterExpression> const & parts);
    static CFilterExpression any(std::vector<CFilterExpression> const & parts);
    CFilterExpression operator!() const;

    // The whole expression, for any number of tags.
    std::string text() const;

    // A number as libpcap reads it: "0x0806".
    static std::string hexNumber(unsigned int number, unsigned int bytes);

private:
    enum class Kind
    {
        never,
        always,
        anyDepth,
        ip,
        protocol,
        all,
        any,
        negation, // of the one part
    };
    // What an expression is where nothing that depends on tags holds.
    enum class Truth
    {
        never,
        always,
        depends,
    };

    CFilterExpression(Kind kind, std::string text, unsigned int number = 0);
    CFilterExpression(Kind kind, std::vector<CFilterExpression> parts);
    static CFilterExpression combined(Kind kind, std::vector<CFilterExpression> const & parts);

    bool dependsOnTags() const;
    bool impliesIP() const;
    bool isMonotone(bool negated) const;
    Truth withoutProtocols() const;
    bool needsGuard() const;
    CFilterExpression opposite() const;

    CFilterExpression forAllDepths() const;
    CFilterExpression unfolded() const;
    CFilterExpression atDepth(unsigned int depth) const;
    static CFilterExpression protocolAtDepth(unsigned int number, unsigned int depth);
    std::string written() const;
    std::string writtenWithin(Kind outer) const;

    Kind m_kind;
    std::string m_text;        // of a protocol only a stand-in that tells it from others
    unsigned int m_number = 0; // of a protocol
    std::vector<CFilterExpression> m_parts;
};
