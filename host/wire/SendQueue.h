#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <utility>

namespace ketmon {

// Messages that wait to be sent to one console. A console that doesn't keep up is told by its backlog: what
// waits is at most the limit and one message more, however large that one is.
class CSendQueue
{
public:
    explicit CSendQueue(std::size_t limit) : m_limit(limit) {}

    // False, with nothing queued, if more than the limit waits already.
    bool push(std::string message)
    {
        if (m_bytes > m_limit)
            return false;
        m_bytes += message.size();
        m_messages.push_back(std::move(message));
        return true;
    }

    bool empty() const { return m_messages.empty(); }
    std::size_t bytes() const { return m_bytes; }

    // The oldest message; it stays where it is until it is popped.
    std::string const & front() const { return m_messages.front(); }
    void pop()
    {
        m_bytes -= m_messages.front().size();
        m_messages.pop_front();
    }

private:
    std::size_t m_limit;
    std::size_t m_bytes = 0;
    std::deque<std::string> m_messages; // a message keeps its place in memory while others come and go
};

} // namespace ketmon
