#include "host/agent/Identity.h"

#include "host/support/Failure.h"
#include "host/support/Log.h"
#include "host/wire/Asio.h"

#include <boost/asio/ip/host_name.hpp>
#include <fmt/core.h>

#include <charconv>
#include <fstream>
#include <random>

namespace ketmon {

namespace {

CIdentity newIdentity()
{
    std::random_device source;
    CIdentity identity{};
    for (unsigned char & byte : identity)
        byte = static_cast<unsigned char>(source());
    return identity;
}

} // namespace

std::string identityText(CIdentity const & identity)
{
    std::string text;
    for (unsigned char const byte : identity)
        text += fmt::format("{:02x}", byte);
    return text;
}

CIdentity parsedIdentity(std::string const & text)
{
    CIdentity identity{};
    bool good = text.size() == 2 * identity.size();
    for (std::size_t i = 0; good && i < identity.size(); ++i) {
        char const * const digits = text.data() + 2 * i;
        auto const [stop, error] = std::from_chars(digits, digits + 2, identity[i], 16);
        good = error == std::errc() && stop == digits + 2;
    }
    if (!good)
        throw CFailure(exitBadInput, "--identity: it must be 32 hexadecimal digits");
    return identity;
}

CIdentity keptIdentity(std::string const & folder, CLog & log)
{
    if (folder.empty())
        return newIdentity();
    std::string const path = folder + "/identity";
    std::string text;
    if (std::ifstream(path) >> text) {
        try {
            return parsedIdentity(text);
        } catch (CFailure const &) {
            log.warn(path + ": has no identity, and a new one takes its place");
        }
    }
    CIdentity const identity = newIdentity();
    std::ofstream file(path, std::ios::trunc);
    file << identityText(identity) << '\n' << std::flush;
    if (!file)
        log.warn(path + ": can't be written, so the agent has another identity next time");
    return identity;
}

std::string hostName()
{
    CErrorCode error;
    std::string const name = asio::ip::host_name(error);
    return error || name.empty() ? "agent" : name;
}

} // namespace ketmon
