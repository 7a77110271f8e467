#include "fuzz/ReadMessagesCheck.h"

#include <cstdio>
#include <cstdlib>

// The input is what one end of a connection sends.
extern "C" int LLVMFuzzerTestOneInput(unsigned char const * data, std::size_t size)
{
    std::string const broken = fuzz::checkMessages({reinterpret_cast<char const *>(data), size});
    if (!broken.empty()) {
        std::fprintf(stderr, "%s\n", broken.c_str());
        std::abort();
    }
    return 0;
}
