#pragma once

#include <string>
#include <vector>

namespace ketmon {

// Which files a process may open from some moment on, through the kernel's Landlock.
//
// 1. Nothing can be written, made, removed or executed; what can be read are `readable`, folders with all that
//    is below them, by what lies there now. What isn't there is left out.
// 2. Where the kernel knows of it, no TCP socket can be connected or bound, and nobody outside is reached by
//    signals or abstract sockets.
// 3. What is open stays so.
class CLandlock
{
public:
    explicit CLandlock(std::vector<std::string> const & readable);
    ~CLandlock();
    CLandlock(CLandlock const &) = delete;
    CLandlock & operator=(CLandlock const &) = delete;

    // From here on it holds, for the calling thread and those that it starts. Takes that new privileges were
    // given up. False if it can't be had.
    bool restrictSelf();

    // What holds, such as "files by Landlock (ABI 7)".
    std::string const & text() const { return m_text; }

private:
    void allow(std::string const & path);
    void fail(char const * why, int error);

    int m_version = 0;
    int m_rules = -1;
    std::string m_text;
};

} // namespace ketmon
