#pragma once

#include "ketstats/extended/ExtendedStatistic.h"
#include "ketstats/model/HashedContainerStatImpl.h"
#include "ketstats/schema/AgentStatistic.h"

#include "tests/support/Bytes.h"
#include "tests/support/Raised.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <type_traits>
#include <utility>
#include <vector>

// Rows, keys and tables of rows, for the tests of everything that is hashed.
namespace test {

// Numbers of a fixed seed.
class Random
{
public:
    explicit Random(unsigned int seed) : m_numbers(seed) {}
    unsigned int any() { return static_cast<unsigned int>(m_numbers()); }
    // From 0 to `count` - 1.
    unsigned int below(std::size_t count) { return any() % static_cast<unsigned int>(count); }
    bool oneIn(unsigned int chance) { return below(chance) == 0; }

private:
    std::mt19937 m_numbers;
};

template <class Row>
using KeyOf = std::remove_cvref_t<decltype(std::declval<Row const &>().rowKey())>;

template <class K>
Bytes keyBytes(K const & key)
{
    ktools::CMemoryBuffer buffer(sizeof key, false);
    key.packValue(buffer);
    return contents(buffer);
}

template <class K>
K keyFrom(Bytes const & content)
{
    ktools::CMemoryBuffer buffer(content.data(), static_cast<int>(content.size()));
    K key{};
    key.unpackValue(buffer);
    return key;
}

// The number in little-endian order, over and over: keys of different numbers are different.
template <class K>
K keyNumber(unsigned int number)
{
    Bytes content(sizeof(K));
    for (std::size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<unsigned char>(number >> i % 4 * 8);
    return keyFrom<K>(content);
}

// The key number `number` of those of 16 or 32 bytes that an index of this process keeps in one place, whatever it is. They
// differ in their last two words alone.
template <class K>
K crowdedKey(unsigned int number)
{
    constexpr std::size_t words = sizeof(K) / 8;
    static_assert(words == 2 || words == 4);
    KetStats::CIndexFactors const & factors = KetStats::indexFactors();
    // A factor of nothing makes nothing of the other one.
    std::uint64_t key[words] = {};
    for (std::size_t i = 0; i < words; i += 2) {
        key[i] = factors[i];
        key[i + 1] = (number + 1) * 0x9E3779B97F4A7C15 + i;
    }
    auto const * const content = reinterpret_cast<unsigned char const *>(key);
    return keyFrom<K>(Bytes(content, content + sizeof key));
}

// Finds room where the key says: see place().
struct PlacedHasher
{
    static unsigned int hash(KetStats::CIPAddress const & key, unsigned int n)
    {
        return (static_cast<unsigned int>(key) >> 16) % n;
    }
    static unsigned int rehash(KetStats::CIPAddress const & key, unsigned int n)
    {
        return (static_cast<unsigned int>(key) >> 8 & 0xFF) % (n - 1) + 1;
    }
};

// The key number `serial` of those whose search starts at the slot `start` and goes on by `step`, 1 to 256.
inline KetStats::CIPAddress place(unsigned int start, unsigned int step, unsigned int serial)
{
    return KetStats::CIPAddress(start << 16 | (step - 1) << 8 | serial);
}

// A small row whose key says where it goes, and which keeps a census of itself: a row that is built over a
// living one, or destroyed twice, fails the test.
class PlacedRow : public KetStats::schema::CUnfilteredContainerStat
{
public:
    using CHasher = PlacedHasher;
    using Container = KetStats::CHashedContainerStat<PlacedRow, KetStats::CIPAddress, CHasher>;

    PlacedRow(KetStats::CBaseStat * theParent, unsigned short theId, KetStats::CIPAddress const & key)
        : CUnfilteredContainerStat(theParent, theId, groupDescription())
    {
        address = key;
        EXPECT_TRUE(living().insert(this).second) << "built over a living row";
    }
    ~PlacedRow() { EXPECT_EQ(living().erase(this), 1U) << "destroyed, but it didn't live"; }
    PlacedRow(PlacedRow const &) = delete;
    PlacedRow & operator=(PlacedRow const &) = delete;

    static std::set<PlacedRow const *> & living()
    {
        static std::set<PlacedRow const *> rows;
        return rows;
    }

    static KetStats::CStructStatDescription const & groupDescription()
    {
        static KetStats::CStructStatDescription const description(1151, columnDescriptions());
        return description;
    }
    KetStats::CIPAddress const & rowKey() const { return address.get(); }
    void takeKey(KetStats::CIPAddress const & key) { address = key; }

    // clang-format off
#define COLUMNS(COLUMN)                                                   \
    COLUMN(1, address,           KetStats::schema::IpAddress<1153>)       \
    COLUMN(2, framesTransmitted, KetStats::schema::FramesTransmitted)
    KETSTATS_COLUMNS(PlacedRow, COLUMNS)
#undef COLUMNS
    // clang-format on
};

// A value in a row, beside its key, that shows whether the row is the one that it should be.
template <class Row>
void setValue(Row & row, unsigned int value)
{
    if constexpr (requires { row.framesTransmitted; })
        row.framesTransmitted = value;
    else
        row.macAddress = keyNumber<KetStats::CMACAddrPacked>(value);
}

template <class Row>
unsigned int valueOf(Row const & row)
{
    if constexpr (requires { row.framesTransmitted; }) {
        return row.framesTransmitted.get();
    } else {
        auto const & octets = row.macAddress.get().bytes;
        return static_cast<unsigned int>(octets[0] | octets[1] << 8 | octets[2] << 16) |
               static_cast<unsigned int>(octets[3]) << 24;
    }
}

// The key as the columns of a row show it.
template <class Row>
Bytes shownKey(Row const & row)
{
    if constexpr (requires { row.source; }) {
        Bytes result = keyBytes(row.source.get());
        Bytes const second = keyBytes(row.destination.get());
        result.insert(result.end(), second.begin(), second.end());
        return result;
    } else {
        return keyBytes(row.rowKey());
    }
}

// What there is to see of a row.
struct Shown
{
    unsigned int id = 0;
    Bytes key;
    unsigned int value = 0;

    friend bool operator==(Shown const &, Shown const &) = default;
    friend std::ostream & operator<<(std::ostream & out, Shown const & row)
    {
        return out << "id " << row.id << " key " << testing::PrintToString(row.key) << " value " << row.value;
    }
};

// The rows of a container from the oldest to the newest.
template <class Container>
std::vector<Shown> rowsOf(Container & container)
{
    std::vector<Shown> rows;
    for (unsigned int id = container.getOldestId(); id != 0 && rows.size() <= container.getLimit();
         id = container.getNextNewerId(id)) {
        auto const * const row = container.getChildById(id);
        rows.push_back({row->getId(), keyBytes(row->rowKey()), valueOf(*row)});
    }
    return rows;
}

// Whether a container holds together, as far as anyone can see: every row stands under its id and is found by
// the key that it shows, no key is there twice, and there are as many rows as it says.
template <class Container>
testing::AssertionResult soundFromOutside(Container & container)
{
    std::set<Bytes> keys;
    unsigned int last = 0;
    unsigned int apart = 0;
    auto const isOthers = [&](auto const & row) {
        if constexpr (requires { row.isOthers(row.rowKey()); })
            return row.getId() == container.getLimit() && row.isOthers(row.rowKey());
        return false;
    };
    for (unsigned int id = container.getOldestId(); id != 0; id = container.getNextNewerId(id)) {
        auto const * const row = container.getChildById(id);
        if (id > container.getLimit() || !row || row->getId() != id)
            return testing::AssertionFailure() << "no row of that id: " << id;
        if (shownKey(*row) != keyBytes(row->rowKey()))
            return testing::AssertionFailure() << "row " << id << " shows another key than its own";
        last = id;
        // A row of the others stands apart, and may show the key of a row of the traffic.
        if (row == container.getSummaryStat() || isOthers(*row)) {
            ++apart;
            continue;
        }
        if (!keys.insert(shownKey(*row)).second)
            return testing::AssertionFailure()
                   << "row " << id << " shows the key of another row, or comes twice";
        if (std::as_const(container).find(row->rowKey()) != row)
            return testing::AssertionFailure() << "row " << id << " isn't found by its key";
        if constexpr (requires { row->tcpPorts; }) {
            auto * const station = container.getChildById(id);
            if (auto const ports = soundFromOutside(station->tcpPorts); !ports)
                return testing::AssertionFailure() << "TCP ports of row " << id << ": " << ports.message();
            if (auto const ports = soundFromOutside(station->udpPorts); !ports)
                return testing::AssertionFailure() << "UDP ports of row " << id << ": " << ports.message();
        }
    }
    if (keys.size() + apart != container.size() || container.getChildrenCount() != container.size())
        return testing::AssertionFailure()
               << keys.size() + apart << " rows in the list, size " << container.size();
    if (last != container.getNewestId())
        return testing::AssertionFailure() << "the list ends at " << last << ", not at the newest row";
    return testing::AssertionSuccess();
}

// A container outside any tree, with its inside open to tests.
template <class Row>
class Table : public Row::Container
{
public:
    using Base = typename Row::Container;
    using Key = KeyOf<Row>;

    explicit Table(unsigned int theLimit) : Base(nullptr, 1, description(), theLimit) {}

    using Base::changed;
    using Base::freeIdx;

    static KetStats::CDynamicArrayStatDescription const & description()
    {
        static KetStats::CDynamicArrayStatDescription const theDescription(1148, &Row::groupDescription());
        return theDescription;
    }

    // Whether the container holds together, inside too.
    testing::AssertionResult sound()
    {
        if (auto const outside = soundFromOutside(*this); !outside)
            return outside;
        std::vector<unsigned int> listed;
        for (unsigned int rowId = this->getOldestId(); rowId != 0; rowId = this->m_links[rowId].newer)
            listed.push_back(rowId);
        std::vector<unsigned int> backward;
        for (unsigned int rowId = this->getNewestId(); rowId != 0 && backward.size() <= listed.size();
             rowId = this->m_links[rowId].older)
            backward.insert(backward.begin(), rowId);
        if (listed != backward)
            return testing::AssertionFailure()
                   << "the list reads otherwise backward: " << testing::PrintToString(listed) << " and "
                   << testing::PrintToString(backward);
        unsigned int there = 0;
        for (unsigned int rowId = 1; rowId <= this->limit; ++rowId)
            there += this->childOf(rowId) ? 1 : 0;
        if (there != listed.size())
            return testing::AssertionFailure()
                   << there << " rows have an id, " << listed.size() << " in the list";
        if (auto const * const summary = this->getSummaryStat();
            summary && std::none_of(listed.begin(), listed.end(),
                                    [&](unsigned int rowId) { return this->childOf(rowId) == summary; }))
            return testing::AssertionFailure() << "the summary row isn't there";
        return testing::AssertionSuccess();
    }
};

// Adds a row of that key with that value.
template <class Row>
Row & add(Table<Row> & table, KeyOf<Row> const & key, unsigned int value = 0)
{
    Row & row = *table[key];
    setValue(row, value);
    return row;
}

// A row that a container announced as going: the number it gave, and the keys of the rows that stood at that
// index and under that id at the time, empty for none.
struct Deletion
{
    unsigned int number = 0;
    Bytes keyAtIndex;
    Bytes keyOfId;

    friend std::ostream & operator<<(std::ostream & out, Deletion const & deletion)
    {
        return out << "number " << deletion.number << ", at this index "
                   << testing::PrintToString(deletion.keyAtIndex) << ", of this id "
                   << testing::PrintToString(deletion.keyOfId);
    }
};

// The deletions that the containers of a kind of rows announced since the object was made.
template <class Row>
class Deletions
{
public:
    Deletions() { calls().clear(); }
    explicit Deletions(typename Row::Container & container) : Deletions()
    {
        container.registerDeleteHandler(&Deletions::record);
    }

    std::vector<Deletion> & operator*() { return calls(); }
    std::vector<Deletion> * operator->() { return &calls(); }

    static void record(typename Row::Container * container, unsigned int number)
    {
        auto const keyOf = [&](unsigned int id) {
            Row const * const row = container->getChildById(id);
            return row ? keyBytes(row->rowKey()) : Bytes();
        };
        calls().push_back({number, keyOf(number + 1), keyOf(number)});
    }

private:
    static std::vector<Deletion> & calls()
    {
        static std::vector<Deletion> list;
        return list;
    }
};

// The packed form, and the reading of one: what it raised, if it did.
inline Bytes packed(KetStats::CBaseStat & stat, bool onlyChanged)
{
    ktools::CMemoryBuffer buffer;
    stat.packValue(buffer, onlyChanged);
    return contents(buffer);
}

inline Raised unpack(KetStats::CBaseStat & stat, Bytes const & stream)
{
    ktools::CMemoryBuffer buffer(stream.data(), static_cast<int>(stream.size()));
    return raisedBy<ktools::CMemoryBuffer::CException>([&] { stat.unpackValue(buffer); });
}

// Every kind of row there is in the tree.
using RowKinds =
    testing::Types<KetStats::CStationStat, KetStats::CProtocolStat, KetStats::CGenProtoStat<0>,
                   KetStats::CTcpPortStat, KetStats::CUdpPortStat, KetStats::CMACConnectionStat,
                   KetStats::CIPConnectionStat, KetStats::CARPStat, KetStats::CIPv6ConnectionStat,
                   KetStats::CIPv6ProtoStat, KetStats::CIPv6TcpPortStat, KetStats::COuterVlanStat,
                   KetStats::CNeighbourStat>;

struct RowKindNames
{
    template <class Row>
    static std::string GetName(int)
    {
        using namespace KetStats;
        return std::is_same_v<Row, CStationStat>          ? "Stations"
               : std::is_same_v<Row, CProtocolStat>       ? "Protocols"
               : std::is_same_v<Row, CGenProtoStat<0>>    ? "IPSubprotocols"
               : std::is_same_v<Row, CTcpPortStat>        ? "TCPPorts"
               : std::is_same_v<Row, CUdpPortStat>        ? "UDPPorts"
               : std::is_same_v<Row, CMACConnectionStat>  ? "MACConnections"
               : std::is_same_v<Row, CIPConnectionStat>   ? "IPConnections"
               : std::is_same_v<Row, CARPStat>            ? "ARP"
               : std::is_same_v<Row, CIPv6ConnectionStat> ? "IPv6Connections"
               : std::is_same_v<Row, CIPv6ProtoStat>      ? "IPv6Protocols"
               : std::is_same_v<Row, CIPv6TcpPortStat>    ? "IPv6TCPPorts"
               : std::is_same_v<Row, COuterVlanStat>      ? "VLANs"
                                                          : "Neighbours";
    }
};

} // namespace test
