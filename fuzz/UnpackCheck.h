#pragma once

#include "ketstats/ketstats.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

// What must hold for the reading of any bytes as a packed snapshot. The fuzz target and the tests share it. A
// read or write out of bounds, and a leak, are for the sanitizers to find.
namespace fuzz {

using Stream = std::vector<unsigned char>;

// A row as a reader sees it: its id, its key, and every column that isn't a table, packed.
struct Row
{
    unsigned int id = 0;
    std::string key;
    std::string columns;

    friend bool operator==(Row const &, Row const &) = default;
};

inline std::string text(ktools::CMemoryBuffer const & buffer)
{
    return {buffer.data, buffer.data + buffer.size};
}

template <class Key>
std::string keyText(Key const & key)
{
    ktools::CMemoryBuffer buffer;
    key.packValue(buffer);
    return text(buffer);
}

template <class T>
Row rowOf(T & row)
{
    ktools::CMemoryBuffer columns;
    for (unsigned int index = 0; index < row.getChildrenCount(); ++index)
        if (KetStats::CBaseStat * const column = row.getChild(index);
            !dynamic_cast<KetStats::CBaseHashedContainerStat const *>(column))
            column->packValue(columns, false);
    return {row.getId(), keyText(row.rowKey()), text(columns)};
}

// Hands every table of a tree to `visit`, with the table of the same place in another tree.
template <class Visit>
void forEachTable(KetStats::CAgentStatistic & tree, KetStats::CAgentStatistic & other, Visit && visit)
{
    visit("Network stations", tree.stations, other.stations);
    visit("Network protocols", tree.protocols, other.protocols);
    visit("MAC traffic", tree.macConnections, other.macConnections);
    visit("IP traffic", tree.ipConnections, other.ipConnections);
    visit("ARP connections", tree.arpTable, other.arpTable);
    visit("IP subprotocols", tree.ipSubprotocols, other.ipSubprotocols);
    visit("TCP ports", tree.ipPorts.tcpPorts, other.ipPorts.tcpPorts);
    visit("UDP ports", tree.ipPorts.udpPorts, other.ipPorts.udpPorts);
}

template <class Visit>
void forEachTable(KetStats::CExtendedStatistic & tree, KetStats::CExtendedStatistic & other, Visit && visit)
{
    visit("IPv6 traffic", tree.ipv6Connections, other.ipv6Connections);
    visit("IPv6 protocols", tree.ipv6Protocols, other.ipv6Protocols);
    visit("IPv6 TCP ports", tree.ipv6Ports.tcpPorts, other.ipv6Ports.tcpPorts);
    visit("IPv6 UDP ports", tree.ipv6Ports.udpPorts, other.ipv6Ports.udpPorts);
    visit("Outer VLANs", tree.vlans.outer, other.vlans.outer);
    visit("Inner VLANs", tree.vlans.inner, other.vlans.inner);
    visit("IPv6 neighbours", tree.neighbours, other.neighbours);
}

template <class Table, class Row>
bool isOfOthers(Table & table, Row const & row)
{
    if constexpr (requires { row.isOthers(row.rowKey()); })
        return row.getId() == table.getLimit() && row.isOthers(row.rowKey());
    else
        return &row == table.getSummaryStat();
}

// Tells how a table fails to hold together; empty if it does.
template <class Table>
std::string brokenTable(Table & table)
{
    std::set<std::string> keys;
    unsigned int rows = 0;
    for (unsigned int id = table.getOldestId(); id != 0; id = table.getNextNewerId(id)) {
        if (id > table.getLimit() || ++rows > table.getLimit())
            return "more rows or higher ids than the limit";
        auto * const row = table.getChildById(id);
        if (!row || row->getId() != id)
            return "a row isn't where its id says";
        // A row of the others stands apart, and may show the key of a row of the traffic.
        if (!isOfOthers(table, *row)) {
            if (!keys.insert(keyText(row->rowKey())).second)
                return "two rows with one key";
            if (table.find(row->rowKey()) != row)
                return "a row isn't found by its key";
        }
        if constexpr (requires { row->source; }) {
            if (keyText(row->source.get()) + keyText(row->destination.get()) != keyText(row->rowKey()))
                return "a row shows another key than its own";
        }
        if constexpr (requires { row->tcpPorts; }) {
            for (std::string broken : {brokenTable(row->tcpPorts), brokenTable(row->udpPorts)})
                if (!broken.empty())
                    return broken + ", of a station";
        }
    }
    if (rows != table.size())
        return "the number of rows isn't theirs";
    if (auto const * const summary = table.getSummaryStat();
        summary && table.getChildById(summary->getId()) != summary)
        return "the summary row is none of the rows";
    return {};
}

template <class Tree>
std::string brokenTree(Tree & tree)
{
    std::string result;
    forEachTable(tree, tree, [&](char const * name, auto & table, auto &) {
        std::string const broken = brokenTable(table);
        if (!broken.empty() && result.empty())
            result = std::string(name) + ": " + broken;
    });
    return result;
}

// Tells where the rows of `table` that have ids of `sender` are not the sender's rows; empty if they are. The
// number of other rows is added to `others`. Tables of stations are compared by differenceOfPorts.
template <class Table>
std::string difference(Table & table, Table & sender, unsigned int & others, bool inOrder)
{
    unsigned int expected = sender.getOldestId();
    for (unsigned int id = table.getOldestId(); id != 0; id = table.getNextNewerId(id)) {
        auto * const mine = table.getChildById(id);
        auto * const theirs = sender.getChildById(id);
        if (!theirs) {
            ++others;
            continue;
        }
        if (inOrder && id != expected)
            return "id " + std::to_string(id) + " stands where " + std::to_string(expected) + " should";
        if (!(rowOf(*mine) == rowOf(*theirs)))
            return "row " + std::to_string(id) + " differs";
        expected = sender.getNextNewerId(id);
    }
    for (unsigned int id = sender.getOldestId(); id != 0; id = sender.getNextNewerId(id))
        if (!table.getChildById(id))
            return "row " + std::to_string(id) + " is missing";
    return {};
}

// The same for the tables of the stations of two trees. Rows that a station lost when it went and came back
// stay in them, so there can be others.
inline std::string differenceOfPorts(KetStats::CAgentStatistic & tree, KetStats::CAgentStatistic & sender,
                                     bool inOrder)
{
    unsigned int others = 0;
    auto & stations = sender.stations;
    for (unsigned int id = stations.getOldestId(); id != 0; id = stations.getNextNewerId(id)) {
        auto * const mine = tree.stations.getChildById(id);
        auto * const theirs = stations.getChildById(id);
        for (std::string differs : {difference(mine->tcpPorts, theirs->tcpPorts, others, inOrder),
                                    difference(mine->udpPorts, theirs->udpPorts, others, inOrder)})
            if (!differs.empty())
                return "ports of station " + std::to_string(id) + ": " + differs;
    }
    return {};
}

// The same for all tables, with the number of other rows in those that aren't a station's.
template <class Tree>
std::string differenceOfTables(Tree & tree, Tree & sender, unsigned int & others, bool portsInOrder)
{
    std::string result;
    forEachTable(tree, sender, [&](char const * name, auto & mine, auto & theirs) {
        std::string const differs = difference(mine, theirs, others, true);
        if (!differs.empty() && result.empty())
            result = std::string(name) + ": " + differs;
    });
    if constexpr (requires { tree.stations; })
        return result.empty() ? differenceOfPorts(tree, sender, portsInOrder) : result;
    return result;
}

// Tells in which of the groups of fixed shape two trees differ; empty for none.
template <class Tree>
std::string differenceOfGroups(Tree & tree, Tree & sender)
{
    constexpr bool isFirst = std::is_same_v<Tree, KetStats::CAgentStatistic>;
    constexpr unsigned int begin = isFirst ? 0 : 5;
    constexpr unsigned int end = isFirst ? 4 : 7;
    for (unsigned int index = begin; index < end; ++index) {
        ktools::CMemoryBuffer mine;
        ktools::CMemoryBuffer theirs;
        tree.getChild(index)->packValue(mine, false);
        sender.getChild(index)->packValue(theirs, false);
        if (text(mine) != text(theirs))
            return "group " + std::to_string(index + 1) + " differs";
    }
    return {};
}

inline KetStats::CAgentStatistic & treeOf(KetStats::CStatSnapshot & snapshot)
{
    return static_cast<KetStats::CAgentStatistic &>(*snapshot.getStat(KetStats::COid("1")));
}

inline KetStats::CExtendedStatistic & secondTreeOf(KetStats::CStatSnapshot & snapshot)
{
    return static_cast<KetStats::CExtendedStatistic &>(*snapshot.getStat(KetStats::COid("2")));
}

// Reads a stream. True at a clean end, false if it was refused; any other exception is a failure of its own.
inline bool reads(KetStats::CStatSnapshot & snapshot, Stream const & stream)
{
    // A block of exactly its size, so that a read behind its end is seen.
    auto const exact = std::make_unique<unsigned char[]>(stream.size());
    std::copy(stream.begin(), stream.end(), exact.get());
    ktools::CMemoryBuffer buffer(0, false);
    buffer.data = exact.get();
    buffer.size = buffer.capacity = static_cast<int>(stream.size());
    buffer.ownsData = false;
    try {
        snapshot.unpack(buffer);
        return true;
    } catch (ktools::CMemoryBuffer::CException * refused) {
        delete refused;
        return false;
    }
}

// Two receivers that damaged bytes are tried on, one empty and one that holds much already. They are made
// once, and cleared for each try.
class CUnpacking
{
public:
    CUnpacking()
    {
        fill(*m_sender, *m_second, 0x10);
        m_valid = packed(*m_sender, *m_second);
        ktools::CMemoryBuffer first;
        m_sender->packValue(first, false);
        m_firstSize = static_cast<std::size_t>(first.size) + 2;
        // Other keys under the same ids, and some of the same keys under other ids.
        auto const other = std::make_unique<KetStats::CAgentStatistic>();
        auto const otherSecond = std::make_unique<KetStats::CExtendedStatistic>();
        fill(*other, *otherSecond, 0x12);
        m_before = packed(*other, *otherSecond);
    }

    // Empty if all is well, otherwise what should have held.
    std::string check(Stream const & stream)
    {
        for (bool const filled : {false, true}) {
            m_receiver.reset();
            if (filled && !reads(m_receiver, m_before))
                return "a valid snapshot can be read";
            static_cast<void>(reads(m_receiver, stream));
            std::string broken = checkReceiver();
            if (!broken.empty())
                return broken + (filled ? ", in a filled receiver" : ", in an empty receiver");
        }
        return {};
    }

    // Both trees packed, with rows in every table.
    Stream const & valid() const { return m_valid; }
    // How much of that is the first tree.
    std::size_t firstSize() const { return m_firstSize; }

private:
    std::string checkReceiver()
    {
        KetStats::CAgentStatistic & tree = treeOf(m_receiver);
        KetStats::CExtendedStatistic & second = secondTreeOf(m_receiver);
        if (std::string broken = brokenTree(tree) + brokenTree(second); !broken.empty())
            return broken;
        m_receiver.calculatePercentStats();
        if (!reads(m_receiver, m_valid))
            return "a valid snapshot can be read behind a damaged one";
        if (std::string broken = brokenTree(tree) + brokenTree(second); !broken.empty())
            return broken + ", after a valid snapshot";
        unsigned int others = 0;
        for (std::string differs :
             {differenceOfGroups(tree, *m_sender), differenceOfTables(tree, *m_sender, others, true),
              differenceOfGroups(second, *m_second), differenceOfTables(second, *m_second, others, true)})
            if (!differs.empty())
                return "a valid snapshot is what the receiver holds then: " + differs;
        return {};
    }

    // Whole trees behind the paths of the selections "1" and "2".
    static Stream packed(KetStats::CAgentStatistic & tree, KetStats::CExtendedStatistic & second)
    {
        ktools::CMemoryBuffer buffer;
        buffer.Write("\1\0", 2);
        tree.packValue(buffer, false);
        buffer.Write("\2\0", 2);
        second.packValue(buffer, false);
        buffer.Write("\0\0", 2);
        return {buffer.data, buffer.data + buffer.size};
    }

    template <class Table>
    static void addRows(Table & table, unsigned int first)
    {
        using Key = std::remove_cvref_t<decltype(table.getOldest()->rowKey())>;
        for (unsigned int number = first; number < first + 3; ++number) {
            unsigned char bytes[32];
            for (unsigned char & byte : bytes)
                byte = static_cast<unsigned char>(number);
            ktools::CMemoryBuffer buffer(bytes, sizeof bytes);
            Key key{};
            key.unpackValue(buffer);
            auto * const row = table[key];
            if constexpr (requires { row->framesTransmitted; }) {
                row->framesTransmitted = number;
                row->dataTransmitted = number * 100LL;
            }
            if constexpr (requires { row->tcpPorts; }) {
                row->vlanId = std::to_string(number);
                addRows(row->tcpPorts, number);
                addRows(row->udpPorts, number);
            }
        }
    }

    static void fill(KetStats::CAgentStatistic & tree, KetStats::CExtendedStatistic & second,
                     unsigned int first)
    {
        auto const addTo = [first](char const *, auto & table, auto &) { addRows(table, first); };
        tree.globalStatistics.transmittedFrames = first;
        forEachTable(tree, tree, addTo);
        second.signals.fragments = first;
        second.tunnels.gre.frames = first;
        forEachTable(second, second, addTo);
    }

    KetStats::CStatSnapshot m_receiver;
    std::unique_ptr<KetStats::CAgentStatistic> m_sender = std::make_unique<KetStats::CAgentStatistic>();
    std::unique_ptr<KetStats::CExtendedStatistic> m_second = std::make_unique<KetStats::CExtendedStatistic>();
    Stream m_valid;
    std::size_t m_firstSize = 0;
    Stream m_before;
};

// Empty if all is well, otherwise what should have held.
inline std::string checkUnpack(std::span<unsigned char const> input)
{
    static CUnpacking unpacking;
    return unpacking.check({input.begin(), input.end()});
}

} // namespace fuzz
