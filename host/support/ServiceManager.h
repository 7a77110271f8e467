#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace ketmon {

// Whether a manager of services started this process, and not only one that it descends from.
bool isService();

// The manager of services that started this one, if it did and wants to hear of it: that the service is ready,
// that it lives, what it is about, that it ends. Without such a manager nothing happens.
//
// 1. Made before rights are dropped: the way to the manager is opened here, and not later.
// 2. All of it belongs to one thread, and nothing here waits or throws: what doesn't get through is lost.
// 3. `alive` is to be called by the loop that does the work, every `watchdogInterval`, so that a loop that hangs
//    is noticed; the manager ends the service that it doesn't hear of for twice as long.
class CServiceManager
{
public:
    CServiceManager();
    ~CServiceManager();
    CServiceManager(CServiceManager const &) = delete;
    CServiceManager & operator=(CServiceManager const &) = delete;

    bool there() const { return m_socket >= 0; }

    void ready();
    void alive();
    void status(std::string_view text); // one line, for people; the same again is not sent
    void stopping();

    // Half the time after which the manager takes the service for dead; none if it doesn't watch.
    std::optional<std::chrono::microseconds> watchdogInterval() const { return m_watchdog; }

private:
    void send(std::string const & message) const;

    int m_socket = -1;
    std::optional<std::chrono::microseconds> m_watchdog;
    std::string m_status;
};

} // namespace ketmon
