#include "fuzz/ReadMessagesCheck.h"
#include "host/wire/Fingerprint.h"
#include "host/wire/SavedSnapshot.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// Writes what agents and consoles say, and snapshots as they are saved: fuzz-message-seeds PACKS MESSAGES SNAPSHOTS
//
// PACKS is a directory of packed snapshots, as fuzz-snapshot-seeds writes it. Of every message there is the body alone
// too, since a body is taken apart without its message.

namespace {

using namespace ketmon;

constexpr std::size_t longestPack = 1024;

std::vector<std::string> smallPacks(std::filesystem::path const & folder)
{
    std::vector<std::string> packs;
    for (auto const & entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        std::string pack{std::istreambuf_iterator<char>(file), {}};
        if (pack.size() <= longestPack)
            packs.push_back(std::move(pack));
    }
    std::sort(packs.begin(), packs.end());
    return packs;
}

class CSeeds
{
public:
    explicit CSeeds(std::filesystem::path folder) : m_folder(std::move(folder))
    {
        std::filesystem::create_directories(m_folder);
    }

    void add(std::string const & bytes)
    {
        std::filesystem::path const path = m_folder / std::to_string(m_number++);
        std::ofstream file(path, std::ios::binary);
        file << bytes;
        if (!file.flush()) {
            std::fprintf(stderr, "%s can't be written\n", path.c_str());
            m_failed = true;
        }
    }

    void addMessage(MessageType type, std::string const & body)
    {
        add(encoded(type, body));
        add(body);
        m_all += encoded(type, body);
    }

    // All messages so far, one behind the other.
    void addAll() { add(m_all); }
    bool failed() const { return m_failed; }

private:
    std::filesystem::path m_folder;
    unsigned int m_number = 0;
    std::string m_all;
    bool m_failed = false;
};

KetStats::CLedgers someLedgers(unsigned int rows)
{
    KetStats::CLedgers ledgers;
    ledgers.stations = {rows, 2 * rows, 300 * rows, rows, 64 * rows};
    ledgers.ipConnections = {rows, rows, 1500 * rows, 0, 0};
    ledgers.stationUdpPorts = {1, 1, 64, 1, 64};
    ledgers.ipv6Connections = {rows, rows, 1200 * rows, 0, 0};
    ledgers.neighbours = {rows, 0, 0, 0, 0};
    return ledgers;
}

void addGreetings(CSeeds & seeds)
{
    CHello hello;
    hello.fingerprint = fuzz::ownFingerprint;
    seeds.addMessage(MessageType::hello, hello.body());
    hello.selection = {"1.1", "1.5", "1.11.2"};
    seeds.addMessage(MessageType::hello, hello.body());
    hello.selection = {"1.1", "2.4"};
    hello.extendedFingerprint = 0x1122334455667788;
    seeds.addMessage(MessageType::hello, hello.body());
    hello.extendedFingerprint.reset();
    hello.version = 1;
    seeds.addMessage(MessageType::hello, hello.body());

    CWelcome welcome;
    welcome.fingerprint = fuzz::ownFingerprint;
    welcome.interval = 1000;
    welcome.heartbeat = 3000;
    welcome.epoch = 133'000'000'000'000'000;
    welcome.groups = 0xFFE;
    seeds.addMessage(MessageType::welcome, welcome.body());
    welcome.kind = SourceKind::interface;
    welcome.errors = 0x36;
    welcome.linkSpeed = 1'000'000'000;
    welcome.limits = {4097, 4097, 4097, 4097, 4097, 4097, 4097, 4097, 200, 200};
    welcome.source = "eth0";
    welcome.agent = "web7";
    seeds.addMessage(MessageType::welcome, welcome.body());
    welcome.extended = true;
    welcome.groups |= 0xFE0000;
    seeds.addMessage(MessageType::welcome, welcome.body());
}

void addSamples(CSeeds & seeds, std::vector<std::string> const & packs)
{
    CSampleHead head;
    head.zero = head.moment = 133'000'000'000'000'000;
    for (std::string const & pack : packs) {
        bool const first = head.sequence == 0;
        ++head.sequence;
        head.moment += 10'000'000;
        head.interval = first ? 0 : 10'000'000;
        head.counters.received = 100 * head.sequence;
        head.counters.droppedByKernel =
            head.sequence % 2 == 0 ? std::optional<std::uint64_t>(head.sequence) : std::nullopt;
        KetStats::CLedgers const known = head.ledgers;
        head.ledgers = someLedgers(static_cast<unsigned int>(head.sequence));
        head.bothTrees = head.sequence % 2 == 0;
        seeds.addMessage(first ? MessageType::full : MessageType::delta,
                         head.body(first ? KetStats::CLedgers() : known, pack));
    }
}

void addEnds(CSeeds & seeds)
{
    seeds.addMessage(MessageType::heartbeat, "");
    seeds.addMessage(MessageType::refusal, "the agent has 100 consoles already, and serves no more");
    seeds.addMessage(MessageType::refusal, "\x1B[2J\xE2\x80\xAE\xFF");
    seeds.addMessage(MessageType::end, CEnd{EndReason::ended, 4709, ""}.body());
    seeds.addMessage(MessageType::end, CEnd{EndReason::interrupted, 1, ""}.body());
    seeds.addMessage(MessageType::end,
                     CEnd{EndReason::interfaceGone, 7, "eth0: the interface is gone"}.body());
    seeds.addMessage(MessageType::end, CEnd{EndReason::failed, 0, "eth0: the network is down"}.body());
}

void addSaved(CSeeds & seeds, std::vector<std::string> const & packs)
{
    CSavedSnapshot saved;
    saved.recording = 0x0123456789ABCDEF;
    saved.zero = saved.previous = 133'000'000'000'000'000;
    saved.groups = 0xFFE;
    for (std::string const & pack : packs) {
        saved.name = saved.sequence % 2 == 0 ? "capture.pcap" : "";
        saved.time = saved.previous + 600'000'000;
        saved.summary.frames += 100;
        saved.summary.bytes += 64000;
        if (saved.sequence > 0) {
            saved.summary.first = saved.zero;
            saved.summary.last = saved.time;
        }
        saved.filtering = saved.sequence % 3 == 0;
        saved.ledgers = someLedgers(saved.sequence);
        saved.bytes = pack;
        seeds.add(encoded(saved));
        saved.previous = saved.time;
        ++saved.sequence;
    }
}

} // namespace

int main(int argc, char ** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: fuzz-message-seeds PACKS MESSAGES SNAPSHOTS\n");
        return 2;
    }
    std::vector<std::string> const packs = smallPacks(argv[1]);
    if (packs.empty()) {
        std::fprintf(stderr, "%s has no packed snapshots\n", argv[1]);
        return 1;
    }
    CSeeds messages(argv[2]);
    addGreetings(messages);
    addEnds(messages);
    messages.addAll();
    addSamples(messages, packs);
    CSeeds snapshots(argv[3]);
    addSaved(snapshots, packs);
    return messages.failed() || snapshots.failed() ? 1 : 0;
}
