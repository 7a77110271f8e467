#pragma once

// What the program and the module that it loads and unloads tell each other. The program isn't linked with
// the library, so nothing here names it.
namespace unloading {

struct Report
{
    // The module tells what it found wrong.
    void (*failed)(char const * what, int line) = nullptr;

    // Formats that the module made and left in the library's lists, and how many of them were deleted.
    int formatsLeft = 0;
    int formatsDeleted = 0;

    // Objects of the library in the order in which they must be torn down.
    void const * objects[64] = {};
    int objectCount = 0;
};

// The module's entry points, found by name. Each uses all of the library; the second one takes its formats
// out again.
using Use = void(Report * report);
constexpr char useAndLeave[] = "useAndLeave";
constexpr char useAndTakeOut[] = "useAndTakeOut";

} // namespace unloading
