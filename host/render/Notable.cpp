#include "host/render/Picture.h"
#include "host/support/Escaped.h"

#include <fmt/core.h>

#include <algorithm>
#include <map>
#include <set>

namespace ketmon {

namespace {

using CSentences = std::vector<std::string>;

// From where on something is worth a sentence. docs/report.md tells them.
constexpr std::uint64_t leastFrames = 50;        // fewer show nothing but chance
constexpr double notableShare = 0.2;             // of all frames
constexpr double notablePair = 0.1;              // of all bytes
constexpr double notablePort = 0.1;              // of all bytes
constexpr double notableIPv6 = 0.05;             // of all frames
constexpr std::uint64_t manyPairs = 10;          // for one end of nearly all of them
constexpr std::uint64_t manyPeers = 20;          // that never answered
constexpr std::uint64_t manySinglePairs = 50;    // of one frame each
constexpr std::size_t manyAddresses = 5;         // of one station
constexpr std::uint64_t longestUsual = 1526;     // bytes of a frame with two VLAN tags
constexpr std::uint64_t greatestCounted = 65539; // the most that 16 bits hold, and the check sequence

constexpr std::uint32_t arpType = 0x0806;
constexpr std::uint32_t ipv6Type = 0x86DD;

// Addresses in sentences have their names beside them.
std::string nameOf(CPicture const & picture, std::string const & address)
{
    std::string const host = escaped(picture.names.host(address));
    std::string const name = host.empty() ? escaped(picture.names.vendor(address)) : host;
    return name.empty() ? escaped(address) : fmt::format("{} ({})", escaped(address), name);
}

CRowFigures const * rowOf(CTableFigures const * table, std::uint32_t code)
{
    if (table)
        for (CRowFigures const & row : table->rows)
            if (row.code == code)
                return &row;
    return nullptr;
}

std::uint64_t framesOf(CFigures const & figures, std::string const & type)
{
    if (CTableFigures const * const types = figures.table("frame_types"))
        for (CRowFigures const & row : types->rows)
            if (row.type == type)
                return row.totalFrames();
    return 0;
}

// "5 frames (0.1 %) are".
std::string areFrames(CPicture const & picture, std::uint64_t count)
{
    return fmt::format("{} ({}) {}", picture.quantity.frames(count),
                       percentText(shareOf(count, picture.figures.frames)), count == 1 ? "is" : "are");
}

void lostFrames(CPicture const & picture, CSentences & sentences)
{
    CFigures const & figures = picture.figures;
    std::uint64_t const dropped =
        figures.droppedByKernel.value_or(0) + figures.droppedByInterface.value_or(0);
    if (dropped > 0)
        sentences.push_back(fmt::format("{} never reached the count; all figures are of the rest.",
                                        picture.quantity.frames(dropped)));
}

std::uint64_t busiestBytes(CPicture const & picture, std::string const & key)
{
    std::uint64_t most = 0;
    if (CTableFigures const * const pairs = picture.filled(key))
        for (CRowFigures const & row : conversations(*pairs))
            if (!row.others)
                most = std::max(most, row.totalBytes());
    return most;
}

void busiestPair(CPicture const & picture, std::string const & key, std::string const & title,
                 CSentences & sentences)
{
    CTableFigures const * const pairs = picture.filled(key);
    if (!pairs)
        return;
    std::vector<CRowFigures> const both = conversations(*pairs);
    auto const rows = busiest(both, "bytes");
    auto const first =
        std::find_if(rows.begin(), rows.end(), [](CRowFigures const * row) { return !row->others; });
    if (first == rows.end())
        return;
    CRowFigures const & row = **first;
    if (shareOf(row.totalBytes(), picture.figures.bytes).value_or(0.0) < notablePair)
        return;
    std::string const what =
        fmt::format("{} in {}, {} of all bytes", picture.quantity.bytes(row.totalBytes()),
                    picture.quantity.frames(row.totalFrames()),
                    percentText(shareOf(row.totalBytes(), picture.figures.bytes)));
    std::string const a = nameOf(picture, row.source);
    std::string const b = nameOf(picture, row.destination);
    if (isOwnPair(row))
        sentences.push_back(fmt::format("{} is {} with itself: {}.", title, a, what));
    else if (row.framesReceived == 0U && pairs == picture.complete(key))
        sentences.push_back(fmt::format("{} is {} to {}: {}, and nothing came back.", title, a, b, what));
    else
        sentences.push_back(fmt::format("{} is {} and {}: {}.", title, a, b, what));
}

// Both ways, over either family of IP.
struct CPortBytes
{
    std::uint64_t from = 0;
    std::uint64_t to = 0;

    std::uint64_t total() const { return from + to; }
};

void busiestPort(CPicture const & picture, CSentences & sentences)
{
    std::map<std::pair<CTransport, std::uint32_t>, CPortBytes> ports;
    for (auto const & [transport, key] : {std::pair(CTransport::tcp, "tcp_ports"),
                                          {CTransport::tcp, "ipv6_tcp_ports"},
                                          {CTransport::udp, "udp_ports"},
                                          {CTransport::udp, "ipv6_udp_ports"}})
        if (CTableFigures const * const table = picture.filled(key))
            for (CRowFigures const & row : table->rows) {
                CPortBytes & port = ports[{transport, row.code.value_or(0)}];
                port.from += row.bytesSent.value_or(0);
                port.to += row.bytesReceived.value_or(0);
            }
    auto const found =
        std::max_element(ports.begin(), ports.end(), [](auto const & left, auto const & right) {
            return left.second.total() < right.second.total();
        });
    if (found == ports.end() ||
        shareOf(found->second.total(), picture.figures.bytes).value_or(0.0) < notablePort)
        return;
    auto const & [transport, port] = found->first;
    std::string const service = escaped(picture.names.service(transport, port));
    sentences.push_back(fmt::format(
        "The busiest of the ports counted is {} {}{}: {} from it, {} to it.",
        transport == CTransport::tcp ? "TCP" : "UDP", port, service.empty() ? "" : " (" + service + ")",
        picture.quantity.bytes(found->second.from), picture.quantity.bytes(found->second.to)));
}

// Frames to all that each station sent: what it sent beside its pairs, in which only unicasts count.
std::map<std::string, std::uint64_t> sentToAll(CPicture const & picture)
{
    CTableFigures const * const stations = picture.complete("stations");
    CTableFigures const * const pairs = picture.figures.table("mac_traffic");
    if (!stations || !pairs || !pairs->counted ||
        (!pairs->rows.empty() && !picture.complete("mac_traffic")) ||
        (pairs->givenUp && pairs->givenUp->rows > 0))
        return {};
    std::map<std::string, std::uint64_t> sent;
    for (CRowFigures const & row : stations->rows)
        sent[row.address] = row.framesSent.value_or(0);
    for (CRowFigures const & row : pairs->rows) {
        std::uint64_t & frames = sent[row.source];
        frames -= std::min(frames, row.totalFrames());
    }
    return sent;
}

void floods(CPicture const & picture, CSentences & sentences)
{
    CFigures const & figures = picture.figures;
    std::uint64_t const frames = figures.frames.value_or(0);
    std::uint64_t const broadcasts = framesOf(figures, "broadcast");
    std::uint64_t const multicasts = framesOf(figures, "multicast");
    auto const isNotable = [&](std::uint64_t count) {
        return count >= leastFrames &&
               static_cast<double>(count) >= notableShare * static_cast<double>(frames);
    };
    if (CRowFigures const * const arp = rowOf(picture.filled("protocols"), arpType);
        arp && isNotable(arp->totalFrames()))
        sentences.push_back(fmt::format("{} of the frames are ARP: {}.",
                                        percentText(shareOf(arp->totalFrames(), frames)),
                                        picture.quantity(arp->totalFrames())));
    if (!isNotable(broadcasts + multicasts))
        return;
    std::string text =
        fmt::format("{} of the frames are broadcasts and {} multicasts",
                    percentText(shareOf(broadcasts, frames)), percentText(shareOf(multicasts, frames)));
    auto const senders = sentToAll(picture);
    auto const most =
        std::max_element(senders.begin(), senders.end(),
                         [](auto const & left, auto const & right) { return left.second < right.second; });
    if (most != senders.end() && most->second >= leastFrames && senders.size() > 1)
        text += fmt::format("; {} alone sent {} of these {}", nameOf(picture, most->first),
                            picture.quantity(most->second), picture.quantity(broadcasts + multicasts));
    sentences.push_back(text + '.');
}

CCount signalOf(CPicture const & picture, std::string const & key)
{
    for (CSignalFigure const & signal : picture.figures.signals)
        if (signal.key == key)
            return signal.count;
    return {};
}

// What says that something is wrong, or that somebody tries to take another's place.
void signs(CPicture const & picture, CSentences & sentences)
{
    std::uint64_t const asked = signalOf(picture, "connections_requested").value_or(0);
    std::uint64_t const accepted = signalOf(picture, "connections_accepted").value_or(0);
    if (asked >= leastFrames && accepted * 2 < asked)
        sentences.push_back(fmt::format("TCP connections were asked for {} times and accepted {} times.",
                                        picture.quantity(asked), picture.quantity(accepted)));
    if (std::uint64_t const changed = signalOf(picture, "changed_bindings").value_or(0); changed > 0)
        sentences.push_back(
            fmt::format("IP addresses that were bound to one MAC address were announced with another: {}.",
                        changed == 1 ? "once" : picture.quantity(changed) + " times"));
}

void manyBindings(CPicture const & picture, CSentences & sentences)
{
    CTableFigures const * const bindings = picture.filled("arp");
    if (!bindings)
        return;
    std::map<std::string, std::size_t> addresses;
    for (CRowFigures const & row : bindings->rows)
        ++addresses[row.macAddress];
    auto const most =
        std::max_element(addresses.begin(), addresses.end(),
                         [](auto const & left, auto const & right) { return left.second < right.second; });
    if (most != addresses.end() && most->second >= manyAddresses)
        sentences.push_back(fmt::format("{} used {} IPv4 addresses in ARP.", nameOf(picture, most->first),
                                        picture.quantity(most->second)));
}

struct CReach
{
    std::uint64_t peers = 0;
    std::uint64_t silent = 0; // of these, without a frame the other way
};

// By address, as the one that sends or the one that is sent to.
using CReaches = std::map<std::string, CReach>;

void tellReach(CPicture const & picture, CReaches const & reaches, std::string const & form,
               CSentences & sentences)
{
    auto const most =
        std::max_element(reaches.begin(), reaches.end(), [](auto const & left, auto const & right) {
            return left.second.silent < right.second.silent;
        });
    if (most == reaches.end() || most->second.silent < manyPeers ||
        most->second.silent * 2 < most->second.peers)
        return;
    sentences.push_back(fmt::format(fmt::runtime(form), nameOf(picture, most->first),
                                    picture.quantity(most->second.peers),
                                    picture.quantity(most->second.silent)));
}

// Who is an end of nearly all pairs, and who speaks to many that never answer; told only if no row was lost that
// might have been an answer.
void reaches(CPicture const & picture, CSentences & sentences)
{
    std::vector<CRowFigures> pairs;
    for (char const * const key : {"ip_traffic", "ipv6_traffic"}) {
        CTableFigures const * const table = picture.figures.table(key);
        if (!table || !table->counted || table->rows.empty())
            continue;
        if (!picture.complete(key))
            return;
        std::vector<CRowFigures> const both = conversations(*table);
        pairs.insert(pairs.end(), both.begin(), both.end());
    }
    if (pairs.empty())
        return;
    CReaches senders;
    CReaches targets;
    std::uint64_t all = 0;
    std::uint64_t singles = 0;
    std::uint64_t oneWay = 0;
    std::map<std::string, std::uint64_t> pairsOf;
    for (CRowFigures const & row : pairs) {
        ++all;
        singles += row.totalFrames() == 1 ? 1 : 0;
        ++pairsOf[row.source];
        if (isOwnPair(row))
            continue;
        ++pairsOf[row.destination];
        bool const silent = row.framesSent == 0U || row.framesReceived == 0U;
        oneWay += silent ? 1 : 0;
        bool const backwards = row.framesSent == 0U;
        CReach & sender = senders[backwards ? row.destination : row.source];
        CReach & target = targets[backwards ? row.source : row.destination];
        ++sender.peers;
        ++target.peers;
        sender.silent += silent ? 1 : 0;
        target.silent += silent ? 1 : 0;
    }
    auto const hub =
        std::max_element(pairsOf.begin(), pairsOf.end(),
                         [](auto const & left, auto const & right) { return left.second < right.second; });
    if (all >= manyPairs && hub->second * 10 >= all * 9)
        sentences.push_back(fmt::format("{} is one end of {} of the {} pairs of addresses.",
                                        nameOf(picture, hub->first), picture.quantity(hub->second),
                                        picture.quantity(all)));
    if (singles >= manySinglePairs && singles * 2 >= all)
        sentences.push_back(fmt::format("{} of {} pairs of addresses exchanged a single frame.",
                                        picture.quantity(singles), picture.quantity(all)));
    if (oneWay == all && all >= manyPeers) {
        sentences.push_back(
            "No pair of addresses was seen in both directions, so perhaps only one was captured.");
        return;
    }
    tellReach(picture, senders, "{} sent to {} addresses, and {} of them never answered.", sentences);
    tellReach(picture, targets, "{} was sent to by {} addresses, and {} of them never got an answer.",
              sentences);
}

// The pair whose frames are the longest on average, if that shows that they are longer than usual.
std::string longestPair(CPicture const & picture)
{
    CRowFigures const * longest = nullptr;
    auto const average = [](CRowFigures const & row) {
        return row.totalFrames() == 0 ? 0 : row.totalBytes() / row.totalFrames();
    };
    for (char const * const key : {"ip_traffic", "ipv6_traffic", "mac_traffic"})
        if (CTableFigures const * const pairs = picture.filled(key))
            for (CRowFigures const & row : pairs->rows)
                if (!row.others && average(row) > longestUsual &&
                    (!longest || average(row) > average(*longest)))
                    longest = &row;
    return longest ? fmt::format("those from {} to {} have {} on average", nameOf(picture, longest->source),
                                 nameOf(picture, longest->destination), allDigits(average(*longest)))
                   : "";
}

void unusualFrames(CPicture const & picture, CSentences & sentences)
{
    COddFigures const & odd = picture.figures.odd;
    auto const told = [](CCount const & count) { return count.value_or(0) > 0; };
    bool const isEthernet = picture.figures.source.linkType == "ethernet";
    std::string const pair = longestPair(picture);
    if (told(odd.overlong))
        sentences.push_back(fmt::format("{} longer than Ethernet's usual 1,518 bytes, the longest with {}{}.",
                                        areFrames(picture, *odd.overlong), allDigits(odd.longest.value_or(0)),
                                        pair.empty() ? "" : "; " + pair));
    else if (!odd.overlong && !pair.empty() && isEthernet)
        sentences.push_back("Frames are longer than Ethernet's usual 1,518 bytes: " + pair + '.');
    if (odd.longest.value_or(0) > greatestCounted)
        sentences.push_back(
            "Of lengths above 65,535 bytes only the low 16 bits are counted, so bytes are too few.");
    if (told(odd.cut))
        sentences.push_back(areFrames(picture, *odd.cut) +
                            " captured in part; their bytes are counted as they "
                            "were on the wire.");
    if (told(odd.fragments))
        sentences.push_back(
            areFrames(picture, *odd.fragments) +
            " fragments of IPv4 packets; what stands in place of ports in all but the first of "
            "a packet is data, counted as ports nevertheless.");
    if (told(odd.headless))
        sentences.push_back(areFrames(picture, *odd.headless) +
                            fmt::format(" shorter than {}: cut or damaged before they were captured.",
                                        isEthernet ? "an Ethernet header" : "the header of their medium"));
}

void whatHasNoTable(CPicture const & picture, CSentences & sentences)
{
    CRowFigures const * const ipv6 = rowOf(picture.filled("protocols"), ipv6Type);
    std::uint64_t const frames = picture.figures.frames.value_or(0);
    if (!ipv6 || static_cast<double>(ipv6->totalFrames()) < notableIPv6 * static_cast<double>(frames))
        return;
    // Where the second tree is counted they have tables like those of IPv4.
    auto const isCounted = [&](char const * key) {
        CTableFigures const * const table = picture.figures.table(key);
        return table && table->counted;
    };
    bool const pairs = isCounted("ipv6_traffic");
    bool const ports = isCounted("ipv6_tcp_ports");
    if (pairs && ports)
        return;
    sentences.push_back(fmt::format("{} of the frames are IPv6: {} of IPv4 alone.",
                                    percentText(shareOf(ipv6->totalFrames(), frames)),
                                    pairs   ? "ports are"
                                    : ports ? "IP conversations are"
                                            : "IP conversations and ports are"));
}

} // namespace

std::string notableText(CPicture const & picture)
{
    CSentences sentences;
    lostFrames(picture, sentences);
    std::size_t const before = sentences.size();
    if (busiestBytes(picture, "ipv6_traffic") > busiestBytes(picture, "ip_traffic"))
        busiestPair(picture, "ipv6_traffic", "The busiest pair of IPv6 addresses", sentences);
    else
        busiestPair(picture, "ip_traffic", "The busiest pair of IPv4 addresses", sentences);
    if (sentences.size() == before)
        busiestPair(picture, "mac_traffic", "The busiest pair of stations", sentences);
    busiestPort(picture, sentences);
    floods(picture, sentences);
    signs(picture, sentences);
    manyBindings(picture, sentences);
    reaches(picture, sentences);
    unusualFrames(picture, sentences);
    whatHasNoTable(picture, sentences);
    if (sentences.empty())
        return {};
    std::string text = "Notable\n";
    for (std::string const & sentence : sentences)
        text += wrapped("  - ", sentence, picture.style.width);
    return text;
}

} // namespace ketmon
