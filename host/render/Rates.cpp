#include "host/render/Rates.h"

#include <string_view>
#include <unordered_map>

namespace ketmon {

namespace {

constexpr double bitsPerByte = 8.0;

class CInterval
{
public:
    explicit CInterval(double seconds) : m_seconds(seconds) {}

    CRateFigures operator()(CCount const & frames, CCount const & framesBefore, CCount const & bytes,
                            CCount const & bytesBefore) const
    {
        CRateFigures rate;
        rate.framesPerSecond = over(frames, framesBefore, 1.0);
        rate.bitsPerSecond = over(bytes, bytesBefore, bitsPerByte);
        // Of a row that started anew neither tells.
        return rate.framesPerSecond && rate.bitsPerSecond ? rate : CRateFigures();
    }

private:
    std::optional<double> over(CCount const & now, CCount const & before, double factor) const
    {
        if (!now || !before || *now < *before)
            return {};
        return static_cast<double>(*now - *before) * factor / m_seconds;
    }

    double m_seconds;
};

bool sameKey(CRowFigures const & left, CRowFigures const & right)
{
    return left.others == right.others && left.address == right.address && left.source == right.source &&
           left.destination == right.destination && left.code == right.code && left.name == right.name;
}

void addRates(std::vector<CRowFigures> & rows, std::vector<CRowFigures> const & before,
              CInterval const & interval)
{
    // A row keeps its identifier for as long as it lives.
    std::unordered_map<std::string_view, CRowFigures const *> known;
    known.reserve(before.size());
    for (CRowFigures const & row : before)
        known.emplace(row.oid, &row);

    for (CRowFigures & row : rows) {
        auto const found = known.find(row.oid);
        bool const old = found != known.end() && sameKey(row, *found->second);
        // A new row had counted nothing.
        CRowFigures nothing;
        nothing.frames = nothing.bytes = 0;
        nothing.framesSent = nothing.bytesSent = nothing.framesReceived = nothing.bytesReceived = 0;
        CRowFigures const & then = old ? *found->second : nothing;
        row.rate = interval(row.frames, then.frames, row.bytes, then.bytes);
        row.rateSent = interval(row.framesSent, then.framesSent, row.bytesSent, then.bytesSent);
        row.rateReceived =
            interval(row.framesReceived, then.framesReceived, row.bytesReceived, then.bytesReceived);
        addRates(row.tcpPorts, old ? then.tcpPorts : std::vector<CRowFigures>(), interval);
        addRates(row.udpPorts, old ? then.udpPorts : std::vector<CRowFigures>(), interval);
    }
}

} // namespace

void addRates(CFigures & now, CFigures const & before)
{
    if (!now.intervalSeconds || !(*now.intervalSeconds > 0.0))
        return;
    CInterval const interval(*now.intervalSeconds);
    now.rates = interval(now.frames, before.frames, now.bytes, before.bytes);
    for (CTableFigures & table : now.tables) {
        CTableFigures const * const then = before.table(table.key);
        if (then && then->counted && table.counted)
            addRates(table.rows, then->rows, interval);
    }
}

} // namespace ketmon
