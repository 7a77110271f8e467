#include "host/capture/posix/PcapLive.h"

#include "host/capture/posix/InterfaceCounters.h"
#include "host/capture/posix/PcapTime.h"
#include "host/support/Log.h"

#include <fmt/core.h>
#include <linux/if_packet.h>
#include <pcap/pcap.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <system_error>

namespace ketmon {

namespace {

constexpr int patience = 100; // milliseconds until frames are handed over
constexpr std::chrono::milliseconds lookAge(200);
constexpr std::size_t blockBytes = 512 << 10;
// A capture whose interface is up may fail once or so, when that has been down for a moment.
constexpr unsigned int mostFailures = 10;

// The number of the interface that the capture is bound to. Its name might be another one's by now.
unsigned int boundIndex(pcap * handle)
{
    sockaddr_ll address{};
    socklen_t size = sizeof address;
    int const bound = getsockname(pcap_fileno(handle), reinterpret_cast<sockaddr *>(&address), &size);
    return bound == 0 && address.sll_family == AF_PACKET ? static_cast<unsigned int>(address.sll_ifindex) : 0;
}

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

CPcapLive::CPcapLive(CLiveOptions const & options, CInterfaceCounters & counters, CLog & log)
    : m_interface(options.interface),
      m_counters(counters),
      m_log(log)
{
    char message[PCAP_ERRBUF_SIZE] = "";
    m_handle.reset(pcap_create(m_interface.c_str(), message));
    if (!m_handle)
        throw CFailure(exitFailure, fmt::format("{}: {}", m_interface, message));
    activate(options);
    m_linkType = usualLinkType(static_cast<std::uint32_t>(pcap_datalink(m_handle.get())));
    if (!isCountable(m_linkType))
        throw CFailure(exitFailure, fmt::format("{}: the link type is {}, which can't be counted",
                                                m_interface, linkTypeText(m_linkType)));
    setFilter(options.filter);
    if (pcap_setnonblock(m_handle.get(), 1, message) != 0)
        throw CFailure(exitFailure, fmt::format("{}: {}", m_interface, message));
    makeRoomForBlocks();
    m_index = boundIndex(m_handle.get());
    m_counters.beginCapture();
    tellCounters();
}

CPcapLive::~CPcapLive() = default;

void CPcapLive::activate(CLiveOptions const & options)
{
    pcap * const handle = m_handle.get();
    pcap_set_snaplen(handle, static_cast<int>(options.snapLength == 0 ? wholeFrames : options.snapLength));
    pcap_set_promisc(handle, options.promiscuous ? 1 : 0);
    pcap_set_timeout(handle, patience);
    pcap_set_buffer_size(handle, options.bufferBytes);
    pcap_set_tstamp_precision(handle, PCAP_TSTAMP_PRECISION_NANO);
    int const result = pcap_activate(handle);
    if (result == PCAP_ERROR_PERM_DENIED || result == PCAP_ERROR_PROMISC_PERM_DENIED)
        throw CFailure(
            exitFailure,
            fmt::format("{}: no permission to capture; run as root, or allow it to the program with "
                        "'setcap cap_net_raw=ep {}'",
                        m_interface, programPath()));
    if (result == PCAP_ERROR_NO_SUCH_DEVICE)
        throw CInterfaceNotReady(fmt::format("{}: there is no such interface", m_interface));
    if (result == PCAP_ERROR_IFACE_NOT_UP)
        throw CInterfaceNotReady(fmt::format("{}: the interface is down", m_interface));
    if (result < 0) {
        std::string const reason = pcap_geterr(handle);
        throw CFailure(exitFailure, fmt::format("{}: {}", m_interface,
                                                reason.empty() ? pcap_statustostr(result) : reason));
    }
}

// For a block of the longest frames, if that isn't too much, and for one of them anyway.
void CPcapLive::makeRoomForBlocks()
{
    m_longest = static_cast<unsigned int>(std::max(pcap_snapshot(m_handle.get()), 1));
    m_bytes.resize(std::clamp<std::size_t>(blockBytes, m_longest, CFrameBlock::capacity * m_longest));
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

// Takes the frames of a dispatch along. The capture may have their place for others once that returns.
class CPcapLive::CBatch
{
public:
    CBatch(pcap * handle, std::vector<unsigned char> & room, unsigned int longest, std::uint32_t linkType,
           CFrameBlock & block)
        : m_handle(handle),
          m_free(room.data()),
          m_end(room.data() + room.size()),
          m_longest(longest),
          m_linkType(linkType),
          m_block(block)
    {}

    static void take(unsigned char * batch, pcap_pkthdr const * header, unsigned char const * data)
    {
        reinterpret_cast<CBatch *>(batch)->take(*header, data);
    }

private:
    void take(pcap_pkthdr const & header, unsigned char const * data)
    {
        unsigned int const captured = std::min(header.caplen, m_longest);
        std::memcpy(m_free, data, captured);
        m_block.add({m_free, captured, header.len, ticksOfNanoStamp(header.ts), m_linkType});
        m_free += captured;
        if (m_end - m_free < static_cast<std::ptrdiff_t>(m_longest))
            pcap_breakloop(m_handle);
    }

    pcap * m_handle;
    unsigned char * m_free;
    unsigned char * m_end;
    unsigned int m_longest;
    std::uint32_t m_linkType;
    CFrameBlock & m_block;
};

bool CPcapLive::next(CCapturedFrame & frame)
{
    m_single.setMost(1);
    nextBlock(m_single);
    if (m_single.size() == 0)
        return false;
    frame = m_single.frame(0);
    return true;
}

void CPcapLive::nextBlock(CFrameBlock & block)
{
    block.clear();
    while (!m_interrupt.raised()) {
        CBatch batch(m_handle.get(), m_bytes, m_longest, m_linkType, block);
        int const result = pcap_dispatch(m_handle.get(), static_cast<int>(block.most()), &CBatch::take,
                                         reinterpret_cast<unsigned char *>(&batch));
        // What came before it failed is counted first.
        if (block.size() != 0)
            return lookBehindFrames();
        if (result < 0 && result != PCAP_ERROR_BREAK)
            failed();
        else
            m_failures = 0;
        wait();
    }
}

// Where the interface is gone the frames that were fetched are counted all the same, and the next look tells.
void CPcapLive::lookBehindFrames()
{
    m_failures = 0;
    try {
        lookNowAndThen();
    } catch (CInterfaceGone const &) {
        m_lastLook = {};
    }
}

// An interface that goes down, or away, fails the capture once. It goes on when the interface comes up again.
void CPcapLive::failed()
{
    std::string const why = fmt::format("{}: {}", m_interface, pcap_geterr(m_handle.get()));
    look();
    if (m_up && ++m_failures > mostFailures)
        throw CFailure(exitFailure, why);
}

void CPcapLive::wait()
{
    lookNowAndThen();
    pollfd waited[] = {{pcap_get_selectable_fd(m_handle.get()), POLLIN, 0},
                       {m_interrupt.descriptor(), POLLIN, 0}};
    static_cast<void>(poll(waited, std::size(waited), patience));
}

void CPcapLive::lookNowAndThen()
{
    if (std::chrono::steady_clock::now() - m_lastLook >= lookAge)
        look();
}

void CPcapLive::look()
{
    m_lastLook = std::chrono::steady_clock::now();
    // A capture of all interfaces is bound to none.
    if (m_index != 0)
        lookAtInterface();
    tellCounters();
}

void CPcapLive::lookAtInterface()
{
    std::string const name = m_state.nameOf(m_index);
    if (name.empty())
        throw CInterfaceGone(fmt::format("{}: the interface is gone", m_interface));
    if (name != m_interface) {
        m_log.warn(fmt::format("{}: is called {} now", m_interface, name));
        m_interface = name;
        m_counters.setFolder(interfaceFolder(name));
    }
    if (m_state.isUp(name) != m_up) {
        m_up = !m_up;
        if (m_up)
            m_log.inform(name + ": is up again");
        else
            m_log.warn(name + ": is down; the capture goes on when it is up again");
    }
}

// The counters of libpcap may only be asked on the thread that reads frames. What the interface dropped isn't
// taken from them: libpcap looks for it under the interface's first name.
void CPcapLive::tellCounters()
{
    pcap_stat statistics{};
    if (pcap_stats(m_handle.get(), &statistics) != 0)
        return;
    // What had no room in the buffer is among the received ones of this system.
    std::uint64_t const received = m_received.seen(statistics.ps_recv);
    std::uint64_t const dropped = m_dropped.seen(statistics.ps_drop);
    m_counters.setCapture({received - std::min(received, dropped), dropped, m_counters.droppedSinceBegin()});
}

} // namespace ketmon
