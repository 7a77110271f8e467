#include "host/support/posix/Landlock.h"

#include <fmt/core.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ketmon {

namespace {

// The interface of the kernel, whose header is too old on some systems that have the calls. The numbers are the
// same on all processors.
constexpr long sysCreateRuleset = 444;
constexpr long sysAddRule = 445;
constexpr long sysRestrictSelf = 446;

struct CRulesetAttributes
{
    std::uint64_t files;
    std::uint64_t network; // from version 4
    std::uint64_t scopes;  // from version 6
};

struct [[gnu::packed]] CPathBeneath
{
    std::uint64_t allowed;
    std::int32_t parent;
};

static_assert(sizeof(CPathBeneath) == 12, "the kernel's own form has no padding");

constexpr unsigned int askForVersion = 1;
constexpr int rulePathBeneath = 1;
constexpr std::uint64_t readFile = 1U << 2;
constexpr std::uint64_t readFolder = 1U << 3;

// Rights that a version adds to those before it.
struct CVersion
{
    int version;
    CRulesetAttributes added;
};

constexpr CVersion versions[] = {
    {1, {0x1fff, 0, 0}},   // execute, write, read, list, remove and make of each kind
    {2, {1U << 13, 0, 0}}, // moving between folders
    {3, {1U << 14, 0, 0}}, // truncating
    {4, {0, 0x3, 0}},      // binding and connecting TCP
    {5, {1U << 15, 0, 0}}, // controlling devices
    {6, {0, 0, 0x3}},      // abstract sockets and signals to others
};

CRulesetAttributes known(int version)
{
    CRulesetAttributes all{};
    for (CVersion const & one : versions)
        if (one.version <= version) {
            all.files |= one.added.files;
            all.network |= one.added.network;
            all.scopes |= one.added.scopes;
        }
    return all;
}

} // namespace

CLandlock::CLandlock(std::vector<std::string> const & readable)
{
    m_version = static_cast<int>(syscall(sysCreateRuleset, nullptr, 0, askForVersion));
    if (m_version <= 0) {
        m_text = "any file, for this kernel has no Landlock";
        return;
    }
    // What a kernel doesn't know of is zero in it, and then it may be longer than the kernel's own.
    CRulesetAttributes const attributes = known(m_version);
    m_rules = static_cast<int>(syscall(sysCreateRuleset, &attributes, sizeof attributes, 0));
    if (m_rules < 0) {
        fail("making rules", errno);
        return;
    }
    for (std::string const & path : readable)
        allow(path);
}

CLandlock::~CLandlock()
{
    if (m_rules >= 0)
        close(m_rules);
}

void CLandlock::allow(std::string const & path)
{
    int const handle = open(path.c_str(), O_PATH | O_CLOEXEC);
    if (handle < 0)
        return;
    struct stat about
    {};
    if (fstat(handle, &about) == 0) {
        bool const folder = S_ISDIR(about.st_mode);
        CPathBeneath const rule{folder ? readFile | readFolder : readFile, handle};
        // One that can't be added is one that can't be read: it will be told when somebody tries.
        static_cast<void>(syscall(sysAddRule, m_rules, rulePathBeneath, &rule, 0));
    }
    close(handle);
}

bool CLandlock::restrictSelf()
{
    if (m_rules < 0)
        return false;
    if (syscall(sysRestrictSelf, m_rules, 0) != 0) {
        fail("restricting", errno);
        return false;
    }
    m_text = fmt::format("files by Landlock (ABI {})", m_version);
    return true;
}

void CLandlock::fail(char const * why, int error)
{
    m_text = fmt::format("any file, for Landlock failed at {}: {}", why, std::strerror(error));
}

} // namespace ketmon
