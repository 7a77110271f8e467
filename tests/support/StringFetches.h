#pragma once

#include "ketstats/text/StringResources.h"

namespace test {

// How many strings were fetched since it was made, up to nine.
class StringFetches
{
public:
    int count() const { return (KetStats::CStringResources::instance().current + 10 - m_start) % 10; }

private:
    int m_start = KetStats::CStringResources::instance().current;
};

} // namespace test
