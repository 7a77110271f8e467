// Both ends of a transfer in one program: an agent that counts and sends, and a console that shows. Between
// them is whatever carries bytes; here it is a plain structure. It shows when a sample must be a full one, and
// how what tables gave up is told beside the samples.

#include "ketstats/ketstats.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

using KetStats::CLedgers;
using KetStats::COid;
using KetStats::CStatSnapshot;
using KetStats::CTableLimits;

// What goes over the wire for one sample. The ledgers aren't part of the packed form.
struct Message
{
    bool full;
    std::vector<char> bytes;
    CLedgers ledgers;
};

// An address in the first of the formats that its description has.
std::string text(KetStats::CBaseStat const & address)
{
    return address.getDescription()->formatValue(&address, 0, nullptr);
}

class Agent
{
public:
    Agent(KetStats::CKetrinStatManager & manager) : m_manager(manager), m_snapshot(manager.limits())
    {
        m_snapshot.tellRowsApart(true);
        m_snapshot.addOid("1.8");
        m_snapshot.initSnapshot(m_manager);
    }

    // A selection that grows begins anew at the other end: what stood there before is not sent again by itself.
    void select(COid const & oid)
    {
        m_snapshot.addOid(oid);
        m_nextIsFull = true;
    }

    Message sample()
    {
        m_snapshot.nextSample(m_manager);
        ktools::CMemoryBuffer buffer;
        bool const full = m_nextIsFull;
        m_nextIsFull = true; // if pack throws, a part of the changes is lost, and only a full sample helps
        m_snapshot.pack(buffer, !full);
        m_nextIsFull = false;
        return {full, std::vector<char>(buffer.data, buffer.data + buffer.size), m_snapshot.getLedgers()};
    }

private:
    KetStats::CKetrinStatManager & m_manager;
    CStatSnapshot m_snapshot;
    bool m_nextIsFull = true;
};

class Console
{
public:
    explicit Console(CTableLimits const & limits) : m_snapshot(limits) {}

    // False for bytes that can't be read: the console needs a full sample then, and asks its agent for one.
    bool read(Message const & message)
    {
        try {
            if (message.full)
                m_snapshot.reset(); // a full sample names no row that is gone
            ktools::CMemoryBuffer buffer(message.bytes.data(), static_cast<int>(message.bytes.size()));
            m_snapshot.unpack(buffer);
        } catch (ktools::CException * raised) {
            delete raised;
            return false;
        }
        m_snapshot.setLedgers(message.ledgers);
        return true;
    }

    void show() const
    {
        auto const & tree = static_cast<KetStats::CAgentStatistic const &>(*m_snapshot.getStat("1"));
        for (KetStats::CIPConnectionStat const & row : tree.ipConnections)
            std::printf("%s to %s: %u frames\n", text(row.source).c_str(), text(row.destination).c_str(),
                        row.framesTransmitted.get());
        auto const & extended = static_cast<KetStats::CExtendedStatistic const &>(*m_snapshot.getStat("2"));
        for (KetStats::COuterVlanStat const & row : extended.vlans.outer)
            std::printf("VLAN %lld: %u frames\n", static_cast<long long>(row.vlanId.get()),
                        row.framesTransmitted.get());
        KetStats::CLedger const & givenUp = m_snapshot.getGivenUp().ipConnections;
        std::printf("given up unseen: %llu frames\n", givenUp.framesTransmitted);
    }

private:
    CStatSnapshot m_snapshot;
};

using Captured = std::array<unsigned char, 60>;

// A frame of IP between two hosts of one network.
Captured ipFrame(unsigned char from, unsigned char to)
{
    Captured bytes = {0x02, 0, 0, 0, 0, to, 0x02, 0, 0, 0, 0, from, 0x08, 0x00, 0x45};
    bytes[26] = bytes[30] = 10;
    bytes[29] = from;
    bytes[33] = to;
    return bytes;
}

// The same behind a VLAN tag.
Captured tagged(Captured const & frame, unsigned char vlan)
{
    Captured bytes{};
    std::copy_n(frame.begin(), 12, bytes.begin());
    bytes[12] = 0x81;
    bytes[15] = vlan;
    std::copy(frame.begin() + 12, frame.end() - 4, bytes.begin() + 16);
    return bytes;
}

// Counts all that was captured at a time.
void count(KetStats::CKetrinStatManager & manager, std::vector<Captured> const & block)
{
    std::vector<CFrameView> views;
    for (Captured const & captured : block) {
        auto const length = static_cast<unsigned int>(captured.size());
        views.push_back({captured.data(), length, length});
    }
    manager.analyzeFrames(views);
}

} // namespace

int main()
{
    CTableLimits limits;
    limits.ipConnections = 4; // three rows and one for the others
    KetStats::CKetrinStatManager manager(limits);
    manager.enableStatistic("1.8");
    manager.beginAnalyzing(nullptr);
    Agent agent(manager);
    Console console(limits);

    for (unsigned char from = 1; from <= 3; ++from)
        count(manager, std::vector<Captured>(from, ipFrame(from, 9)));
    bool wasRead = console.read(agent.sample()); // the first one is full

    for (unsigned char from = 4; from <= 8; ++from)
        count(manager, {ipFrame(from, 9)});
    wasRead = console.read(agent.sample()) && wasRead; // what changed
    console.show();

    manager.enableStatistic("2.4"); // from here on
    count(manager, {tagged(ipFrame(8, 9), 5)});
    agent.select("1.10");
    agent.select("2.4");
    wasRead = console.read(agent.sample()) && wasRead; // full again
    console.show();
    return wasRead ? 0 : 1;
}
