// How fast the frames of a capture can be counted, whoever does it: the same bounded tables as the library's, in plain
// arrays, without a tree, without objects, and without a gate. It is what a pass is measured against, and no use for
// anything else.
//
//     ketstats-floor FILE [PASSES]     best and median time of a frame, the frames being in memory
//     ketstats-floor --read FILE       reads and counts the file once, in blocks

#include "bench/FloorFrames.h"
#include "bench/FloorTables.h"

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace floorcount;

class Count
{
public:
    void clear()
    {
        m_total = {};
        m_kinds = {};
        m_sizes = {};
        m_layouts = {};
        m_tagged = {};
        m_subprotocols = {};
        m_protocols.clear();
        m_stations.clear();
        m_macPairs.clear();
        m_ipPairs.clear();
        m_bindings.clear();
        for (auto & table : m_ports)
            table.clear();
        m_stationPorts.clear();
        m_owner.fill(none);
        m_firstPort.fill(none);
    }

    void run(std::vector<FrameAt> const & frames)
    {
        constexpr std::size_t ahead = 12;
        for (std::size_t i = 0; i < frames.size(); ++i) {
            if (i + ahead < frames.size()) {
                __builtin_prefetch(frames[i + ahead].bytes);
                __builtin_prefetch(frames[i + ahead].bytes + 40);
            }
            count(fieldsOf(frames[i]));
        }
    }

    // Everything that was counted, in the order of the tables, as one number.
    std::uint64_t digest()
    {
        std::uint64_t hash = 1;
        auto const mix = [&](std::uint64_t value) {
            hash = (hash ^ value) * 0x9E3779B97F4A7C15;
            hash ^= hash >> 29;
        };
        auto const sums = [&](Sum const & sum) {
            mix(sum.frames);
            mix(sum.bytes);
        };
        auto const table = [&](auto & rows, bool ofStations = false) {
            rows.fromNewest([&](Row const & row) {
                if (ofStations)
                    mix(m_stations.row(static_cast<unsigned int>(row.low >> portBits)).low);
                mix(ofStations ? row.low & ((1U << portBits) - 1) : row.low);
                mix(row.high);
                for (std::uint64_t const count : row.counts)
                    mix(count);
                mix(row.first);
                mix(row.last);
            });
        };
        sums(m_total);
        std::for_each(m_kinds.begin(), m_kinds.end(), sums);
        std::for_each(m_sizes.begin(), m_sizes.end(), sums);
        std::for_each(m_layouts.begin(), m_layouts.end(), sums);
        sums(m_tagged);
        std::for_each(m_subprotocols.begin(), m_subprotocols.end(), sums);
        table(m_protocols);
        table(m_stations);
        table(m_macPairs);
        table(m_ipPairs);
        table(m_bindings);
        table(m_ports[0]);
        table(m_ports[1]);
        table(m_stationPorts, true);
        return hash;
    }

private:
    static constexpr unsigned int stationRows = 199;
    static constexpr unsigned int portRows = 16384; // of all stations together
    static constexpr unsigned int portBits = 17;    // one of them tells UDP from TCP
    static constexpr std::uint16_t none = 0xFFFF;

    struct Sum
    {
        void add(std::uint64_t length)
        {
            ++frames;
            bytes += length;
        }

        std::uint64_t frames = 0;
        std::uint64_t bytes = 0;
    };

    static void send(Row & row, std::uint64_t length)
    {
        ++row.counts[0];
        row.counts[1] += length;
    }
    static void receive(Row & row, std::uint64_t length)
    {
        ++row.counts[2];
        row.counts[3] += length;
    }
    static bool hasRow(std::uint32_t port) { return port - 1 < 1024; }
    static unsigned int sizeClass(std::uint32_t length)
    {
        if (length > 1518)
            return 7;
        return length < 65 ? length == 64 : static_cast<unsigned int>(std::bit_width(length)) - 5;
    }

    void count(Fields const & fields)
    {
        std::uint64_t const length = fields.length;
        std::uint64_t const time = fields.time;
        bool const unicast = fields.kind == 0;
        m_total.add(length);
        m_kinds[fields.kind].add(length);
        m_sizes[sizeClass(fields.length)].add(length);
        m_layouts[fields.layout].add(length);
        if (fields.tagged) [[unlikely]]
            m_tagged.add(length);
        send(m_protocols.meet(fields.protocol, 0, time), length);

        bool const counted = unicast && fields.ip;
        bool const ports = counted && fields.ports;
        unsigned int const udp = fields.subprotocol == 17;
        if (counted) {
            send(m_ipPairs.meet(static_cast<std::uint64_t>(fields.to) << 32 | fields.from, 0, time), length);
            m_subprotocols[fields.subprotocol].add(length);
            if (ports && hasRow(fields.fromPort))
                send(m_ports[udp].meet(fields.fromPort, 0, time), length);
            if (ports && hasRow(fields.toPort))
                receive(m_ports[udp].meet(fields.toPort, 0, time), length);
        }

        unsigned int const source = station(fields.source, time);
        send(m_stations.row(source), length);
        if (ports && hasRow(fields.fromPort))
            send(stationPort(source, udp << 16 | fields.fromPort, time), length);
        if (unicast) {
            unsigned int const destination = station(fields.destination, time);
            receive(m_stations.row(destination), length);
            if (ports && hasRow(fields.toPort))
                receive(stationPort(destination, udp << 16 | fields.toPort, time), length);
            send(m_macPairs.meet(fields.source, fields.destination, time), length);
        }
        if (!counted && fields.arp) {
            Row & row = m_bindings.meet(fields.from, 0, time);
            ++row.counts[1];
            if (row.counts[0] != fields.sender) {
                row.counts[0] = fields.sender;
                ++row.counts[2];
            }
        }
    }

    // A station that makes way takes its ports with it.
    unsigned int station(std::uint64_t address, std::uint64_t time)
    {
        bool isNew;
        unsigned int const row = m_stations.meet(address, 0, time, isNew);
        if (isNew) [[unlikely]] {
            for (std::uint16_t port = m_firstPort[row]; port != none;) {
                std::uint16_t const next = m_chain[port].next;
                m_owner[port] = none;
                m_stationPorts.erase(port);
                port = next;
            }
            m_firstPort[row] = none;
        }
        return row;
    }

    Row & stationPort(unsigned int station, std::uint32_t port, std::uint64_t time)
    {
        bool isNew;
        unsigned int const row =
            m_stationPorts.meet(static_cast<std::uint64_t>(station) << portBits | port, 0, time, isNew);
        if (isNew) [[unlikely]]
            own(static_cast<std::uint16_t>(row), station);
        return m_stationPorts.row(row);
    }

    [[gnu::noinline]] void own(std::uint16_t port, unsigned int station)
    {
        if (std::uint16_t const before = m_owner[port]; before != none) {
            Chain const links = m_chain[port];
            (links.previous == none ? m_firstPort[before] : m_chain[links.previous].next) = links.next;
            if (links.next != none)
                m_chain[links.next].previous = links.previous;
        }
        m_owner[port] = static_cast<std::uint16_t>(station);
        m_chain[port] = {none, m_firstPort[station]};
        if (m_firstPort[station] != none)
            m_chain[m_firstPort[station]].previous = port;
        m_firstPort[station] = port;
    }

    struct Chain
    {
        std::uint16_t previous, next;
    };

    Sum m_total;
    std::array<Sum, 3> m_kinds;
    std::array<Sum, 8> m_sizes;
    std::array<Sum, 5> m_layouts;
    Sum m_tagged;
    std::array<Sum, 256> m_subprotocols;
    Table<199> m_protocols;
    Table<stationRows> m_stations;
    Table<199, true> m_macPairs;
    Table<999> m_ipPairs;
    Table<199> m_bindings;
    Table<999> m_ports[2];
    Table<portRows> m_stationPorts;
    std::array<std::uint16_t, portRows> m_owner;
    std::array<Chain, portRows> m_chain;
    std::array<std::uint16_t, stationRows> m_firstPort;
};

struct Closer
{
    void operator()(std::FILE * file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closer>;

[[noreturn]] void fail(std::string const & why)
{
    std::fprintf(stderr, "ketstats-floor: %s\n", why.c_str());
    std::exit(1);
}

constexpr std::size_t fileHeader = 24;

File opened(std::string const & path)
{
    File file(std::fopen(path.c_str(), "rb"));
    if (!file)
        fail(path + ": can't be opened");
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    std::array<unsigned char, fileHeader> header{};
    if (std::fread(header.data(), 1, fileHeader, file.get()) != fileHeader ||
        load<std::uint32_t>(header.data()) != 0xA1B2C3D4)
        fail(path + ": isn't a classic little-endian capture with microseconds");
    return file;
}

void countBlocks(std::string const & path)
{
    constexpr std::size_t block = 256 << 10;
    constexpr std::size_t longest = 1 << 20;
    File const file = opened(path);
    auto const count = std::make_unique<Count>();
    count->clear();
    std::vector<unsigned char> buffer(block + longest);
    std::vector<FrameAt> frames;
    std::size_t have = 0;
    std::size_t all = 0;
    while (std::size_t const got = std::fread(buffer.data() + have, 1, block, file.get())) {
        have += got;
        frames.clear();
        std::size_t const used = recordsOf(buffer.data(), 0, have, frames);
        count->run(frames);
        all += frames.size();
        std::memmove(buffer.data(), buffer.data() + used, have - used);
        have -= used;
        if (have > longest)
            fail(path + ": has a record that is too long");
    }
    std::printf("%zu frames, digest %016llx\n", all, static_cast<unsigned long long>(count->digest()));
}

void measure(std::string const & path, unsigned int passes)
{
    constexpr std::size_t page = 2 << 20;
    constexpr std::size_t block = 16 << 20;
    File const file = opened(path);
    std::fseek(file.get(), 0, SEEK_END);
    std::size_t const size = static_cast<std::size_t>(std::ftell(file.get()));
    std::fseek(file.get(), 0, SEEK_SET);
    std::size_t const room = (size + 64 + page - 1) / page * page;
    auto * const bytes = static_cast<unsigned char *>(std::aligned_alloc(page, room));
    if (!bytes)
        fail("there is not memory enough");
    static_cast<void>(madvise(bytes, room, MADV_HUGEPAGE));
    for (std::size_t at = 0; at < size;)
        if (std::size_t const got = std::fread(bytes + at, 1, std::min(block, size - at), file.get()))
            at += got;
        else
            fail(path + ": can't be read");
    std::vector<FrameAt> frames;
    recordsOf(bytes, fileHeader, size, frames);

    auto const count = std::make_unique<Count>();
    std::vector<double> times;
    for (unsigned int pass = 0; pass <= passes; ++pass) {
        count->clear();
        auto const start = std::chrono::steady_clock::now();
        count->run(frames);
        std::chrono::duration<double, std::nano> const took = std::chrono::steady_clock::now() - start;
        if (pass != 0) // the first warms up
            times.push_back(took.count() / static_cast<double>(frames.size()));
    }
    std::sort(times.begin(), times.end());
    std::printf("%zu frames, best %.1f median %.1f ns/frame, digest %016llx\n", frames.size(), times.front(),
                times[times.size() / 2], static_cast<unsigned long long>(count->digest()));
    std::free(bytes);
}

} // namespace

int main(int argc, char ** argv)
{
    std::string const first = argc > 1 ? argv[1] : "--help";
    if (first == "--read" && argc == 3) {
        countBlocks(argv[2]);
    } else if (first.starts_with("-") || argc > 3) {
        std::fprintf(stderr, "usage: ketstats-floor FILE [PASSES], or ketstats-floor --read FILE\n");
        return 2;
    } else {
        int const passes = argc > 2 ? std::atoi(argv[2]) : 10;
        measure(first, passes > 0 ? static_cast<unsigned int>(passes) : 1);
    }
    return 0;
}
