#pragma once

#include <string>
#include <vector>

namespace test {

// How the reading of a capture file ends.
enum Verdict
{
    whole,
    furtherThanLibpcap, // as whole, but libpcap gives up earlier; `frames` are those that it reads
    damaged,
    refused, // it isn't opened
};

// A small capture file that is special in one respect.
struct CaptureVariant
{
    std::string name;
    std::string bytes;
    unsigned int frames;
    Verdict verdict;
};

std::vector<CaptureVariant> captureVariants();

} // namespace test
