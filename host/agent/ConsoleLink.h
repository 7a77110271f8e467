#pragma once

#include "host/wire/Asio.h"
#include "host/wire/Protocol.h"
#include "host/wire/Selection.h"
#include "host/wire/SendQueue.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include <array>
#include <functional>
#include <memory>
#include <string>

namespace ketmon {

// What all consoles of an agent share.
struct CLinkContext
{
    KetStats::CKetrinStatManager & manager;
    KetStats::CAgentStatistic & shape; // any tree
    std::uint32_t interval;            // milliseconds
    std::size_t backlog;
    // Told of a console that said hello, of one that is gone, and what is worth a line on stderr.
    std::function<void()> joined;
    std::function<void()> gone;
    std::function<void(std::string const & line, bool always)> log;
};

// The agent's end of one connection, on the thread of its io_context.
//
//     greeting    waits for hello, and not for ever
//     serving     samples go out as they come
//     ending      what is queued goes out, then waits for the console to hang up, and not for ever
//     closed      for good
class CConsoleLink : public std::enable_shared_from_this<CConsoleLink>
{
public:
    CConsoleLink(asio::ip::tcp::socket socket, CLinkContext const & context);

    void start();
    // Samples and sends: all that is selected the first time, then what changed.
    void sample();
    // Sends the end and closes.
    void end(unsigned long long frames);
    void close();

    bool serving() const { return m_state == serves; }
    bool leaving() const { return m_state == ending; }
    bool closed() const { return m_state == isClosed; }

private:
    enum State
    {
        greeting,
        serves,
        ending,
        isClosed,
    };

    void receive();
    void received(std::string_view bytes);
    void greeted(CMessage const & message);
    void refuse(std::string const & reason);
    void send(std::string message);
    void write();
    void finish();
    void wait(std::chrono::seconds time, std::string const & complaint);
    void drop(std::string const & reason);

    asio::ip::tcp::socket m_socket;
    asio::steady_timer m_timer;
    CLinkContext const & m_context;
    std::string m_peer;
    State m_state = greeting;
    CMessageReader m_reader{largestToAgent};
    CSendQueue m_queue;
    bool m_writing = false;
    bool m_sampled = false;
    std::unique_ptr<KetStats::CStatSnapshot> m_snapshot; // once greeted
    std::array<char, 4096> m_block{};
};

} // namespace ketmon
