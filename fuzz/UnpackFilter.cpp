#include "fuzz/UnpackFilterCheck.h"

#include <cstdio>
#include <cstdlib>

// The input is a packed filter.
extern "C" int LLVMFuzzerTestOneInput(unsigned char const * data, std::size_t size)
{
    std::string const broken = fuzz::checkFilter({data, size});
    if (!broken.empty()) {
        std::fprintf(stderr, "%s\n", broken.c_str());
        std::abort();
    }
    return 0;
}
