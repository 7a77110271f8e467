#include "tests/support/System.h"

#include <unistd.h>

#include <sys/wait.h>

#include <csignal>
#include <fstream>

namespace test {

bool stoppedByADebugBreak(int status)
{
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGTRAP;
}

long residentMegabytes()
{
    std::ifstream file("/proc/self/statm");
    long total = 0;
    long resident = 0;
    file >> total >> resident;
    return (resident * (sysconf(_SC_PAGESIZE) >> 10)) >> 10;
}

} // namespace test
