#pragma once

#include "host/wire/Asio.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>

#include <functional>

namespace ketmon {

// The signals that an agent hears, from when it is made until it is gone.
class CSignals
{
public:
    // Both are called from within the io_context, which must live longer: `ending` for each signal to end, `hungUp` for
    // a terminal that is gone.
    CSignals(asio::io_context & io, std::function<void()> ending, std::function<void()> hungUp);

    // Waits for the next one; also if an exception has ended that. They are heard one after another from then on.
    void revive();

private:
    void heard(int number);

    std::function<void()> m_ending;
    std::function<void()> m_hungUp;
    asio::signal_set m_signals;
    bool m_waits = false;
};

} // namespace ketmon
