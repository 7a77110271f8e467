#pragma once

#include <boost/asio/error.hpp>
#include <boost/system/error_code.hpp>

// The network as the host knows it. Whoever uses more of it includes that part's own header.
namespace ketmon {

namespace asio = boost::asio;
using CErrorCode = boost::system::error_code;

} // namespace ketmon
