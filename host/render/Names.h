#pragma once

#include "host/support/Services.h"

#include <cstdint>
#include <string>

namespace ketmon {

// What numbers are called, for people. An empty text is the answer for what has no name; this class has none
// for anything. No lookup may wait for the network: host names are known before they are asked for here.
class CNames
{
public:
    virtual ~CNames() = default;

    virtual std::string service(CTransport, std::uint32_t /* port */) const { return {}; }
    // An Ethernet type or, up to 0xFF, an LLC service access point.
    virtual std::string protocol(std::uint32_t /* code */) const { return {}; }
    virtual std::string ipProtocol(std::uint32_t /* code */) const { return {}; }
    virtual std::string vendor(std::string const & /* mac */) const { return {}; }
    virtual std::string host(std::string const & /* address */) const { return {}; }
};

} // namespace ketmon
