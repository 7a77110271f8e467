#pragma once

#include "ketstats/capture/Filter.h"

// What a filter of one field makes of the operations of a filter. It stands at the end of the class.
#define KETSTATS_FIELD_FILTER(CLASS)                                                                         \
public:                                                                                                      \
    ~CLASS() override;                                                                                       \
    eFilterId GetFilterId() const override;                                                                  \
    [[nodiscard]] CFilter * Clone() const override;                                                          \
                                                                                                             \
protected:                                                                                                   \
    bool matches(CFilteredFrame const & frame) const override;                                               \
    CFilterExpression expression() const override;                                                           \
    void packFields(ktools::CMemoryBuffer & buffer) const override;                                          \
    void unpackFields(ktools::CMemoryBuffer & buffer, unsigned int levels) override;                         \
                                                                                                             \
private:                                                                                                     \
    CLASS(CLASS const &);                                                                                    \
    CLASS & operator=(CLASS const &) = delete;

// What differs between the kinds in nothing but the names; it stands in the source of the class.
#define KETSTATS_FIELD_FILTER_BODIES(CLASS, ID)                                                              \
    CLASS::CLASS(CLASS const &) = default;                                                                   \
    CLASS::~CLASS() = default;                                                                               \
    eFilterId CLASS::GetFilterId() const                                                                     \
    {                                                                                                        \
        return ID;                                                                                           \
    }                                                                                                        \
    CFilter * CLASS::Clone() const                                                                           \
    {                                                                                                        \
        return new CLASS(*this);                                                                             \
    }
