#include "fuzz/InputFile.h"
#include "fuzz/ReadCaptureCheck.h"

#include <cstdio>
#include <cstdlib>

// The input is a capture file.
extern "C" int LLVMFuzzerTestOneInput(unsigned char const * data, std::size_t size)
{
    static fuzz::CInputFile const file;
    std::string const broken = fuzz::checkCapture(file.with({reinterpret_cast<char const *>(data), size}));
    if (!broken.empty()) {
        std::fprintf(stderr, "%s\n", broken.c_str());
        std::abort();
    }
    return 0;
}
