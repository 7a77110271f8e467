#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

// A filter expression of libpcap's language in the making. What is equal for every number of VLAN tags in
// front of the type, and what isn't, are kept apart until the whole is written:
//
//     E                                            nothing in E depends on tags
//     E0 or (vlan and (E1 or (vlan and E2)))       otherwise; Ek is E written for k tags
//
// because `vlan` shifts where libpcap looks for everything behind it in the text, except for `ether[...]`.
// libpcap knows IP, and IPv6, behind an Ethernet II type only, so where E asks for something of one of them, Ek has one
// more term for it:
//
//     Pk or (IP in a SNAP header and Sk)           Sk reads the header, which lies elsewhere, by `ether[...]`
//
// A primitive that depends on tags must be false on frames with more tags than it was written for. A frame
// with more than two tags is then one on which all such primitives are false.
//
// Expressions share what they are made of and never change, so that a copy costs nothing, and what is asked of
// the parts is worked out once. The work for the whole grows like its text.
class CFilterExpression
{
public:
    // The frames of one station, or any other primitive that is the same for any number of tags.
    static CFilterExpression ofAnyDepth(std::string text);
    // The same, and what says it in less where nothing else stands in the expression.
    static CFilterExpression ofAnyDepth(std::string text, std::string alone);
    // A primitive that libpcap itself shifts behind `vlan`, and that only an IP packet satisfies; and the same
    // of an IP header anywhere in the frame, {N} standing for the place of its byte N.
    static CFilterExpression ofIP(std::string text, std::string anywhere);
    // The like of IPv6, and what is said with it, so that it needn't be said beside it.
    static CFilterExpression ofIPv6(std::string text, std::string anywhere,
                                    std::vector<CFilterExpression> implied = {});
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
    // What it asks of packets of one protocol, IP or IPv6 by its number, for whoever has found them: their header
    // begins at that byte of the frame, or where libpcap finds it. Empty unless only they satisfy it and it asks for
    // nothing else. Several parts stand in parentheses.
    std::string textOfPackets(unsigned int protocol, std::optional<unsigned int> header) const;

    // A number as libpcap reads it: "0x0806".
    static std::string hexNumber(unsigned int number, unsigned int bytes);

private:
    enum class Kind
    {
        never,
        always,
        anyDepth,
        network, // of IP or IPv6
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
    struct CFamily;
    struct CNode;
    struct CSameHash;
    struct CSame;

    explicit CFilterExpression(CNode && node);
    CFilterExpression(Kind kind, std::vector<CFilterExpression> parts);
    static CFilterExpression combined(Kind kind, std::vector<CFilterExpression> const & parts);

    static CFilterExpression ofFamily(CFamily const & family, std::string text, std::string anywhere,
                                      std::vector<CFilterExpression> implied);
    bool isFamilyAlone() const;
    bool asksForNothingBut(CFamily const & family) const;
    bool needsGuard() const;
    CFilterExpression opposite() const;

    CFilterExpression forAllDepths() const;
    CFilterExpression unfolded() const;
    CFilterExpression atDepth(unsigned int depth) const;
    CFilterExpression behindType(unsigned int depth) const;
    CFilterExpression inPacket(CFamily const & family, unsigned int header) const;
    template <class Replace>
    CFilterExpression rebuilt(Replace const & replace) const;
    static CFilterExpression protocolAtDepth(unsigned int number, unsigned int depth);
    void write(std::string & text) const;
    void writeWithin(Kind outer, std::string & text) const;

    std::shared_ptr<CNode const> m_node;
};
