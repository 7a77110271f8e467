#pragma once

#include "host/wire/Asio.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>

#include <functional>
#include <thread>

namespace ketmon {

// Hears SIGINT and SIGTERM for as long as it lives, on a thread of its own: also while the thread that made it is stuck
// in a write. At the first it calls `interrupted`, there; a second one ends the program at once, with exit status 0.
class CSignalWatch
{
public:
    explicit CSignalWatch(std::function<void()> interrupted);
    ~CSignalWatch();
    CSignalWatch(CSignalWatch const &) = delete;
    CSignalWatch & operator=(CSignalWatch const &) = delete;

private:
    void wait();

    std::function<void()> m_interrupted; // until the first
    asio::io_context m_io;
    asio::signal_set m_signals{m_io};
    std::jthread m_thread; // stands last: it uses the others
};

} // namespace ketmon
