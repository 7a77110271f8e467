#include "ketstats/model/HashTable.h"

#include "tests/support/Allocations.h"
#include "tests/support/Rows.h"
#include "tests/support/System.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <optional>
#include <random>

using namespace KetStats;
using test::Bytes;
using test::bytes;
using test::keyBytes;
using test::keyFrom;
using test::keyNumber;
using test::KeyOf;
using test::place;
using test::PlacedRow;

namespace {

template <class Row>
using TableOf = CHashTable<Row, KeyOf<Row>, typename Row::CHasher>;
using PlacedTable = TableOf<PlacedRow>;

// ---- what a search is, word by word ----

std::vector<unsigned int> wordsOf(Bytes const & key)
{
    std::vector<unsigned int> words;
    for (std::size_t i = 0; i + 1 < key.size(); i += 2)
        words.push_back(static_cast<unsigned int>(key[i] | key[i + 1] << 8));
    return words;
}

unsigned int literalHash(Bytes const & key, std::uint32_t n)
{
    auto const w = wordsOf(key);
    std::uint32_t x = w.front() % n;
    for (std::size_t i = 1; i < w.size(); ++i)
        x = ((x << 16) + w[i]) % n;
    return x;
}

unsigned int literalRehash(Bytes const & key, std::uint32_t n)
{
    auto const w = wordsOf(key);
    std::uint32_t const m = n - 1;
    std::uint32_t x = w.back() % m;
    for (std::size_t i = w.size() - 1; i > 0; --i)
        x = ((x << 16) + w[i - 1]) % m;
    return x + 1;
}

template <class Row>
unsigned int startFor(KeyOf<Row> const & key, unsigned int n)
{
    if constexpr (std::is_same_v<Row, PlacedRow>)
        return test::PlacedHasher::hash(key, n);
    else
        return literalHash(keyBytes(key), n);
}

template <class Row>
unsigned int stepFor(KeyOf<Row> const & key, unsigned int n)
{
    if constexpr (std::is_same_v<Row, PlacedRow>)
        return test::PlacedHasher::rehash(key, n);
    else
        return literalRehash(keyBytes(key), n);
}

// A table of states and keys alone, which is searched slot by slot.
template <class Row>
class SlotBySlot
{
public:
    using Key = KeyOf<Row>;
    enum State
    {
        isFree,
        isUsed,
        isDeleted
    };

    explicit SlotBySlot(unsigned int size) : states(size, isFree), keys(size) {}

    unsigned int find(Key const & key) const
    {
        Bytes const wanted = keyBytes(key);
        auto const n = static_cast<unsigned int>(states.size());
        unsigned int const start = startFor<Row>(key, n);
        if (states[start] == isFree || keys[start] == wanted)
            return start;
        unsigned int reusable = states[start] == isDeleted ? start : n;
        unsigned int const step = stepFor<Row>(key, n);
        for (unsigned int i = (start + step) % n;; i = (i + step) % n) {
            if (states[i] == isFree || keys[i] == wanted)
                return i;
            if (states[i] == isDeleted && reusable == n)
                reusable = i;
            if (i == start)
                return reusable;
        }
    }

    void alloc(unsigned int slot, Key const & key)
    {
        states[slot] = isUsed;
        keys[slot] = keyBytes(key);
        ++count;
    }
    void free(unsigned int slot)
    {
        states[slot] = isDeleted;
        --count;
    }
    void clear()
    {
        states.assign(states.size(), isFree);
        keys.assign(keys.size(), {});
        count = 0;
    }
    bool hasFreeSlots() const { return std::find(states.begin(), states.end(), isFree) != states.end(); }

    std::vector<State> states;
    std::vector<Bytes> keys; // empty in a free slot
    unsigned int count = 0;
};

// ---- helpers on real tables ----

template <class Row>
Row * put(TableOf<Row> & table, unsigned int slot, KeyOf<Row> const & key)
{
    typename Row::Container * const noContainer = nullptr;
    return table.alloc(slot, noContainer, static_cast<unsigned short>(slot + 1), key);
}

// Puts a row where find says.
template <class Row>
unsigned int insert(TableOf<Row> & table, KeyOf<Row> const & key)
{
    unsigned int const slot = table.find(key);
    put<Row>(table, slot, key);
    return slot;
}
unsigned int insert(PlacedTable & table, CIPAddress const & key)
{
    return insert<PlacedRow>(table, key);
}

// The first slots of a table as a picture: used, deleted, free.
std::string picture(PlacedTable const & table, unsigned int length)
{
    std::string result;
    for (unsigned int slot = 0; slot < length; ++slot)
        result += ".ud"[table.state(slot)];
    return result;
}

// ---- sizes ----

TEST(HashTable, SizeIsThePrimeThatGivesHalfAsMuchRoomAgain)
{
    EXPECT_EQ(PlacedTable(0).maxSize(), 251U);
    EXPECT_EQ(PlacedTable(167).maxSize(), 251U) << "250 wanted";
    EXPECT_EQ(PlacedTable(168).maxSize(), 509U) << "252 wanted";
    EXPECT_EQ(PlacedTable(200).maxSize(), 509U);
    EXPECT_EQ(PlacedTable(339).maxSize(), 509U) << "508 wanted";
    EXPECT_EQ(PlacedTable(340).maxSize(), 1021U) << "510 wanted";
    EXPECT_EQ(PlacedTable(1000).maxSize(), 2039U);
    EXPECT_EQ(PlacedTable(43680).maxSize(), 65521U) << "65520 wanted";
    EXPECT_EQ(PlacedTable(43681).maxSize(), 65521U) << "65521 wanted, and that is a size";
    EXPECT_EQ(PlacedTable(43682).maxSize(), 131071U) << "65523 wanted";
}

TEST(HashTable, SizesAreTheLargestPrimesBelowPowersOfTwo)
{
    auto const isPrime = [](unsigned int n) {
        for (unsigned int factor = 2; factor <= n / factor; ++factor)
            if (n % factor == 0)
                return false;
        return true;
    };
    ASSERT_EQ(std::size(tablePrimes), 23U);
    for (unsigned int i = 0; i < 23; ++i) {
        unsigned int expected = (1U << (8 + i)) - 1;
        while (!isPrime(expected))
            --expected;
        EXPECT_EQ(tablePrimes[i], expected);
    }
}

// ---- hashing ----

template <class Row>
testing::AssertionResult hashes(char const * key, unsigned int n, unsigned int start, unsigned int step)
{
    auto const theKey = keyFrom<KeyOf<Row>>(bytes(key));
    unsigned int const hash = Row::CHasher::hash(theKey, n);
    unsigned int const rehash = Row::CHasher::rehash(theKey, n);
    if (hash != start || rehash != step)
        return testing::AssertionFailure() << "hash " << hash << ", rehash " << rehash;
    TableOf<Row> const table(n * 2 / 3);
    if (table.maxSize() == n && table.find(theKey) != start)
        return testing::AssertionFailure() << "an empty table finds " << table.find(theKey);
    return testing::AssertionSuccess();
}

TEST(Hashing, KeysAreReadAsLittleEndianWords)
{
    // Words 1100, 3322, 5544.
    EXPECT_TRUE(hashes<CStationStat>("00 11 22 33 44 55", 251, 101, 181));
    EXPECT_TRUE(hashes<CStationStat>("00 11 22 33 44 55", 509, 271, 69));
    EXPECT_TRUE(hashes<CStationStat>("00 11 22 33 44 55", 2039, 1209, 1497));
    EXPECT_TRUE(hashes<CStationStat>("ff ff ff ff ff ff", 509, 416, 64));
    // Words 0000, 0000, 0008.
    EXPECT_TRUE(hashes<CProtocolStat>("00 00 00 00 08 00", 509, 8, 129));
    EXPECT_TRUE(hashes<CGenProtoStat<0>>("00 00 00 00 00 06", 509, 9, 193));
    EXPECT_TRUE(hashes<CTcpPortStat>("00 00 00 00 01 bb", 2039, 976, 191));
    EXPECT_TRUE(hashes<CTcpPortStat>("00 00 00 00 01 bb", 509, 27, 413));
    EXPECT_TRUE(hashes<CUdpPortStat>("00 00 00 00 00 35", 2039, 1334, 1537));
    // The words of the first address come first, and a pair and its reverse are two keys.
    EXPECT_TRUE(hashes<CMACConnectionStat>("00 11 22 33 44 55  66 77 88 99 aa bb", 509, 141, 141));
    EXPECT_TRUE(hashes<CMACConnectionStat>("66 77 88 99 aa bb  00 11 22 33 44 55", 509, 343, 179));
    EXPECT_TRUE(hashes<CIPConnectionStat>("0a 00 00 01  0a 00 00 02", 2039, 546, 1887));
    EXPECT_TRUE(hashes<CIPConnectionStat>("0a 00 00 02  0a 00 00 01", 2039, 1847, 2011));
    // Words a8c0, 0100: the bytes of an address as they lie.
    EXPECT_TRUE(hashes<CARPStat>("c0 a8 00 01", 509, 237, 29));
}

TEST(Hashing, ShiftsDiscardWhatLeavesThirtyTwoBits)
{
    EXPECT_TRUE(hashes<CStationStat>("00 11 22 33 44 55", 131071, 29461, 39271));
    auto const key = keyFrom<CMACAddrPacked>(bytes("00 11 22 33 44 55"));
    EXPECT_EQ(CStationStat::CHasher::hash(key, 1073741789), 857888068U);
    EXPECT_EQ(CStationStat::CHasher::rehash(key, 1073741789), 860229889U);
}

template <unsigned int Words>
struct WordKey
{
    std::array<std::uint16_t, Words> words{};
};

template <unsigned int Words>
void plansAgree(test::Random & random)
{
    using Key = WordKey<Words>;
    using Hasher = CWordHasher<Key>;
    std::vector<Key> keys(300);
    for (std::size_t i = 0; i < keys.size(); ++i)
        for (std::uint16_t & word : keys[i].words)
            switch (i < 40 ? random.below(3) : 3) {
            case 0:
                word = 0xFFFF;
                break;
            case 1:
                word = 0;
                break;
            default:
                word = static_cast<std::uint16_t>(random.any());
            }
    keys.front().words.fill(0xFFFF);
    keys[1].words.fill(0);

    unsigned int planned = 0;
    for (unsigned int const n : tablePrimes)
        for (Key const & key : keys) {
            Bytes const content(reinterpret_cast<unsigned char const *>(&key),
                                reinterpret_cast<unsigned char const *>(&key) + sizeof key);
            unsigned int const start = literalHash(content, n);
            unsigned int const step = literalRehash(content, n);
            ASSERT_EQ(Hasher::hash(key, n), start) << Words << " words, size " << n;
            ASSERT_EQ(Hasher::rehash(key, n), step) << Words << " words, size " << n;
            ASSERT_LT(start, n);
            ASSERT_TRUE(step >= 1 && step < n);
            if (CHashPlan const * const plan = hashPlanOf(n)) {
                ASSERT_EQ(Hasher::hash(key, *plan), start) << Words << " words, planned size " << n;
                ASSERT_EQ(Hasher::rehash(key, *plan), step) << Words << " words, planned size " << n;
                ++planned;
            }
        }
    EXPECT_EQ(planned, plannedPrimes * keys.size());
}

TEST(Hashing, PlansGiveTheNumbersOfTheDefinition)
{
    test::Random random(1);
    plansAgree<1>(random);
    plansAgree<2>(random);
    plansAgree<3>(random);
    plansAgree<4>(random);
    plansAgree<5>(random);
    plansAgree<6>(random);
}

TEST(Hashing, SizesThatAreNoPlannedPrimesHaveNoPlan)
{
    EXPECT_EQ(hashPlanOf(131071), nullptr);
    EXPECT_EQ(hashPlanOf(250), nullptr);
    EXPECT_EQ(hashPlanOf(0), nullptr);
    ASSERT_NE(hashPlanOf(509), nullptr);
    EXPECT_EQ(hashPlanOf(509)->step.value, 508U);
}

TEST(Divisor, IsExactUpToItsBound)
{
    std::vector<unsigned int> divisors{2, 3, 7, 10, 255, 256, 65535, 65536, 65537, 0x7FFFFFFF, 0xFFFFFFFF};
    for (unsigned int const prime : tablePrimes) {
        divisors.push_back(prime);
        divisors.push_back(prime - 1);
    }
    std::mt19937_64 random(2);
    for (unsigned int const divisor : divisors) {
        CDivisor const by(divisor);
        std::uint64_t const largest = ~std::uint64_t{0} / divisor;
        auto const expectExact = [&](std::uint64_t x) {
            ASSERT_EQ(by.remainder(x), x % divisor) << x << " by " << divisor;
        };
        for (std::uint64_t x = 0; x < 10; ++x) {
            expectExact(x);
            expectExact(largest - x);
        }
        std::uint64_t const multiple = largest / divisor * divisor;
        for (std::uint64_t const x :
             {multiple, multiple - 1, std::uint64_t{divisor}, std::uint64_t{divisor} - 1})
            expectExact(x);
        // The sums that plans are asked for: six words with their weights.
        std::uint64_t const sum = std::uint64_t{6} * 0xFFFF * (divisor - 1);
        if (divisor < 65536)
            for (std::uint64_t x = sum - 3; x <= sum; ++x)
                expectExact(x);
        for (int i = 0; i < 1000; ++i) {
            std::uint64_t const x = random() % largest;
            expectExact(x);
            expectExact(x / divisor * divisor);
            expectExact(x / divisor * divisor + divisor - 1);
        }
    }
}

// ---- searching ----

TEST(HashTable, EmptyTableFindsTheStartOfTheSearch)
{
    PlacedTable const table(100);

    unsigned int const slot = table.find(place(17, 5, 1));

    EXPECT_EQ(slot, 17U);
    EXPECT_TRUE(table.isEmpty(slot));
    EXPECT_EQ(table.findUsed(place(17, 5, 1)), table.none);
    EXPECT_EQ(table.size(), 0U);
}

TEST(HashTable, RowIsFoundWhereItWasPut)
{
    PlacedTable table(100);
    CIPAddress const key = place(17, 5, 1);

    PlacedRow * const row = put<PlacedRow>(table, 17, key);

    EXPECT_EQ(table.find(key), 17U);
    EXPECT_EQ(table.find(*row), 17U);
    EXPECT_EQ(table.findUsed(key), 17U);
    EXPECT_FALSE(table.isEmpty(17));
    EXPECT_EQ(&table[17], row);
    EXPECT_EQ(&std::as_const(table)[17], row);
    EXPECT_EQ(table.size(), 1U);
    EXPECT_EQ(row->getId(), 18U);
    EXPECT_EQ(row->address.get(), key);
    EXPECT_EQ(&table.getKey(*row), &row->address.get()) << "the key within the row, no copy of it";
    EXPECT_TRUE(table.keyCompare(*row, key));
    EXPECT_FALSE(table.keyCompare(*row, place(17, 5, 2)));
}

TEST(HashTable, KeysOfOneStartGoOnByTheirOwnSteps)
{
    PlacedTable table(100);
    insert(table, place(4, 1, 0));

    EXPECT_EQ(table.find(place(4, 1, 1)), 5U);
    EXPECT_EQ(table.find(place(4, 3, 1)), 7U);
    EXPECT_EQ(table.find(place(4, 249, 1)), 2U) << "4 + 249 - 251: the walk wraps around";
}

TEST(HashTable, RealKeysOfOneHashTakeThePathsOfTheirRehash)
{
    TableOf<CStationStat> table(100);
    std::optional<CMACAddrPacked> other;
    auto const first = keyNumber<CMACAddrPacked>(1);
    unsigned int const start = literalHash(keyBytes(first), 251);
    unsigned int found = 0;
    insert<CStationStat>(table, first);

    for (unsigned int number = 2; found < 5; ++number) {
        auto const key = keyNumber<CMACAddrPacked>(number);
        if (literalHash(keyBytes(key), 251) != start)
            continue;
        ++found;
        EXPECT_EQ(table.find(key), (start + literalRehash(keyBytes(key), 251)) % 251);
        if (other) {
            EXPECT_NE(table.find(key), table.find(*other));
        }
        other = key;
    }
}

TEST(HashTable, SearchGoesOnPastDeletedSlots)
{
    PlacedTable table(100);
    CIPAddress const a = place(0, 1, 1);
    CIPAddress const b = place(0, 1, 2);
    insert(table, a);
    insert(table, b);
    ASSERT_EQ(picture(table, 4), "uu..");

    table.free(0);

    EXPECT_EQ(picture(table, 4), "du..");
    EXPECT_EQ(table.find(b), 1U);
    EXPECT_FALSE(table.isEmpty(1));
    EXPECT_EQ(table.size(), 1U);
}

TEST(HashTable, DeletedSlotIsOfferedToItsOldKeyAgain)
{
    PlacedTable table(100);
    CIPAddress const a = place(0, 1, 1);
    CIPAddress const b = place(0, 1, 2);
    CIPAddress const c = place(0, 1, 3);
    insert(table, a);
    insert(table, b);
    insert(table, c);

    table.free(0);
    table.free(1);

    EXPECT_EQ(picture(table, 4), "ddu.");
    EXPECT_EQ(table.find(b), 1U) << "its own slot, not the first deleted one, and not the free one";
    EXPECT_TRUE(table.isEmpty(1));
    EXPECT_EQ(table.findUsed(b), table.none);
    EXPECT_EQ(table.find(a), 0U);

    insert(table, b);
    EXPECT_EQ(picture(table, 4), "duu.");
    EXPECT_EQ(table.find(b), 1U);
    EXPECT_EQ(table[1].address.get(), b);
}

TEST(HashTable, FreeSlotIsTakenBeforeADeletedOneOnTheWay)
{
    PlacedTable table(100);
    insert(table, place(0, 1, 1));
    insert(table, place(0, 1, 2));
    table.free(0);
    ASSERT_EQ(picture(table, 4), "du..");

    EXPECT_EQ(table.find(place(0, 1, 3)), 2U);
    insert(table, place(0, 1, 3));
    EXPECT_EQ(picture(table, 4), "duu.");
}

TEST(HashTable, FirstDeletedSlotIsTakenWhenNoSlotIsFree)
{
    PlacedTable table(100);
    for (unsigned int serial = 0; serial < 251; ++serial)
        ASSERT_EQ(insert(table, place(0, 1, serial)), serial);
    table.free(7);
    table.free(3);
    table.free(200);

    EXPECT_EQ(table.find(place(0, 1, 251)), 3U);
    EXPECT_EQ(table.find(place(7, 1, 251)), 7U) << "the start itself";
    EXPECT_EQ(table.find(place(8, 1, 251)), 200U);
    EXPECT_EQ(table.find(place(201, 1, 251)), 3U) << "around the end";
    EXPECT_EQ(table.find(place(4, 248, 251)), 3U) << "4, 1, 249, 246 ... 3: steps of minus three";
    EXPECT_EQ(table.find(place(206, 248, 251)), 200U) << "206, 203, 200";
    EXPECT_EQ(table.find(place(0, 1, 200)), 200U) << "the old key of a deleted slot";
}

TEST(HashTable, LastFreeSlotIsFoundHoweverFarTheWalk)
{
    PlacedTable table(100);
    for (unsigned int serial = 0; serial < 250; ++serial)
        insert(table, place(0, 1, serial));
    for (unsigned int slot = 0; slot < 250; ++slot)
        table.free(slot);

    EXPECT_EQ(table.find(place(0, 1, 250)), 250U);
    EXPECT_EQ(table.find(place(0, 7, 0)), 250U);
    insert(table, place(0, 7, 0));
    EXPECT_EQ(table.find(place(0, 1, 250)), 0U) << "none is free now";
}

TEST(HashTable, SlotTakenOverByAnotherKeyIsForgottenByTheFirst)
{
    PlacedTable table(100);
    for (unsigned int serial = 0; serial < 251; ++serial)
        insert(table, place(0, 1, serial));
    table.free(5);
    table.free(9);
    CIPAddress const intruder = place(0, 1, 255);

    ASSERT_EQ(insert(table, intruder), 5U);

    EXPECT_EQ(table.find(place(0, 1, 5)), 9U) << "the old key goes where any new one does";
    EXPECT_EQ(table.find(intruder), 5U);
    table.free(5);
    EXPECT_EQ(table.find(place(0, 1, 5)), 5U);
    EXPECT_EQ(table.find(intruder), 5U) << "the slot bears its key now";
    EXPECT_EQ(table.find(place(9, 1, 0)), 9U) << "a deleted start is the first deleted one";
}

TEST(HashTable, FullTableHasNoPlaceForAnAbsentKey)
{
    PlacedTable table(100);
    for (unsigned int serial = 0; serial < 251; ++serial)
        insert(table, place(serial, 1, 0));
    ASSERT_EQ(table.size(), table.maxSize());

    EXPECT_EQ(table.find(place(3, 1, 1)), table.maxSize());
    EXPECT_EQ(table.find(place(3, 1, 0)), 3U) << "a key that is there";
    EXPECT_EQ(table.findUsed(place(3, 1, 1)), table.none);
}

TEST(HashTable, ClearedTableHasForgottenItsDeletedKeys)
{
    PlacedTable table(100);
    insert(table, place(0, 1, 1));
    insert(table, place(0, 1, 2));
    table.free(0);

    table.destroyElements();

    EXPECT_EQ(picture(table, 4), "....");
    EXPECT_EQ(table.size(), 0U);
    EXPECT_TRUE(PlacedRow::living().empty());
    EXPECT_EQ(table.find(place(0, 1, 2)), 0U);
    EXPECT_EQ(insert(table, place(0, 1, 2)), 0U);
    EXPECT_EQ(table.maxSize(), 251U);
}

TEST(HashTable, TablesWithoutAPlanSearchInTheSameWay)
{
    TableOf<CARPStat> table(50000);
    ASSERT_EQ(table.maxSize(), 131071U);
    SlotBySlot<CARPStat> slots(table.maxSize());

    for (unsigned int number = 0; number < 2000; ++number) {
        auto const key = keyNumber<CIPAddress>(number * 2654435761U);
        unsigned int const slot = slots.find(key);
        ASSERT_EQ(table.find(key), slot);
        put<CARPStat>(table, slot, key);
        slots.alloc(slot, key);
        if (number % 3 == 0) {
            table.free(slot);
            slots.free(slot);
        }
    }
}

// ---- rows built by the caller ----

PlacedRow * build(PlacedTable & table, unsigned int slot, CIPAddress const & key)
{
    return new (table.alloc(slot)) PlacedRow(nullptr, static_cast<unsigned short>(slot + 1), key);
}

TEST(HashTable, RowsBuiltByTheCallerAreFound)
{
    PlacedTable table(100);
    CIPAddress const a = place(0, 1, 1);
    CIPAddress const b = place(0, 1, 2);

    PlacedRow * const first = build(table, table.find(a), a);
    EXPECT_EQ(table.size(), 1U);
    EXPECT_FALSE(table.isEmpty(0));
    EXPECT_EQ(&table[0], first);
    EXPECT_EQ(table.find(b), 1U) << "another key is asked for first";
    build(table, 1, b);

    EXPECT_EQ(table.find(b), 1U);
    EXPECT_EQ(table.find(a), 0U);
    EXPECT_EQ(table.findUsed(a), 0U);
}

TEST(HashTable, RowsBuiltByTheCallerInARow)
{
    PlacedTable table(100);

    build(table, 10, place(10, 1, 0));
    build(table, 11, place(11, 1, 0));
    put<PlacedRow>(table, 12, place(12, 1, 0));
    build(table, 13, place(13, 1, 0));

    for (unsigned int slot = 10; slot < 14; ++slot)
        EXPECT_EQ(table.findUsed(place(slot, 1, 0)), slot);
    EXPECT_EQ(table.size(), 4U);
}

TEST(HashTable, SlotsMayBeTakenInARowBeforeTheirRowsAreBuilt)
{
    PlacedTable table(100);
    insert(table, place(0, 1, 1));
    table.free(0); // a slot that bears a key

    void * const storage[] = {table.alloc(0), table.alloc(11), table.alloc(12)};
    for (unsigned int i = 0; i < 3; ++i)
        new (storage[i]) PlacedRow(nullptr, 1, place(i == 0 ? 0 : 10 + i, 1, 9));

    EXPECT_EQ(table.findUsed(place(0, 1, 9)), 0U);
    EXPECT_EQ(table.findUsed(place(11, 1, 9)), 11U);
    EXPECT_EQ(table.findUsed(place(12, 1, 9)), 12U);
    EXPECT_EQ(table.find(place(0, 1, 1)), 1U) << "the key that the slot bore before";
    EXPECT_EQ(table.size(), 3U);
}

TEST(HashTable, RowBuiltByTheCallerLeavesItsKeyWhenItGoesAtOnce)
{
    PlacedTable table(100);

    build(table, 0, place(0, 1, 1));
    table.free(0);

    EXPECT_EQ(table.find(place(0, 1, 1)), 0U) << "its deleted slot";
    EXPECT_EQ(table.find(place(0, 1, 2)), 1U);
    EXPECT_TRUE(PlacedRow::living().empty());
}

TEST(HashTable, RowBuiltByTheCallerTakesADeletedSlotOver)
{
    PlacedTable table(100);
    for (unsigned int serial = 0; serial < 251; ++serial)
        insert(table, place(0, 1, serial));
    table.free(5);

    build(table, 5, place(0, 1, 255));

    EXPECT_EQ(table.find(place(0, 1, 255)), 5U);
    EXPECT_EQ(table.find(place(0, 1, 5)), table.maxSize());
}

TEST(HashTable, RowBuiltByTheCallerIsDestroyedWithTheTable)
{
    {
        PlacedTable table(100);
        build(table, 3, place(3, 1, 0));
    }
    EXPECT_TRUE(PlacedRow::living().empty());

    PlacedTable table(100);
    build(table, 3, place(3, 1, 0));
    table.destroyElements();
    EXPECT_TRUE(PlacedRow::living().empty());
    EXPECT_EQ(table.find(place(3, 1, 0)), 3U);
    EXPECT_TRUE(table.isEmpty(3));
}

// ---- rows ----

TEST(HashTable, EveryRowIsDestroyedOnce)
{
    {
        PlacedTable table(100);
        for (unsigned int serial = 0; serial < 50; ++serial)
            insert(table, place(serial, 1, 0));
        for (unsigned int slot = 0; slot < 50; slot += 2)
            table.free(slot);
        EXPECT_EQ(PlacedRow::living().size(), 25U);
        for (unsigned int serial = 100; serial < 120; ++serial)
            insert(table, place(serial, 1, 0));
        EXPECT_EQ(PlacedRow::living().size(), 45U);
        EXPECT_EQ(table.size(), 45U);
    }
    EXPECT_TRUE(PlacedRow::living().empty());
}

TEST(HashTable, DestroyingTwiceDestroysOnce)
{
    PlacedTable table(100);
    insert(table, place(1, 1, 0));

    table.destroy();
    EXPECT_TRUE(PlacedRow::living().empty());
    EXPECT_EQ(table.size(), 0U);
    table.destroy();
}

TEST(HashTable, RowsStayWhereTheyAre)
{
    PlacedTable table(100);
    std::map<unsigned int, PlacedRow *> rows;
    test::Random random(3);

    for (int step = 0; step < 5000; ++step) {
        CIPAddress const key = place(random.below(40), 1 + random.below(3), random.below(20));
        unsigned int const slot = table.find(key);
        if (table.isEmpty(slot) && table.size() < 150) {
            rows[slot] = put<PlacedRow>(table, slot, key);
        } else if (!table.isEmpty(slot)) {
            table.free(slot);
            rows.erase(slot);
        }
        for (auto const & [at, row] : rows)
            ASSERT_EQ(&table[at], row);
    }
    EXPECT_EQ(rows.size(), table.size());
}

TEST(HashTable, SearchingAndFillingAllocateNothing)
{
    TableOf<CARPStat> table(200);
    CARPStat::groupDescription();
    test::Allocations const allocations;

    for (unsigned int number = 0; number < 2000; ++number) {
        CIPAddress const key(number * 2654435761U);
        unsigned int const slot = table.find(key);
        put<CARPStat>(table, slot, key);
        if (table.size() > 100)
            table.free(slot);
    }
    table.destroyElements();

    EXPECT_EQ(allocations.count(), 0);
}

// ---- memory ----

struct HugeRow
{
    using CHasher = test::PlacedHasher;
    using Container = CHashedContainerStat<HugeRow, CIPAddress, CHasher>;

    HugeRow(Container *, unsigned short, CIPAddress const & theKey) : key(theKey) {}
    CIPAddress const & rowKey() const { return key; }

    CIPAddress key;
    char content[256 << 10];
};

TEST(HashTable, MemoryOfRowsIsTouchedOnlyByRows)
{
    long const before = test::residentMegabytes();
    if (before == 0)
        GTEST_SKIP() << "this system doesn't tell its resident memory";

    TableOf<HugeRow> table(1000);
    table.destroyElements();
    ASSERT_EQ(table.find(place(5, 1, 0)), 5U);
    HugeRow::Container * const noContainer = nullptr;
    for (unsigned int slot = 0; slot < 2000; slot += 20)
        table.alloc(slot, noContainer, static_cast<unsigned short>(1), place(slot, 1, 0));
    for (unsigned int slot = 0; slot < 2000; slot += 20)
        table.free(slot);

    EXPECT_LT(test::residentMegabytes() - before, 200) << "of 510 megabytes of rows";
}

// ---- long histories ----

// Drives a table and a search slot by slot through one random history of rows that come and go, and compares
// every answer.
template <class Row>
class History
{
public:
    using Key = KeyOf<Row>;

    History(unsigned int maxElements, unsigned int mostRows, std::vector<Key> keys, unsigned int seed)
        : m_table(maxElements),
          m_slots(m_table.maxSize()),
          m_mostRows(mostRows),
          m_keys(std::move(keys)),
          m_random(seed)
    {}

    // Returns at the first difference, which is a failure then.
    void run(int steps)
    {
        for (int step = 0; step < steps; ++step) {
            SCOPED_TRACE(testing::Message() << "step " << step);
            turn();
            if (!testing::Test::HasFatalFailure())
                askAround();
            if (!testing::Test::HasFatalFailure() && step % 101 == 0)
                compareAll();
            if (testing::Test::HasFatalFailure())
                return;
            m_freeRanOut = m_freeRanOut || (step % 16 == 0 && !m_slots.hasFreeSlots());
        }
        compareAll();
    }

    // Whether there was a time with no free slot left.
    bool freeRanOut() const { return m_freeRanOut; }
    bool filled() const { return m_filled; }

private:
    Key const & anyKey() { return m_keys[m_random.below(m_keys.size())]; }

    void turn()
    {
        if (m_random.oneIn(m_clearEvery)) {
            m_table.destroyElements();
            m_slots.clear();
            m_clearEvery *= 4;
        }
        // A table that may fill up stays full for a while.
        bool const mayFill = m_mostRows == m_table.maxSize();
        if (m_slots.count == m_mostRows && m_random.oneIn(mayFill ? 10 : 1))
            freeOne();
        Key const key = anyKey();
        unsigned int const slot = m_slots.find(key);
        ASSERT_EQ(m_table.find(key), slot);
        if (slot == m_table.maxSize()) {
            m_filled = true;
        } else if (m_slots.states[slot] == m_slots.isUsed) {
            if (m_random.oneIn(mayFill ? 60 : 3))
                free(slot);
        } else if (m_slots.count < m_mostRows) {
            alloc(slot, key);
        }
    }

    void alloc(unsigned int slot, Key const & key)
    {
        auto const id = static_cast<unsigned short>(slot + 1);
        if (m_random.oneIn(4))
            new (m_table.alloc(slot)) Row(nullptr, id, key);
        else
            put<Row>(m_table, slot, key);
        m_slots.alloc(slot, key);
    }
    void free(unsigned int slot)
    {
        m_table.free(slot);
        m_slots.free(slot);
    }
    void freeOne()
    {
        unsigned int slot = m_random.below(m_slots.states.size());
        while (m_slots.states[slot] != m_slots.isUsed)
            slot = (slot + 1) % m_table.maxSize();
        free(slot);
    }

    // Asks for a key that is there, one that was deleted, and one of all.
    void askAround()
    {
        ASSERT_EQ(m_table.size(), m_slots.count);
        for (auto const state : {m_slots.isUsed, m_slots.isDeleted}) {
            unsigned int slot = m_random.below(m_slots.states.size());
            for (int tries = 0; tries < 20 && m_slots.states[slot] != state; ++tries)
                slot = m_random.below(m_slots.states.size());
            if (m_slots.states[slot] != state)
                continue;
            auto const key = keyFrom<Key>(m_slots.keys[slot]);
            ASSERT_EQ(m_slots.find(key), slot);
            ASSERT_EQ(m_table.find(key), slot);
            ASSERT_EQ(m_table.findUsed(key), state == m_slots.isUsed ? slot : m_table.none);
        }
        Key const & key = anyKey();
        unsigned int const slot = m_slots.find(key);
        ASSERT_EQ(m_table.find(key), slot);
        if (slot != m_table.maxSize()) {
            ASSERT_EQ(m_table.isEmpty(slot), m_slots.states[slot] != m_slots.isUsed);
        }
    }

    void compareAll()
    {
        for (unsigned int slot = 0; slot < m_table.maxSize(); ++slot) {
            ASSERT_EQ(m_table.isEmpty(slot), m_slots.states[slot] != m_slots.isUsed) << "slot " << slot;
            if (m_table.isEmpty(slot))
                continue;
            ASSERT_EQ(keyBytes(m_table[slot].rowKey()), m_slots.keys[slot]) << "slot " << slot;
            ASSERT_EQ(m_table[slot].getId(), slot + 1);
            ASSERT_EQ(m_table.find(m_table[slot]), slot);
        }
    }

    TableOf<Row> m_table;
    SlotBySlot<Row> m_slots;
    unsigned int m_mostRows;
    std::vector<Key> m_keys;
    test::Random m_random;
    unsigned int m_clearEvery = 500;
    bool m_freeRanOut = false;
    bool m_filled = false;
};

template <class Key>
std::vector<Key> keyPool(unsigned int count, unsigned int seed)
{
    test::Random random(seed);
    std::vector<Key> keys;
    for (unsigned int i = 0; i < count; ++i) {
        // Numbers as they come in addresses and ports, and any at all.
        unsigned int const number = i % 2 == 0 ? i : random.any();
        keys.push_back(keyNumber<Key>(number));
    }
    return keys;
}

template <class Row>
class HashTableOf : public testing::Test
{};
TYPED_TEST_SUITE(HashTableOf, test::RowKinds, test::RowKindNames);

TYPED_TEST(HashTableOf, AnswersLikeASearchSlotBySlotThroughLongHistories)
{
    for (unsigned int seed = 1; seed <= 2; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        History<TypeParam> history(100, 100, keyPool<KeyOf<TypeParam>>(700, seed), seed);
        history.run(3000);
        if (this->HasFatalFailure())
            return;
        EXPECT_TRUE(history.freeRanOut());
    }
}

TYPED_TEST(HashTableOf, AnswersLikeASearchSlotBySlotWhenEverySlotIsUsed)
{
    History<TypeParam> history(100, 251, keyPool<KeyOf<TypeParam>>(1500, 11), 11);
    history.run(3000);
    if (this->HasFatalFailure())
        return;
    EXPECT_TRUE(history.filled());
}

TYPED_TEST(HashTableOf, AnswersLikeASearchSlotBySlotInTheSizesOfTheTree)
{
    for (unsigned int const limit : {200U, 1000U}) {
        SCOPED_TRACE(testing::Message() << "limit " << limit);
        History<TypeParam> history(limit, limit - 1, keyPool<KeyOf<TypeParam>>(limit * 7, limit), limit);
        history.run(6000);
        if (this->HasFatalFailure())
            return;
        EXPECT_TRUE(history.freeRanOut());
    }
}

struct Crowd
{
    char const * name;
    unsigned int starts;
    unsigned int apart; // from start to start; 251 comes back to the same slot
    unsigned int steps;
    unsigned int serials;
};

class CrowdedHashTable : public testing::TestWithParam<Crowd>
{};

TEST_P(CrowdedHashTable, AnswersLikeASearchSlotBySlot)
{
    Crowd const & crowd = GetParam();
    std::vector<CIPAddress> keys;
    for (unsigned int start = 0; start < crowd.starts; ++start)
        for (unsigned int step = 0; step < crowd.steps; ++step)
            for (unsigned int serial = 0; serial < crowd.serials; ++serial)
                keys.push_back(place(start * crowd.apart, 1 + step * 61, serial));

    for (unsigned int const mostRows : {5U, 100U, 250U, 251U})
        for (unsigned int seed = 1; seed <= 2; ++seed) {
            SCOPED_TRACE(testing::Message() << "seed " << seed << ", at most " << mostRows << " rows");
            {
                History<PlacedRow> history(100, mostRows, keys, seed);
                history.run(3000);
                if (HasFatalFailure())
                    return;
                EXPECT_TRUE(history.freeRanOut());
                EXPECT_EQ(history.filled(), mostRows == 251);
            }
            ASSERT_TRUE(PlacedRow::living().empty());
        }
}

INSTANTIATE_TEST_SUITE_P(Keys, CrowdedHashTable,
                         testing::Values(Crowd{"AllOnOnePath", 2, 251, 1, 200},
                                         Crowd{"OneHashFewSteps", 1, 0, 4, 150},
                                         Crowd{"FewHashesOneStep", 10, 25, 1, 60},
                                         Crowd{"FewHashesFewSteps", 5, 25, 4, 40}),
                         [](auto const & instance) { return std::string(instance.param.name); });

} // namespace
