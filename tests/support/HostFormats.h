#pragma once

#include "ketstats/text/StatFormatContainer.h"

#include <string>

// Formats as a host makes them, for the tests of lists and of descriptions.
namespace test {

// Says which overload was asked and for what. Counts its objects.
class HostFormat : public KetStats::CStatFormatBase
{
public:
    explicit HostFormat(ValueType theValueType) : CStatFormatBase("host format", theValueType) { ++alive; }
    HostFormat(HostFormat const & other) : CStatFormatBase(other) { ++alive; }
    ~HostFormat() override { --alive; }

    std::string formatValue(std::string const & value, void * context) const override
    {
        return told("string " + value, context);
    }
    std::string formatValue(CMACAddr const & value, void * context) const override
    {
        return told("MAC " + static_cast<std::string>(value), context);
    }
    std::string formatValue(long long value, void * context) const override
    {
        return told("integer " + std::to_string(value), context);
    }
    std::string formatValue(double value, void * context) const override
    {
        return told("double " + std::to_string(value), context);
    }
    std::string formatValue(void const *, unsigned int size, void * context) const override
    {
        return told("raw " + std::to_string(size), context);
    }

    static inline int alive = 0;

private:
    static std::string told(std::string const & value, void * context)
    {
        return context ? value + " for " + *static_cast<std::string *>(context) : value;
    }
};

// Puts formats into one of the library's custom lists and takes them out again at the end.
class CustomFormats
{
public:
    explicit CustomFormats(KetStats::CStatFormatContainerBase * list) : m_list(list) {}
    CustomFormats(KetStats::CStatFormatContainerBase * list, KetStats::CStatFormatBase * format)
        : CustomFormats(list)
    {
        m_list->push_back(format);
    }
    CustomFormats(CustomFormats const &) = delete;
    CustomFormats & operator=(CustomFormats const &) = delete;
    ~CustomFormats() { m_list->clear(); }

private:
    KetStats::CStatFormatContainerBase * m_list;
};

} // namespace test
