#include "host/render/HostNames.h"

#include <algorithm>
#include <memory>
#include <optional>

#include <ares.h>
#include <arpa/inet.h>
#include <netdb.h>
#include <sys/select.h>

namespace ketmon {

namespace {

using CClock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds longestWait{100};
constexpr std::size_t mostAtOnce = 32; // questions under way

struct CLibrary
{
    CLibrary() : up(ares_library_init(ARES_LIB_INIT_ALL) == ARES_SUCCESS) {}
    ~CLibrary()
    {
        if (up)
            ares_library_cleanup();
    }
    CLibrary(CLibrary const &) = delete;
    CLibrary & operator=(CLibrary const &) = delete;

    bool up;
};

struct CChannelEnd
{
    void operator()(ares_channel channel) const { ares_destroy(channel); }
};

using CChannel = std::unique_ptr<ares_channeldata, CChannelEnd>;

// Nothing of the answers may arrive once their map is gone: the channel, whose end cancels what is under way,
// goes first.
class CLookups
{
public:
    explicit CLookups(CHostNameLimits const & limits) : m_channel(opened(limits)) {}

    std::map<std::string, std::string> run(std::vector<std::string> const & addresses, CClock::time_point end,
                                           std::function<bool()> const & stopped)
    {
        std::size_t next = 0;
        while (m_channel && (next < addresses.size() || m_open > 0) && CClock::now() < end && !stopped()) {
            while (next < addresses.size() && m_open < mostAtOnce)
                ask(addresses[next++]);
            wait(end);
        }
        m_channel.reset();
        return std::move(m_names);
    }

private:
    struct CQuestion
    {
        CLookups & lookups;
        std::string address;
    };

    static CChannel opened(CHostNameLimits const & limits)
    {
        ares_options options{};
        options.timeout = static_cast<int>(std::max<long long>(limits.time.count() / 2, 1));
        options.tries = 2;
        ares_channel channel = nullptr;
        if (ares_init_options(&channel, &options, ARES_OPT_TIMEOUTMS | ARES_OPT_TRIES) != ARES_SUCCESS)
            return nullptr;
        CChannel open(channel);
        if (!limits.servers.empty() &&
            ares_set_servers_ports_csv(channel, limits.servers.c_str()) != ARES_SUCCESS)
            return nullptr;
        return open;
    }

    void ask(std::string const & address)
    {
        // Of either family.
        in6_addr bits{};
        bool const is4 = inet_pton(AF_INET, address.c_str(), &bits) == 1;
        if (!is4 && inet_pton(AF_INET6, address.c_str(), &bits) != 1)
            return;
        ++m_open;
        // Owned by its answer, of which each question gets exactly one.
        auto * const question = new CQuestion{*this, address};
        ares_gethostbyaddr(
            m_channel.get(), &bits, is4 ? sizeof(in_addr) : sizeof bits, is4 ? AF_INET : AF_INET6,
            [](void * context, int status, int, hostent * host) {
                std::unique_ptr<CQuestion> const answered(static_cast<CQuestion *>(context));
                --answered->lookups.m_open;
                if (status == ARES_SUCCESS && host && host->h_name)
                    answered->lookups.m_names[answered->address] = host->h_name;
            },
            question);
    }

    void wait(CClock::time_point end)
    {
        auto const left = std::chrono::duration_cast<std::chrono::microseconds>(end - CClock::now());
        auto const longest =
            std::clamp<std::chrono::microseconds>(left, std::chrono::microseconds(0), longestWait);
        timeval most{0, static_cast<suseconds_t>(longest.count())};
        timeval own{};
        timeval * const until = ares_timeout(m_channel.get(), &most, &own);
        fd_set readable;
        fd_set writable;
        FD_ZERO(&readable);
        FD_ZERO(&writable);
        int const count = ares_fds(m_channel.get(), &readable, &writable);
        if (count > 0 && select(count, &readable, &writable, nullptr, until) < 0) {
            FD_ZERO(&readable);
            FD_ZERO(&writable);
        }
        ares_process(m_channel.get(), &readable, &writable);
    }

    std::map<std::string, std::string> m_names;
    std::size_t m_open = 0;
    CChannel m_channel;
};

} // namespace

std::string hostNameResolver()
{
    return std::string("c-ares ") + ares_version(nullptr);
}

std::map<std::string, std::string> hostNames(std::vector<std::string> const & addresses,
                                             CHostNameLimits const & limits,
                                             std::function<bool()> const & stopped)
{
    CClock::time_point const end = CClock::now() + limits.time;
    CLibrary const library;
    if (!library.up)
        return {};
    std::vector<std::string> const first(
        addresses.begin(),
        addresses.begin() + static_cast<std::ptrdiff_t>(std::min(addresses.size(), limits.addresses)));
    return CLookups(limits).run(first, end, stopped);
}

} // namespace ketmon
