#include "fuzz/ReadSavedSnapshotCheck.h"

#include <cstdio>
#include <cstdlib>

// The input is a file that holds a saved snapshot.
extern "C" int LLVMFuzzerTestOneInput(unsigned char const * data, std::size_t size)
{
    std::string const broken = fuzz::checkSavedSnapshot({reinterpret_cast<char const *>(data), size});
    if (!broken.empty()) {
        std::fprintf(stderr, "%s\n", broken.c_str());
        std::abort();
    }
    return 0;
}
