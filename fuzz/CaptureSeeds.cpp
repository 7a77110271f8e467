#include "tests/host/CaptureVariants.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

// Writes the small ones of the capture files that the tests build, as first inputs: CaptureSeeds DIRECTORY
int main(int argc, char ** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s DIRECTORY\n", argv[0]);
        return 2;
    }
    constexpr std::size_t longest = 4096;
    unsigned int number = 0;
    for (test::CaptureVariant const & variant : test::captureVariants()) {
        if (variant.bytes.size() > longest)
            continue;
        std::filesystem::path const path = std::filesystem::path(argv[1]) / std::to_string(number++);
        std::ofstream file(path, std::ios::binary);
        file << variant.bytes;
        if (!file.flush()) {
            std::fprintf(stderr, "%s can't be written\n", path.c_str());
            return 1;
        }
    }
    return 0;
}
