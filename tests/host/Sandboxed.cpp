#include "tests/host/Sandboxed.h"

#include "tests/host/Program.h"

#include <fstream>
#include <sstream>

#include <unistd.h>

namespace test {

namespace {

// Whether ketmon was built with a package that it can be without.
bool builtWith(std::string const & name)
{
    std::istringstream words(ketmon({"--version"}).output);
    bool with = false;
    for (std::string word; words >> word;) {
        if (word == "with" || word == "without")
            with = word == "with";
        else if (word == name || word == name + ',')
            return with;
    }
    return false;
}

} // namespace

// The same question as in the program: a build for sanitizers has no such filter.
bool sanitized()
{
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
    return true;
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return true;
#else
    return false;
#endif
}

bool hasLandlock()
{
    constexpr long sysCreateRuleset = 444;
    constexpr unsigned int askForVersion = 1;
    return syscall(sysCreateRuleset, nullptr, 0, askForVersion) > 0;
}

bool hasSystemCallFilter()
{
    return builtWith("seccomp") && !sanitized();
}

bool hasCapabilities()
{
    return builtWith("capng");
}

std::string statusOf(pid_t process, std::string const & name)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(file, line);)
        if (line.rfind(name + ":", 0) == 0) {
            std::string const value = line.substr(name.size() + 1);
            std::size_t const first = value.find_first_not_of(" \t");
            return first == value.npos ? "" : value.substr(first);
        }
    return {};
}

} // namespace test
