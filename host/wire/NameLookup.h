#pragma once

#include "host/wire/StreamSocket.h"

#include <boost/asio/io_context.hpp>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ketmon {

// Finds the addresses of a name without being held up by it: the system's own way can take minutes, and can't be
// interrupted. What is asked when nobody wants it any more is left to itself.
class CNameLookup
{
public:
    using Found = std::function<void(CErrorCode error, std::vector<CStreamEndpoint> const & endpoints)>;

    explicit CNameLookup(asio::io_context & io);
    ~CNameLookup();
    CNameLookup(CNameLookup const &) = delete;
    CNameLookup & operator=(CNameLookup const &) = delete;

    // `found` is called from within the io_context, unless another search begins before that.
    void find(CEndpoint const & name, Found found);

private:
    struct CSearch;

    asio::io_context & m_io;
    std::shared_ptr<CSearch> m_search; // the one that is wanted
};

} // namespace ketmon
