#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <utility>

namespace ketmon {

// Messages that wait to be sent, the first of which is being sent.
class CSendQueue
{
public:
    void push(std::string message)
    {
        m_messages.push_back(std::move(message));
        m_bytes += m_messages.back().size();
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
    // All but the oldest.
    void dropBehindFront()
    {
        for (; m_messages.size() > 1; m_messages.pop_back())
            m_bytes -= m_messages.back().size();
    }

private:
    std::size_t m_bytes = 0;
    std::deque<std::string> m_messages; // a message keeps its place in memory while others come and go
};

} // namespace ketmon
