#pragma once

#include "ketstats/capture/Frame.h"
#include "ketstats/ktools/MemoryBuffer.h"
#include "ketstats/platform/Exports.h"

#include <optional>
#include <string>
#include <vector>

class CFilteredFrame;
class CFilterExpression;

// The kinds of filters. The numbers stand in packed filters and never change.
enum eFilterId : unsigned int
{
    fiCompound = 1,
    fiSourceMAC = 2,
    fiDestinationMAC = 3,
    fiProtocol = 4,
    fiIPSubprotocol = 5,
    fiIPPort = 6,
    fiIPAddress = 7,
    fiIPv6Address = 8,
    fiIPv6Protocol = 9,
    fiIPv6Port = 10,
    fiVlan = 11,
};

// How a filter compares its value with that of a frame. A filter that was made with a number that isn't here
// compares with nothing, and isn't read from a stream.
enum eOperation : unsigned int
{
    eoEqual = 0,
};

// Selects frames. Filters are heap objects: who makes, clones or unpacks one deletes it, unless it was added
// to a compound. They are copied by Clone alone.
//
// The operations that are const may run on several threads at once, on one filter too; the others belong to
// one thread at a time, while no other uses the filter.
//
// What each filter selects, the packed form and the form of expressions stand in docs/filters.md.
class KNDISLIB_API CFilter
{
public:
    // Raised as a pointer, like all of the family; code 2: the bytes are no packed filter.
    class KETSTATS_TYPE CException : public ktools::CException
    {
    public:
        using ktools::CException::CException;
    };

    // Compounds within compounds go this deep, the outermost counted: to be packed and unpacked, and to be built
    // at all.
    enum : unsigned int
    {
        deepestNesting = 32,
        deepestBuilding = 256,
    };

    virtual ~CFilter();

    virtual eFilterId GetFilterId() const = 0;

    // A filter that is equal in everything and shares nothing with this one. The caller owns it.
    [[nodiscard]] virtual CFilter * Clone() const = 0;

    // Whether the filter passes the frame, which is one of Ethernet unless it is of a class of the host's:
    // that is asked by its own AnalyzeFrame, on this thread. What lies beyond the captured bytes reads as
    // zero. Null passes no filter, be it negated or not.
    [[nodiscard]] virtual bool IsSatisfied(CFrame const * frame) const;

    // The description that the filter was given. If that is empty, an expression of libpcap's language that
    // selects the same frames, with the differences that docs/filters.md lists.
    [[nodiscard]] virtual std::string GetDescription() const;

    // What the filter asks of packets of one protocol, 0x0800 for IP or 0x86DD for IPv6, in libpcap's language, its
    // description and its own `negated` aside: for a host that tells in that language which frames of its media carry
    // them. Their header begins at that byte of the frame; without one libpcap finds it by the protocol's name. Empty
    // unless the filter passes only such packets and asks for nothing but what stands in them.
    [[nodiscard]] std::string GetPacketExpression(unsigned int protocol,
                                                  std::optional<unsigned int> header) const;

    // Makes this filter what the next bytes of the buffer hold, which must be one of its own kind. Throws
    // CFilter::CException, code 2, if they aren't, and CMemoryBuffer's if they end too early. The filter is
    // as it was then, and the buffer's cursor stands where reading ended.
    virtual void Unpack(ktools::CMemoryBuffer & buffer);

    // Appends the packed form, which UnpackNew reads. Throws CFilter::CException, code 1, with nothing written,
    // for what it wouldn't read: a compound that is nested too deep, a type or operation that isn't one. Throws
    // CMemoryBuffer's for a buffer that is full, behind what it could hold.
    virtual void Pack(ktools::CMemoryBuffer & buffer) const;

    // Makes a filter of whatever kind the next bytes of the buffer hold. The caller owns it. Throws like
    // Unpack.
    [[nodiscard]] static CFilter * UnpackNew(ktools::CMemoryBuffer & buffer);

    std::string description;
    bool negated; // passes what the filter otherwise wouldn't, and nothing else

protected:
    CFilter(std::string const & theDescription, bool isNegated);
    CFilter(CFilter const &);
    CFilter & operator=(CFilter const &) = delete;

    // What the kinds differ in. None of them sees to `negated` or to the description.
    virtual bool matches(CFilteredFrame const & frame) const = 0;
    virtual CFilterExpression expression() const = 0;
    virtual void packFields(ktools::CMemoryBuffer & buffer) const = 0;
    // Throws CException, code 1, for what no stream may hold. `levels` is how many compounds may be nested.
    virtual void checkPackable(unsigned int levels) const;
    // The fields are as they were if it throws. `levels` is how many compounds may still be nested.
    virtual void unpackFields(ktools::CMemoryBuffer & buffer, unsigned int levels) = 0;

private:
    friend class CCompoundFilter; // asks the filters that it holds

    bool passes(CFilteredFrame const & frame) const;
    void packChecked(ktools::CMemoryBuffer & buffer) const;
    CFilterExpression wholeExpression() const;
    void unpackBehindId(ktools::CMemoryBuffer & buffer, unsigned int levels);
    static CFilter * unpackNew(ktools::CMemoryBuffer & buffer, unsigned int levels);
};

// Filters combined. The frame is analysed once for all of them. How deep compounds are nested has a bound, so
// that the stack suffices for whatever is done with them.
class KNDISLIB_API CCompoundFilter : public CFilter
{
public:
    enum eMode : unsigned int
    {
        cmAll = 0, // all filters must pass the frame; a compound of none passes every frame
        cmAny = 1, // at least one must; a compound of none passes no frame
    };

    // An empty compound of mode cmAll.
    CCompoundFilter(std::string const & theDescription, bool isNegated);
    ~CCompoundFilter() override; // deletes the filters

    eFilterId GetFilterId() const override;
    // Throws CException, code 1, for filters that are nested deeper than Add would have let them be.
    [[nodiscard]] CFilter * Clone() const override;

    // Takes the filter over and appends it. Null, which is what a failed allocation can leave, is ignored. If
    // there is no memory for it the filter is deleted and std::bad_alloc thrown, and if compounds were nested
    // deeper than deepestBuilding then, CException, code 1.
    void Add(CFilter * filter);

    // The filter at an index, which stays the compound's; null at and beyond the end.
    CFilter * GetAt(unsigned int index) const;

    unsigned int size() const;

    // Owned, none of them null.
    std::vector<CFilter *> filters;
    // Written by its owner at any time; a number that isn't a mode counts as cmAll, and isn't read from a
    // stream.
    eMode mode;

protected:
    bool matches(CFilteredFrame const & frame) const override;
    CFilterExpression expression() const override;
    void packFields(ktools::CMemoryBuffer & buffer) const override;
    void checkPackable(unsigned int levels) const override;
    void unpackFields(ktools::CMemoryBuffer & buffer, unsigned int levels) override;

private:
    CCompoundFilter(CCompoundFilter const & other);
    CCompoundFilter & operator=(CCompoundFilter const &) = delete;

    bool nestsDeeperThan(unsigned int levels) const;
    void setLevel(unsigned int level);
    void gatherParts(std::vector<CFilterExpression> & parts) const;

    unsigned int m_level = 0; // compounds around this one when it was added, which Add keeps count of
};
