#pragma once

#include "ketstats/platform/Exports.h"
#include "ketstats/text/StatFormat.h"

#include <vector>

namespace KetStats {

// A list of formats, which it owns.
//
// Every kind of statistic is offered the formats of two lists: a standard one that is filled when the library
// is loaded, and behind it a custom one that belongs to the host. What the host pushes there shows at once on
// every statistic of the kind, and is deleted when the library goes; a host never deletes it. Nothing here is
// locked: a host fills its lists before other threads format.
class KETSTATS_API CStatFormatContainerBase
{
public:
    explicit CStatFormatContainerBase(CStatFormatBase::ValueType theValueType);
    // From a null-terminated array: takes the formats of this list's kind; the others stay with the caller.
    CStatFormatContainerBase(CStatFormatBase::ValueType theValueType, CStatFormatBase ** array);
    CStatFormatContainerBase(CStatFormatContainerBase const &) = delete;
    CStatFormatContainerBase & operator=(CStatFormatContainerBase const &) = delete;
    virtual ~CStatFormatContainerBase();

    // The index isn't checked.
    CStatFormatBase const & operator[](unsigned int index) const { return *formats[index]; }
    unsigned int size() const { return static_cast<unsigned int>(formats.size()); }

    // Takes ownership; the kind isn't looked at here.
    void push_back(CStatFormatBase * format) { formats.push_back(format); }
    // Deletes all formats.
    void clear();

    CStatFormatBase::ValueType getValueType() const { return valueType; }

protected:
    CStatFormatBase::ValueType valueType;
    std::vector<CStatFormatBase *> formats;
};

// Without a multiplier, then with each power of 1024. A format with a power of 1000 is for the host to make.
class KETSTATS_API CStandardIntegerFormats : public CStatFormatContainerBase
{
public:
    CStandardIntegerFormats();
};

class KETSTATS_API CStandardDoubleFormats : public CStatFormatContainerBase
{
public:
    CStandardDoubleFormats();
};

class KETSTATS_API CStandardMACFormats : public CStatFormatContainerBase
{
public:
    CStandardMACFormats();
};

class KETSTATS_API CStandardIPFormats : public CStatFormatContainerBase
{
public:
    CStandardIPFormats();
};

class KETSTATS_API CStandardIPv6Formats : public CStatFormatContainerBase
{
public:
    CStandardIPv6Formats();
};

// Hexadecimal, then the short and the long name of an IP sub-protocol. Protocols, sub-protocols and ports
// share this list, so the names are offered for ports too, where they make no sense. That is meant.
class KETSTATS_API CStandardProtocolIdFormats : public CStatFormatContainerBase
{
public:
    CStandardProtocolIdFormats();
};

class KETSTATS_API CStandardStringFormats : public CStatFormatContainerBase
{
public:
    CStandardStringFormats();
};

extern KETSTATS_API CStatFormatContainerBase const * const StandardIntegerFormats;
extern KETSTATS_API CStatFormatContainerBase const * const StandardDoubleFormats;
extern KETSTATS_API CStatFormatContainerBase const * const StandardMACFormats;
extern KETSTATS_API CStatFormatContainerBase const * const StandardIPFormats;
extern KETSTATS_API CStatFormatContainerBase const * const StandardIPv6Formats;
extern KETSTATS_API CStatFormatContainerBase const * const StandardStringFormats;
extern KETSTATS_API CStatFormatContainerBase const * const StandardProtocolIdFormats;

extern KETSTATS_API CStatFormatContainerBase * const CustomIntegerFormats;
extern KETSTATS_API CStatFormatContainerBase * const CustomDoubleFormats;
extern KETSTATS_API CStatFormatContainerBase * const CustomMACFormats;
extern KETSTATS_API CStatFormatContainerBase * const CustomIPFormats;
extern KETSTATS_API CStatFormatContainerBase * const CustomIPv6Formats;
extern KETSTATS_API CStatFormatContainerBase * const CustomStringFormats;
extern KETSTATS_API CStatFormatContainerBase * const CustomProtocolIdFormats;

} // namespace KetStats
