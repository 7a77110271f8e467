// A statistic that the library doesn't have, made by a host from the library's parts: what was multicast to whom. It is
// counted beside a manager, sampled, sent and read, and its rows become filters.

#include "MulticastSnapshot.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace KetStats;
using namespace multicast;

using Bytes = std::vector<unsigned char>;

// A frame of IPv4 to 224.0.0.`group`, whose MAC address follows from it.
Bytes ipv4To(unsigned char group, std::size_t length)
{
    Bytes bytes = {0x01, 0x00, 0x5E, 0, 0, group, 0x02, 0, 0, 0, 0, 1, 0x08, 0x00, 0x45};
    bytes.resize(length);
    bytes[30] = 224;
    bytes[33] = group;
    return bytes;
}

// A frame of IPv6 to ff02::`group`.
Bytes ipv6To(unsigned char group, std::size_t length)
{
    Bytes bytes = {0x33, 0x33, 0, 0, 0, group, 0x02, 0, 0, 0, 0, 1, 0x86, 0xDD, 0x60};
    bytes.resize(length);
    bytes[38] = 0xFF;
    bytes[39] = 0x02;
    bytes[53] = group;
    return bytes;
}

// The tree as it describes itself: who prints it needs to know nothing of it.
void print(CBaseStat const & stat, int depth)
{
    CStatDescription const & description = *stat.getDescription();
    std::string line = stat.getOid().toString() + ' ' + description.getStringDescription();
    if (description.getFormatCount() > 0)
        line += ": " + description.formatValue(&stat, 0, nullptr);
    if (auto const * const number = dynamic_cast<CNumericStatDescriptionBase const *>(&description))
        line += ' ' + number->getAbbrev();
    std::printf("%*s%s\n", depth * 2, "", line.c_str());

    if (auto const * const table = dynamic_cast<CBaseHashedContainerStat const *>(&stat)) {
        for (unsigned int id = table->getOldestId(); id != 0; id = table->getNextNewerId(id))
            print(*table->rowById(id), depth + 1);
        return;
    }
    for (unsigned int index = 0; index < stat.getChildrenCount(); ++index)
        print(*stat.getChild(index), depth + 1);
}

} // namespace

int main()
{
    CKetrinStatManager manager;
    manager.enableStatistic("1.4");
    manager.beginAnalyzing(nullptr);
    CMulticastCounter multicasts;
    multicasts.enable(true);

    CNetworkFrame frame;
    auto const capture = [&](Bytes const & bytes) {
        auto const length = static_cast<unsigned int>(bytes.size());
        frame.Assign(bytes.data(), length, length);
        manager.analyzeFrame(&frame);
        multicasts.count(frame); // the analysis is done once for both
    };

    CMulticastSnapshot agent;
    CMulticastSnapshot console;
    capture(ipv4To(251, 100)); // before the zero point
    multicasts.read([&](CMulticasts const & live) { agent.begin(live); });

    bool onlyChanged = false; // the first one is full
    auto const send = [&] {
        multicasts.read([&](CMulticasts const & live) { agent.sample(live); });
        ktools::CMemoryBuffer sent;
        agent.pack(sent, onlyChanged);
        onlyChanged = true;
        ktools::CMemoryBuffer received(sent.data, sent.size);
        console.unpack(received);
        return sent.size;
    };

    capture(ipv4To(251, 60));
    capture(ipv6To(0xFB, 90));
    int const full = send();
    capture(ipv4To(251, 76));
    int const changed = send();
    int const quiet = send();
    console.derive();
    print(console.visible(), 0); // 3 IP multicasts ... 3.2.1.1 Group: 224.0.0.251 ...
    std::printf("full %d bytes, what changed %d, quiet %d\n", full, changed, quiet);

    CBaseStat * const row = console.visible().getStatPointer("3.2.1", 1);
    std::unique_ptr<CFilter> const filter(buildFilter(row));
    std::printf("%s\n", filter->GetDescription().c_str());
    Bytes const other = ipv4To(252, 60);
    frame.Assign(other.data(), 60, 60);
    std::printf("%s\n", filter->IsSatisfied(&frame) ? "passes another group" : "passes no other group");
}
