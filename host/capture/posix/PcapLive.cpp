#include "host/capture/posix/PcapLive.h"

#include "host/capture/posix/PcapTime.h"
#include "host/support/Failure.h"

#include <fmt/core.h>
#include <net/if.h>
#include <pcap/pcap.h>
#include <poll.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace ketmon {

namespace {

constexpr int snapLength = 262144;
constexpr int bufferSize = 16 << 20;
constexpr int patience = 100; // milliseconds until frames are handed over, and until a stop is seen
constexpr std::chrono::milliseconds countersAge(200);

// A capability belongs to the file itself and not to a link to it.
std::string programPath()
{
    std::error_code error;
    std::string const path = std::filesystem::read_symlink("/proc/self/exe", error).string();
    return error ? "PATH/ketmon" : path;
}

} // namespace

void CPcapLive::CCloser::operator()(pcap * handle) const
{
    pcap_close(handle);
}

CPcapLive::CPcapLive(std::string const & interface, std::string const & filter, Told told)
    : m_interface(interface),
      m_told(std::move(told))
{
    char message[PCAP_ERRBUF_SIZE] = "";
    m_handle.reset(pcap_create(interface.c_str(), message));
    if (!m_handle)
        throw CFailure(exitFailure, fmt::format("{}: {}", interface, message));
    activate();
    int const linkType = pcap_datalink(m_handle.get());
    if (linkType != DLT_EN10MB) {
        char const * const name = pcap_datalink_val_to_name(linkType);
        throw CFailure(exitFailure,
                       fmt::format("{}: the link type is {} ({}), and only Ethernet can be counted",
                                   interface, name ? name : "unknown", linkType));
    }
    setFilter(filter);
    if (pcap_setnonblock(m_handle.get(), 1, message) != 0)
        throw CFailure(exitFailure, fmt::format("{}: {}", interface, message));
    tell();
}

CPcapLive::~CPcapLive() = default;

void CPcapLive::activate()
{
    pcap * const handle = m_handle.get();
    pcap_set_snaplen(handle, snapLength);
    pcap_set_promisc(handle, 1);
    pcap_set_timeout(handle, patience);
    pcap_set_buffer_size(handle, bufferSize);
    pcap_set_tstamp_precision(handle, PCAP_TSTAMP_PRECISION_NANO);
    int const result = pcap_activate(handle);
    if (result == PCAP_ERROR_PERM_DENIED || result == PCAP_ERROR_PROMISC_PERM_DENIED)
        throw CFailure(
            exitFailure,
            fmt::format("{}: no permission to capture; run as root, or allow it to the program with "
                        "'setcap cap_net_raw=ep {}'",
                        m_interface, programPath()));
    if (result == PCAP_ERROR_NO_SUCH_DEVICE)
        throw CFailure(exitFailure, fmt::format("{}: there is no such interface", m_interface));
    if (result < 0) {
        std::string const reason = pcap_geterr(handle);
        throw CFailure(exitFailure, fmt::format("{}: {}", m_interface,
                                                reason.empty() ? pcap_statustostr(result) : reason));
    }
}

void CPcapLive::setFilter(std::string const & filter)
{
    if (filter.empty())
        return;
    bpf_program program{};
    if (pcap_compile(m_handle.get(), &program, filter.c_str(), 1, PCAP_NETMASK_UNKNOWN) != 0)
        throw CFailure(exitBadInput,
                       fmt::format("'{}' is no capture filter: {}", filter, pcap_geterr(m_handle.get())));
    int const result = pcap_setfilter(m_handle.get(), &program);
    pcap_freecode(&program);
    if (result != 0)
        throw CFailure(exitFailure, fmt::format("{}: {}", m_interface, pcap_geterr(m_handle.get())));
}

bool CPcapLive::next(CCapturedFrame & frame)
{
    while (!m_stopped.load(std::memory_order_relaxed)) {
        pcap_pkthdr * header = nullptr;
        unsigned char const * data = nullptr;
        int const result = pcap_next_ex(m_handle.get(), &header, &data);
        if (result < 0) {
            std::string const why = fmt::format("{}: {}", m_interface, pcap_geterr(m_handle.get()));
            if (!isThere())
                throw CInterfaceGone(why);
            throw CFailure(exitFailure, why);
        }
        if (result == 0) {
            wait();
            continue;
        }
        frame.data = data;
        frame.capturedLength = header->caplen;
        frame.length = header->len;
        frame.ticks = ticksOfNanoStamp(header->ts);
        tell();
        return true;
    }
    return false;
}

// Asked through the capture's own socket: there may be no right left to make another one.
bool CPcapLive::isThere() const
{
    ifreq request{};
    m_interface.copy(request.ifr_name, sizeof request.ifr_name - 1);
    return ioctl(pcap_fileno(m_handle.get()), SIOCGIFINDEX, &request) == 0;
}

void CPcapLive::wait()
{
    tell();
    pollfd poller{pcap_get_selectable_fd(m_handle.get()), POLLIN, 0};
    static_cast<void>(poll(&poller, 1, patience));
}

// The counters of libpcap may only be asked on the thread that reads frames.
void CPcapLive::tell()
{
    auto const now = std::chrono::steady_clock::now();
    if (now - m_lastTold < countersAge)
        return;
    m_lastTold = now;
    pcap_stat statistics{};
    if (!m_told || pcap_stats(m_handle.get(), &statistics) != 0)
        return;
    // What had no room in the buffer is among the received ones of this system.
    unsigned int const kept = statistics.ps_recv - std::min(statistics.ps_recv, statistics.ps_drop);
    m_told({kept, statistics.ps_drop, statistics.ps_ifdrop});
}

} // namespace ketmon
