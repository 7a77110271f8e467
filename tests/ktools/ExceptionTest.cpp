#include "ketstats/ktools/Exception.h"
#include "ketstats/capture/Filter.h"
#include "ketstats/model/statvalues.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

TEST(Exception, IsDescribedInWords)
{
    EXPECT_EQ(describe(ktools::CException(1, "MemoryBuffer", 184)),
              "the bytes end too early (MemoryBuffer 184, code 1)");
    EXPECT_EQ(describe(CFilter::CException(2, "FieldFilters", 264)),
              "the bytes are no packed filter (FieldFilters 264, code 2)");
    EXPECT_EQ(describe(ktools::CException(2, "elsewhere", 7)),
              "the content of a stream or a request is wrong (elsewhere 7, code 2)");
    EXPECT_EQ(describe(ktools::CException(1, "elsewhere", 7)),
              "the operation can't be done (elsewhere 7, code 1)");
}

TEST(Exception, IsDescribedAsItIsThrown)
{
    try {
        KetStats::COid const oid("1..2");
        FAIL() << "nothing raised";
    } catch (KetStats::COid::CException * raised) {
        std::unique_ptr<KetStats::COid::CException> const owned(raised);
        EXPECT_EQ(describe(*raised),
                  "the identifier has a dot with no digit before it (statvalues 47, code 1)");
    }
}

} // namespace
