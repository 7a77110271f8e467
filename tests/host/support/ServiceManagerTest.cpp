#include "host/support/ServiceManager.h"

#include "host/support/Rights.h"
#include "tests/host/Program.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using ketmon::CServiceManager;
using std::chrono::microseconds;

namespace {

// What the manager of services does for one that it starts: it listens, and sets variables.
class Manager
{
public:
    explicit Manager(std::string const & name)
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        name.copy(address.sun_path, sizeof address.sun_path - 1);
        if (name[0] == '@')
            address.sun_path[0] = '\0';
        auto const length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
        if (bind(m_socket, reinterpret_cast<sockaddr const *>(&address), length) != 0)
            throw std::runtime_error("can't listen as a manager of services");
        setenv("NOTIFY_SOCKET", name.c_str(), 1);
    }
    ~Manager()
    {
        close(m_socket);
        for (char const * const name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"})
            unsetenv(name);
    }
    Manager(Manager const &) = delete;
    Manager & operator=(Manager const &) = delete;

    // The next message, one for which nobody has to wait; empty if there is none.
    std::string heard() const
    {
        char block[512];
        ssize_t const count = recv(m_socket, block, sizeof block, MSG_DONTWAIT);
        return count < 0 ? "" : std::string(block, static_cast<std::size_t>(count));
    }

private:
    int m_socket = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

class ServiceManager : public testing::Test
{
protected:
    ServiceManager() { unlink(path.c_str()); }
    ~ServiceManager() override { unlink(path.c_str()); }

    std::string const path = test::TemporaryFile("").path() + ".socket";
};

TEST_F(ServiceManager, HearsWhatTheServiceSays)
{
    Manager const manager(path);
    CServiceManager service;

    service.ready();
    EXPECT_EQ(manager.heard(), "READY=1");
    service.alive();
    EXPECT_EQ(manager.heard(), "WATCHDOG=1");
    service.status("5 frames, 1 console");
    EXPECT_EQ(manager.heard(), "STATUS=5 frames, 1 console");
    service.stopping();
    EXPECT_EQ(manager.heard(), "STOPPING=1");
    EXPECT_TRUE(service.there());
}

// What a session of a person's inherits is no sign of one.
TEST_F(ServiceManager, IsThereForTheProcessThatItStartedAlone)
{
    setenv("INVOCATION_ID", "0123456789abcdef0123456789abcdef", 1);
    EXPECT_FALSE(ketmon::isService());
    setenv("SYSTEMD_EXEC_PID", std::to_string(getppid()).c_str(), 1);
    EXPECT_FALSE(ketmon::isService());
    setenv("SYSTEMD_EXEC_PID", std::to_string(getpid()).c_str(), 1);
    EXPECT_TRUE(ketmon::isService());
    unsetenv("SYSTEMD_EXEC_PID");
    unsetenv("INVOCATION_ID");
    EXPECT_FALSE(ketmon::isService());

    setenv("NOTIFY_SOCKET", path.c_str(), 1);
    EXPECT_TRUE(ketmon::isService());
    unsetenv("NOTIFY_SOCKET");
}

TEST_F(ServiceManager, HearsAStatusOnceAndAsOneLine)
{
    Manager const manager(path);
    CServiceManager service;

    service.status("one\nREADY=1");
    service.status("one");

    EXPECT_EQ(manager.heard(), "STATUS=one");
    EXPECT_EQ(manager.heard(), "");
    service.status("two");
    EXPECT_EQ(manager.heard(), "STATUS=two");
}

TEST_F(ServiceManager, IsReachedByAnAbstractName)
{
    Manager const manager("@ketmon-test-" + std::to_string(getpid()));
    CServiceManager service;

    service.ready();

    EXPECT_EQ(manager.heard(), "READY=1");
}

// The sandbox has no right to make a socket.
TEST_F(ServiceManager, IsReachedFromASandbox)
{
    Manager const manager(path);
    pid_t const child = fork();
    if (child == 0) {
        CServiceManager service;
        static_cast<void>(ketmon::dropRights({}, {}));
        service.ready();
        service.alive();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);

    EXPECT_EQ(status, 0);
    EXPECT_EQ(manager.heard(), "READY=1");
    EXPECT_EQ(manager.heard(), "WATCHDOG=1");
}

TEST_F(ServiceManager, WantsToHearTwiceWithinItsPatience)
{
    Manager const manager(path);
    setenv("WATCHDOG_USEC", "30000000", 1);
    EXPECT_EQ(CServiceManager().watchdogInterval(), microseconds(15000000));

    setenv("WATCHDOG_PID", std::to_string(getpid()).c_str(), 1);
    EXPECT_EQ(CServiceManager().watchdogInterval(), microseconds(15000000));
}

TEST_F(ServiceManager, WatchesNobodyElse)
{
    Manager const manager(path);
    EXPECT_EQ(CServiceManager().watchdogInterval(), std::nullopt);
    setenv("WATCHDOG_USEC", "30000000", 1);
    setenv("WATCHDOG_PID", std::to_string(getppid()).c_str(), 1);
    EXPECT_EQ(CServiceManager().watchdogInterval(), std::nullopt);

    unsetenv("WATCHDOG_PID");
    for (char const * const nonsense : {"", "0", "-5", "30s", "99999999999999999999"}) {
        setenv("WATCHDOG_USEC", nonsense, 1);
        EXPECT_EQ(CServiceManager().watchdogInterval(), std::nullopt) << nonsense;
    }
}

TEST_F(ServiceManager, ThatIsntThereIsNoTrouble)
{
    for (std::string const & name :
         {std::string(), path, std::string("relative"), std::string("@"), "/" + std::string(200, 'x')}) {
        setenv("NOTIFY_SOCKET", name.c_str(), 1);
        CServiceManager service;
        service.ready();
        service.status("nobody hears that");
        EXPECT_FALSE(service.there()) << name;
    }
    unsetenv("NOTIFY_SOCKET");
}

// A service is no slower than its manager, which may be stopped or gone.
TEST_F(ServiceManager, ThatDoesntListenHoldsNobodyUp)
{
    auto manager = std::make_unique<Manager>(path);
    CServiceManager service;
    for (int i = 0; i < 5000; ++i)
        service.alive();
    EXPECT_EQ(manager->heard(), "WATCHDOG=1");

    manager.reset();
    service.alive();
}

} // namespace
