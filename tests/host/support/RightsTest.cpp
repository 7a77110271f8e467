#include "host/support/Rights.h"

#include "host/support/Failure.h"
#include "tests/host/Program.h"
#include "tests/host/Sandboxed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <grp.h>
#include <map>
#include <netinet/in.h>
#include <sstream>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace ketmon;
using test::hasLandlock;
using test::hasSystemCallFilter;
using testing::HasSubstr;

namespace {

// What was tried, and how it went: 0 or the error.
using Results = std::map<std::string, int>;

struct Report
{
    int status = 0; // as waitpid gives it
    std::string rights;
    Results results;
};

int errorOf(long result)
{
    return result < 0 ? errno : 0;
}

// Does this in a process of its own once that gave up its rights, and gives what was written of it.
Report behind(CRightsOptions const & options, CNeeds const & needs,
              std::function<void(std::function<void(std::string const &, int)> const & told)> const & body)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    pid_t const child = fork();
    if (child == 0) {
        auto const told = [&](std::string const & name, int value) {
            std::string const line = name + '\t' + std::to_string(value) + '\n';
            if (write(ends[1], line.data(), line.size()) < 0)
                _exit(126);
        };
        try {
            std::string const rights = dropRights(options, needs);
            told(rights, 0);
            body(told);
        } catch (CFailure const & failure) {
            told(failure.what(), failure.exitCode());
            _exit(failure.exitCode());
        }
        _exit(0);
    }
    close(ends[1]);
    std::string text;
    char block[4096];
    for (ssize_t count = read(ends[0], block, sizeof block); count > 0;
         count = read(ends[0], block, sizeof block))
        text.append(block, static_cast<std::size_t>(count));
    close(ends[0]);
    Report report;
    waitpid(child, &report.status, 0);
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::string const name = line.substr(0, line.find('\t'));
        // The first line is what was dropped, or why it couldn't be.
        if (report.rights.empty())
            report.rights = name;
        else
            report.results[name] = std::stoi(line.substr(name.size() + 1));
    }
    return report;
}

// What a process does that was taken over.
Report takenOver(CRightsOptions const & options, std::string const & readable, std::string const & other,
                 std::string const & fresh)
{
    int const made = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    Report const report = behind(options, {{readable}, true}, [&](auto const & told) {
        told("read what it needs", errorOf(open(readable.c_str(), O_RDONLY)));
        told("read another file", errorOf(open(other.c_str(), O_RDONLY)));
        told("list a folder", errorOf(open("/", O_RDONLY | O_DIRECTORY)));
        told("write what it needs", errorOf(open(readable.c_str(), O_WRONLY)));
        told("make a file", errorOf(open(fresh.c_str(), O_WRONLY | O_CREAT, 0600)));
        told("make a socket", errorOf(socket(AF_INET, SOCK_STREAM, 0)));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        told("bind a socket",
             errorOf(bind(made, reinterpret_cast<sockaddr const *>(&address), sizeof address)));
        told("make code",
             mmap(nullptr, 4096, PROT_READ | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) == MAP_FAILED
                 ? errno
                 : 0);
        pid_t const child = fork();
        if (child == 0)
            _exit(0);
        told("make a process", errorOf(child));
        if (child > 0)
            waitpid(child, nullptr, 0);
        std::thread([&] { told("make a thread", 0); }).join();
        execl("/bin/true", "true", nullptr);
        told("start a program", errno);
    });
    close(made);
    return report;
}

class TakenOver : public testing::Test
{
protected:
    ~TakenOver() override { unlink(fresh.c_str()); }

    test::TemporaryFile const readable{"read me"};
    test::TemporaryFile const other{"read me not"};
    std::string const fresh = readable.path() + "-fresh";
};

// That the others of this file fail for the sandbox and nothing else.
TEST_F(TakenOver, WithoutASandboxItDoesAllOfThat)
{
    Report const report = takenOver({"", Sandbox::off}, readable.path(), other.path(), fresh);

    EXPECT_THAT(report.rights, HasSubstr("any file and system call, for the sandbox is off"));
    ASSERT_EQ(report.results.size(), 10U);
    for (auto const & [name, error] : report.results)
        EXPECT_EQ(error, 0) << name;
    EXPECT_EQ(report.results.count("start a program"), 0U) << "it became another program";
    EXPECT_EQ(report.status, 0);
}

TEST_F(TakenOver, ItOpensNothingButWhatItNeeds)
{
    if (!hasLandlock())
        GTEST_SKIP() << "this kernel has no Landlock";

    Report const report = takenOver({}, readable.path(), other.path(), fresh);

    EXPECT_THAT(report.rights, HasSubstr("files by Landlock (ABI "));
    EXPECT_EQ(report.results.at("read what it needs"), 0);
    EXPECT_EQ(report.results.at("read another file"), EACCES);
    EXPECT_EQ(report.results.at("list a folder"), EACCES);
    EXPECT_NE(report.results.at("write what it needs"), 0);
    EXPECT_NE(report.results.at("make a file"), 0);
    EXPECT_NE(access(fresh.c_str(), F_OK), 0);
}

TEST_F(TakenOver, ItMakesNoSystemCallButThoseOfAnAgent)
{
    if (!hasSystemCallFilter())
        GTEST_SKIP() << "this build has no filter of system calls";

    Report const report = takenOver({}, readable.path(), other.path(), fresh);

    EXPECT_THAT(report.rights, HasSubstr("system calls by seccomp"));
    EXPECT_EQ(report.results.at("make a thread"), 0);
    EXPECT_EQ(report.results.at("read what it needs"), 0);
    for (char const * const name : {"write what it needs", "make a file", "make a socket", "bind a socket",
                                    "make code", "make a process", "start a program"})
        EXPECT_EQ(report.results.at(name), ENOSYS) << name;
    EXPECT_EQ(report.status, 0) << "it goes on";
}

TEST_F(TakenOver, WhenStrictItEnds)
{
    if (!hasSystemCallFilter() || !hasLandlock())
        GTEST_SKIP() << "no filter of system calls, or no Landlock";

    Report const report = behind({"", Sandbox::strict}, {{readable.path()}, true}, [&](auto const & told) {
        told("read what it needs", errorOf(open(readable.path().c_str(), O_RDONLY)));
        told("read another file", errorOf(open(other.path().c_str(), O_RDONLY)));
        std::thread([&] { told("make a thread", 0); }).join();
        static_cast<void>(socket(AF_INET, SOCK_STREAM, 0));
        told("still there", 0);
    });

    EXPECT_THAT(report.rights, HasSubstr("system calls by seccomp (strict)"));
    EXPECT_EQ(report.results,
              (Results{{"read what it needs", 0}, {"read another file", EACCES}, {"make a thread", 0}}));
    EXPECT_TRUE(WIFSIGNALED(report.status));
    EXPECT_EQ(WTERMSIG(report.status), SIGSYS);
}

// The own process, whose files the kernel makes anew whenever they are asked for.
TEST(Rights, WhatAProcessKnowsOfItselfCanBeRead)
{
    Report const report = behind({}, {}, [&](auto const & told) {
        told("memory", errorOf(open("/proc/self/statm", O_RDONLY)));
        told("time zone",
             errorOf(access("/etc/localtime", F_OK) == 0 ? open("/etc/localtime", O_RDONLY) : 0));
    });

    EXPECT_EQ(report.results, (Results{{"memory", 0}, {"time zone", 0}}));
}

TEST(Rights, RootBecomesAnotherUserWithoutCapabilities)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    constexpr int nobody = 65534;

    Report const report = behind({"nobody", Sandbox::off}, {}, [&](auto const & told) {
        uid_t real = 0;
        uid_t effective = 0;
        uid_t saved = 0;
        getresuid(&real, &effective, &saved);
        told("real user", static_cast<int>(real));
        told("effective user", static_cast<int>(effective));
        told("saved user", static_cast<int>(saved));
        told("group", static_cast<int>(getegid()));
        told("further groups", getgroups(0, nullptr));
        told("root again", errorOf(setuid(0)));
        for (char const * const set : {"CapInh", "CapPrm", "CapEff", "CapBnd", "CapAmb"})
            told(set, test::statusOf(getpid(), set) == "0000000000000000" ? 0 : 1);
        told("NoNewPrivs", std::stoi(test::statusOf(getpid(), "NoNewPrivs")));
    });

    EXPECT_THAT(report.rights, HasSubstr("no new privileges, user nobody"));
    EXPECT_EQ(report.results, (Results{{"real user", nobody},
                                       {"effective user", nobody},
                                       {"saved user", nobody},
                                       {"group", nobody},
                                       {"further groups", 0},
                                       {"root again", EPERM},
                                       {"CapInh", 0},
                                       {"CapPrm", 0},
                                       {"CapEff", 0},
                                       {"CapBnd", 0},
                                       {"CapAmb", 0},
                                       {"NoNewPrivs", 1}}));
}

TEST(Rights, RootThatStaysHasNoCapabilities)
{
    if (geteuid() != 0 || !test::hasCapabilities())
        GTEST_SKIP() << "only root has any to drop, and not in this build";

    Report const report = behind({"", Sandbox::off}, {{}, false}, [&](auto const & told) {
        told("another user", errorOf(setuid(1)));
        told("a raw socket", errorOf(socket(AF_INET, SOCK_RAW, IPPROTO_ICMP)));
        told("CapPrm", test::statusOf(getpid(), "CapPrm") == "0000000000000000" ? 0 : 1);
        told("CapBnd", test::statusOf(getpid(), "CapBnd") == "0000000000000000" ? 0 : 1);
    });

    EXPECT_THAT(report.rights, HasSubstr("rights: no capabilities, no new privileges, still root"));
    EXPECT_EQ(report.results,
              (Results{{"another user", EPERM}, {"a raw socket", EPERM}, {"CapPrm", 0}, {"CapBnd", 0}}));
}

TEST(Rights, WhoCantBecomeAUserIsRefused)
{
    Report const nobody = behind({"no-such-user", Sandbox::off}, {}, [](auto const &) {});

    EXPECT_EQ(nobody.rights, "--user: there is no user 'no-such-user'");
    EXPECT_EQ(WEXITSTATUS(nobody.status), exitBadInput);
}

// They keep all rights, which is told.
TEST(Rights, ThreadsThatWereThereBeforeAreToldOf)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    pid_t const child = fork();
    if (child == 0) {
        std::thread([] { pause(); }).detach();
        std::string const rights = dropRights({"", Sandbox::off}, {});
        _exit(write(ends[1], rights.data(), rights.size()) < 0 ? 1 : 0);
    }
    close(ends[1]);
    char block[4096];
    ssize_t const count = read(ends[0], block, sizeof block);
    close(ends[0]);
    waitpid(child, nullptr, 0);

    EXPECT_THAT(std::string(block, count > 0 ? static_cast<std::size_t>(count) : 0),
                HasSubstr("1 thread(s) that were there before keep what they had"));
}

} // namespace
