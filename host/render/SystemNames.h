#pragma once

#include "host/render/Names.h"
#include "host/render/Vendors.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace ketmon {

// The names that this machine has: services from the system's database, protocols from tables of ours,
// vendors where the registry's list is installed, and the host names that it was given.
class CSystemNames : public CNames
{
public:
    void setHosts(std::map<std::string, std::string> hosts) { m_hosts = std::move(hosts); }

    std::string service(CTransport transport, std::uint32_t port) const override;
    std::string protocol(std::uint32_t code) const override;
    std::string ipProtocol(std::uint32_t code) const override;
    std::string vendor(std::string const & mac) const override;
    std::string host(std::string const & address) const override;

private:
    CVendors m_vendors;
    std::map<std::string, std::string> m_hosts;
};

// Knows no name, and remembers which hosts it was asked for, each once, in the order of the questions: what
// reaches a picture is found by drawing it once with this.
class CAskedNames : public CNames
{
public:
    std::string host(std::string const & address) const override;

    std::vector<std::string> const & hosts() const { return m_hosts; }

private:
    mutable std::vector<std::string> m_hosts;
    mutable std::set<std::string> m_known;
};

} // namespace ketmon
