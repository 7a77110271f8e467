#include "host/support/SystemCalls.h"

#include <fmt/core.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <initializer_list>
#include <memory>
#include <net/if.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace ketmon {

namespace {

// Whatever their arguments. Some exist on some processors only.
constexpr char const * allowed[] = {
    // what is open
    "read", "readv", "pread64", "preadv", "write", "writev", "lseek", "_llseek", "close", "fstat", "fstat64",
    // where files are, and folders; opening is below
    "stat", "stat64", "newfstatat", "fstatat64", "statx", "access", "faccessat", "faccessat2", "readlink",
    "readlinkat", "getdents64",
    // consoles, and the packets of an interface; nothing makes a socket, connects or listens
    "accept", "accept4", "recv", "recvfrom", "recvmsg", "send", "sendto", "sendmsg", "shutdown", "getsockopt",
    "setsockopt", "getsockname", "getpeername",
    // waiting
    "poll", "ppoll", "select", "_newselect", "pselect6", "epoll_create1", "epoll_ctl", "epoll_wait",
    "epoll_pwait", "epoll_pwait2", "eventfd2", "timerfd_create", "timerfd_settime", "timerfd_gettime", "pipe",
    "pipe2", "nanosleep", "clock_nanosleep", "restart_syscall",
    // memory
    "brk", "munmap", "mremap", "madvise",
    // threads
    "futex", "set_robust_list", "get_robust_list", "rseq", "membarrier", "sched_yield", "sched_getaffinity",
    "sched_getparam", "sched_getscheduler", "exit", "exit_group", "gettid", "getpid",
    // time
    "clock_gettime", "clock_gettime64", "clock_getres", "gettimeofday", "time",
    // signals
    "rt_sigaction", "rt_sigprocmask", "rt_sigreturn", "rt_sigpending", "rt_sigtimedwait", "sigaltstack",
    "sigreturn",
    // who and where it is
    "getuid", "geteuid", "getgid", "getegid", "uname", "sysinfo", "getrusage", "getrandom"};

class CFilter
{
public:
    explicit CFilter(std::uint32_t otherwise) : m_filter(seccomp_init(otherwise), &seccomp_release)
    {
        if (!m_filter)
            m_error = ENOMEM;
    }

    // A call that this processor doesn't have needs no rule.
    void add(std::uint32_t action, char const * name, std::initializer_list<scmp_arg_cmp> arguments = {})
    {
        int const number = seccomp_syscall_resolve_name(name);
        if (m_error != 0 || number == __NR_SCMP_ERROR)
            return;
        m_error = -seccomp_rule_add_array(m_filter.get(), action, number,
                                          static_cast<unsigned int>(arguments.size()), arguments.begin());
    }

    void allow(char const * name, std::initializer_list<scmp_arg_cmp> arguments = {})
    {
        add(SCMP_ACT_ALLOW, name, arguments);
    }

    // 0, or what went wrong.
    int load()
    {
        if (m_error == 0)
            m_error = -seccomp_load(m_filter.get());
        return m_error;
    }

private:
    std::unique_ptr<void, decltype(&seccomp_release)> m_filter;
    int m_error = 0;
};

scmp_arg_cmp compared(unsigned int argument, scmp_compare how, scmp_datum_t first, scmp_datum_t second = 0)
{
    return {argument, how, first, second};
}

scmp_arg_cmp without(unsigned int argument, int bits)
{
    return compared(argument, SCMP_CMP_MASKED_EQ, static_cast<scmp_datum_t>(bits));
}

scmp_arg_cmp with(unsigned int argument, int bits)
{
    return compared(argument, SCMP_CMP_MASKED_EQ, static_cast<scmp_datum_t>(bits),
                    static_cast<scmp_datum_t>(bits));
}

// The upper half of an argument that is an int may hold anything.
scmp_arg_cmp equals(unsigned int argument, unsigned long value)
{
    return compared(argument, SCMP_CMP_MASKED_EQ, 0xffffffffULL, value & 0xffffffffULL);
}

void addRules(CFilter & filter, bool strict)
{
    for (char const * const name : allowed)
        filter.allow(name);

    constexpr int writing = O_WRONLY | O_RDWR | O_CREAT | O_TRUNC | O_APPEND;
    filter.allow("openat", {without(2, writing)});
    filter.allow("open", {without(1, writing)});
    for (int const command : {F_GETFD, F_SETFD, F_GETFL, F_SETFL}) {
        filter.allow("fcntl", {equals(1, static_cast<unsigned long>(command))});
        filter.allow("fcntl64", {equals(1, static_cast<unsigned long>(command))});
    }
    for (unsigned long const request :
         {static_cast<unsigned long>(FIONBIO), static_cast<unsigned long>(FIONREAD),
          static_cast<unsigned long>(TCGETS), static_cast<unsigned long>(TIOCGWINSZ),
          static_cast<unsigned long>(SIOCGIFNAME), static_cast<unsigned long>(SIOCGIFINDEX),
          static_cast<unsigned long>(SIOCGIFFLAGS), static_cast<unsigned long>(SIOCGIFMTU)})
        filter.allow("ioctl", {equals(1, request)});

    for (char const * const name : {"mmap", "mmap2", "mprotect"})
        filter.allow(name, {without(2, PROT_EXEC)});
    // The C library tries clone3 first, whose flags can't be seen from here.
    if (strict)
        filter.add(SCMP_ACT_ERRNO(ENOSYS), "clone3");
    filter.allow("clone", {with(0, CLONE_THREAD)});
    filter.allow("tgkill", {equals(0, static_cast<unsigned long>(getpid()))});
    filter.allow("prctl", {equals(0, PR_SET_NAME)});
    filter.allow("prctl", {equals(0, PR_GET_NAME)});
    // Limits may be looked at, not set.
    filter.allow("prlimit64", {equals(0, 0), compared(2, SCMP_CMP_EQ, 0)});
    filter.allow("getrlimit");
}

// Sanitizers make system calls of their own, of which nobody has a list.
#if defined(__has_feature)
#define KETMON_HAS_FEATURE(x) __has_feature(x)
#else
#define KETMON_HAS_FEATURE(x) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) ||                                         \
    KETMON_HAS_FEATURE(address_sanitizer) || KETMON_HAS_FEATURE(thread_sanitizer) ||                         \
    KETMON_HAS_FEATURE(memory_sanitizer)
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

} // namespace

CSystemCallsLeft restrictSystemCalls(bool strict)
{
    if constexpr (sanitized)
        return {false, "any system call, in this build for sanitizers"};
    CFilter filter(strict ? SCMP_ACT_KILL_PROCESS : SCMP_ACT_ERRNO(ENOSYS));
    addRules(filter, strict);
    if (int const error = filter.load(); error != 0)
        return {false, fmt::format("any system call, for seccomp failed: {}", std::strerror(error))};
    return {true, strict ? "system calls by seccomp (strict)" : "system calls by seccomp"};
}

} // namespace ketmon
