// The smallest host: it counts two frames and prints the figures under the names and units that the library
// has for them, and how to select the traffic of a row.

#include "ketstats/ketstats.h"

#include <array>
#include <cstdio>
#include <memory>

namespace {

using Bytes = std::array<unsigned char, 60>;

// Addresses, type and the start of the payload; the rest is padding. The frame check sequence isn't captured.
constexpr Bytes arpRequest = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x02, 0x00, 0x00, 0x00, 0x00,
                              0x01, 0x08, 0x06, 0x00, 0x01, 0x08, 0x00, 0x06, 0x04, 0x00, 0x01,
                              0x02, 0x00, 0x00, 0x00, 0x00, 0x01, 0x0A, 0x00, 0x00, 0x01};
constexpr Bytes ipPacket = {0x02, 0x00, 0x00, 0x00, 0x00, 0x01, 0x02, 0x00, 0x00,
                            0x00, 0x00, 0x02, 0x08, 0x00, 0x45, 0x00, 0x00, 0x2E};

void print(KetStats::CBaseStat const & stat)
{
    auto const & description =
        dynamic_cast<KetStats::CNumericStatDescriptionBase const &>(*stat.getDescription());
    std::printf("%s: %.0f %s\n", description.getStringDescription().c_str(), stat.getNumeric(),
                description.getUnits().c_str());
}

} // namespace

int main()
{
    KetStats::CKetrinStatManager manager;
    manager.enableStatistic("1.4");  // the frame tables; the global counters are always kept
    manager.beginAnalyzing(nullptr); // with no adapter to ask for its speed

    CNetworkFrame frame; // a view of the captured bytes, used for one after another
    for (Bytes const & captured : {arpRequest, ipPacket}) {
        frame.Assign(captured.data(), captured.size(), captured.size());
        manager.analyzeFrame(&frame);
    }

    manager.endAnalyzing();
    KetStats::CAgentStatistic const & statistics = manager.getAgentStatistic();
    print(statistics.globalStatistics.transmittedFrames);      // Global transmitted frames: 2 frames
    print(statistics.globalStatistics.transmittedData);        // Global transmitted data: 128 bytes
    print(statistics.frameTables.frameTypes.broadcast.frames); // Frames: 1 frames

    auto const & bindings = statistics.arpTable;
    KetStats::CBaseStat const * const row = bindings.rowById(bindings.getOldestId());
    std::unique_ptr<CFilter> const filter(KetStats::buildFilter(row));
    for (Bytes const & captured : {arpRequest, ipPacket}) {
        frame.Assign(captured.data(), captured.size(), captured.size());
        std::printf("%s\n", filter->IsSatisfied(&frame) ? "of that station's ARP" : "of something else");
    }
    std::printf("%s\n", filter->GetDescription().c_str()); // (ether src 02:00:00:00:00:01 or ...
}
