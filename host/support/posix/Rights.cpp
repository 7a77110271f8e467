#include "host/support/Rights.h"

#include "host/support/Capabilities.h"
#include "host/support/Failure.h"
#include "host/support/SystemCalls.h"
#include "host/support/posix/Landlock.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <optional>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace ketmon {

namespace {

// What libraries read of their own accord, whatever the process does: the time zone and the policy of memory.
constexpr char const * alwaysReadable[] = {"/etc/localtime", "/usr/share/zoneinfo",
                                           "/proc/sys/vm/overcommit_memory"};

struct CUser
{
    std::string name;
    uid_t id;
    gid_t group;
};

std::optional<CUser> userOf(std::string const & name)
{
    errno = 0;
    passwd const * const entry = getpwnam(name.c_str());
    if (!entry)
        return {};
    return CUser{name, entry->pw_uid, entry->pw_gid};
}

std::string currentUser()
{
    passwd const * const entry = getpwuid(geteuid());
    return entry ? entry->pw_name : std::to_string(geteuid());
}

// Who to become; nobody for staying who it is.
std::optional<CUser> chosenUser(CRightsOptions const & options, CNeeds const & needs)
{
    bool const isRoot = geteuid() == 0;
    if (options.user.empty())
        return isRoot && needs.mayBeUsualUser ? userOf(usualUser) : std::nullopt;
    std::optional<CUser> user = userOf(options.user);
    if (!user)
        throw CFailure(exitBadInput, fmt::format("--user: there is no user '{}'", options.user));
    if (!isRoot && user->id != geteuid())
        throw CFailure(exitBadInput, fmt::format("--user: only root can become '{}'", options.user));
    return isRoot ? user : std::nullopt;
}

void become(CUser const & user)
{
    // The groups first: afterwards there is no right to change them.
    if (setgroups(0, nullptr) != 0 || setresgid(user.group, user.group, user.group) != 0 ||
        setresuid(user.id, user.id, user.id) != 0)
        throw CFailure(exitFailure, fmt::format("can't become '{}': {}", user.name, std::strerror(errno)));
}

std::string userText(CRightsOptions const & options)
{
    if (geteuid() != 0)
        return "user " + currentUser();
    if (options.user.empty() && !userOf(usualUser))
        return fmt::format("still root, for there is no user {}", usualUser);
    return "still root";
}

// Its files are made anew whenever they are asked for. They stay below the same folder only while somebody
// holds that open, so this is open to the end.
void holdOwnProcess()
{
    static int const handle = open("/proc/self", O_PATH | O_CLOEXEC);
    static_cast<void>(handle);
}

std::vector<std::string> readableOf(CNeeds const & needs)
{
    holdOwnProcess();
    std::vector<std::string> readable = needs.readable;
    readable.insert(readable.end(), std::begin(alwaysReadable), std::end(alwaysReadable));
    readable.emplace_back("/proc/self");
    return readable;
}

// Counted before anything is dropped, for the others keep it all.
std::ptrdiff_t otherThreads()
{
    std::error_code error;
    std::filesystem::directory_iterator const threads("/proc/self/task", error);
    return error ? 0 : std::distance(begin(threads), end(threads)) - 1;
}

} // namespace

std::string dropRights(CRightsOptions const & options, CNeeds const & needs)
{
    std::optional<CUser> const user = chosenUser(options, needs);
    std::ptrdiff_t const others = otherThreads();
    std::vector<std::string> holds;
    bool all = true;

    // Made while the process may still look everywhere.
    std::optional<CLandlock> files;
    if (options.sandbox != Sandbox::off)
        files.emplace(readableOf(needs));

    clearBoundingSet();
    if (user)
        become(*user);
    CCapabilitiesLeft const capabilities = clearCapabilities();
    holds.push_back(capabilities.text);
    all = all && !capabilities.some;

    bool const noNew = prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0;
    holds.emplace_back(noNew ? "no new privileges" : "new privileges, for giving them up failed");
    holds.push_back(userText(options));
    if (others > 0)
        holds.push_back(fmt::format("{} thread(s) that were there before keep what they had", others));

    if (files) {
        all = files->restrictSelf() && all;
        holds.push_back(files->text());
        if (options.sandbox == Sandbox::strict && !(all && noNew))
            throw CFailure(exitFailure, fmt::format("--sandbox strict: {}", fmt::join(holds, ", ")));
        CSystemCallsLeft const calls = restrictSystemCalls(options.sandbox == Sandbox::strict);
        holds.push_back(calls.text);
        if (options.sandbox == Sandbox::strict && !calls.restricted)
            throw CFailure(exitFailure, fmt::format("--sandbox strict: {}", fmt::join(holds, ", ")));
    } else
        holds.emplace_back("any file and system call, for the sandbox is off");
    return fmt::format("rights: {}", fmt::join(holds, ", "));
}

} // namespace ketmon
