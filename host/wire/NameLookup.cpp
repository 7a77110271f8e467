#include "host/wire/NameLookup.h"

#include <boost/asio/post.hpp>

#include <mutex>
#include <thread>

namespace ketmon {

using asio::ip::tcp;

// Shared with the thread that searches, which may outlive everything else.
struct CNameLookup::CSearch
{
    std::mutex mutex;
    asio::io_context * io; // under the mutex; null once nobody wants it
    Found found;
    CErrorCode error;
    std::vector<CStreamEndpoint> endpoints;

    void cancel()
    {
        std::scoped_lock const lock(mutex);
        io = nullptr;
    }

    bool wanted()
    {
        std::scoped_lock const lock(mutex);
        return io != nullptr;
    }

    void search(CEndpoint const & name)
    {
        asio::io_context own;
        auto const results = tcp::resolver(own).resolve(name.address, std::to_string(name.port),
                                                        tcp::resolver::numeric_service, error);
        for (auto const & result : results)
            endpoints.emplace_back(result.endpoint());
    }
};

CNameLookup::CNameLookup(asio::io_context & io) : m_io(io) {}

CNameLookup::~CNameLookup()
{
    if (m_search)
        m_search->cancel();
}

void CNameLookup::find(CEndpoint const & name, Found found)
{
    if (m_search)
        m_search->cancel();
    m_search = std::make_shared<CSearch>();
    m_search->io = &m_io;
    m_search->found = std::move(found);
    auto const hand = [](std::shared_ptr<CSearch> const & search) {
        std::scoped_lock const lock(search->mutex);
        if (search->io)
            asio::post(*search->io, [search] {
                if (search->wanted())
                    search->found(search->error, search->endpoints);
            });
    };
    if (name.local) {
        m_search->endpoints.push_back(localEndpoint(name.address));
        hand(m_search);
        return;
    }
    // Nothing in there may be torn down by the end of the program while the thread is still at it.
    std::thread([search = m_search, name, hand] {
        try {
            search->search(name);
        } catch (std::exception const &) {
            search->error = asio::error::no_memory;
        }
        try {
            hand(search);
        } catch (std::exception const &) {
            // Whoever waits gives up in its own time.
        }
    }).detach();
}

} // namespace ketmon
