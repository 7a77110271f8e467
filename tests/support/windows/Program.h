#pragma once

#include <filesystem>
#include <string>

namespace test {

struct Outcome
{
    unsigned long status; // the exit status
    std::string output;   // what was written to standard output, with "\n" at the end of lines
};

// Runs a program with arguments, none of which may need quotes, in a working directory, and waits for it.
Outcome run(std::filesystem::path const & program, std::string const & arguments,
            std::filesystem::path const & workingDirectory);

// A new directory that goes with the object.
class ScratchDirectory
{
public:
    ScratchDirectory();
    ~ScratchDirectory();
    ScratchDirectory(ScratchDirectory const &) = delete;
    ScratchDirectory & operator=(ScratchDirectory const &) = delete;

    std::filesystem::path const path;
};

// The directory of the running program.
std::filesystem::path programDirectory();

} // namespace test
