#include "host/render/Picture.h"

#include "host/render/Columns.h"
#include "host/support/Escaped.h"
#include "host/support/Utf8.h"

#include <fmt/core.h>

#include <algorithm>
#include <map>

namespace ketmon {

namespace {

void turn(CRowFigures & row)
{
    std::swap(row.source, row.destination);
    std::swap(row.framesSent, row.framesReceived);
    std::swap(row.bytesSent, row.bytesReceived);
}

bool isNumber(std::string_view text)
{
    return text.find_first_not_of("0123456789.,") == text.npos;
}

CCount sum(CCount const & left, CCount const & right)
{
    return left || right ? CCount(left.value_or(0) + right.value_or(0)) : CCount();
}

} // namespace

CTableFigures const * CPicture::filled(std::string const & key) const
{
    CTableFigures const * const table = figures.table(key);
    bool const gaveUp = table && table->givenUp && table->givenUp->rows > 0;
    return table && table->counted && (!table->rows.empty() || gaveUp) ? table : nullptr;
}

CTableFigures const * CPicture::complete(std::string const & key) const
{
    CTableFigures const * const table = filled(key);
    if (!table || (table->givenUp && table->givenUp->rows > 0))
        return nullptr;
    bool const others = std::any_of(table->rows.begin(), table->rows.end(),
                                    [](CRowFigures const & row) { return row.others; });
    return others ? nullptr : table;
}

CRatio CPicture::share(CRowFigures const & row) const
{
    CRatio const ratio =
        byFrames() ? shareOf(row.totalFrames(), figures.frames) : shareOf(row.totalBytes(), figures.bytes);
    // A station's frames to itself count both ways.
    return ratio ? CRatio(std::min(*ratio, 1.0)) : ratio;
}

std::string CPicture::order(std::string const & table) const
{
    return !style.sort.empty() && hasColumn(table, style.sort) ? style.sort : "bytes";
}

std::string CPicture::end(std::string const & address) const
{
    std::string const name = names.host(address);
    return escaped(name.empty() ? address : name);
}

std::vector<CRowFigures const *> busiest(std::vector<CRowFigures> const & rows, std::string const & order)
{
    std::vector<CRowFigures const *> sorted;
    sorted.reserve(rows.size());
    for (CRowFigures const & row : rows)
        sorted.push_back(&row);
    if (order != "frames" && order != "bytes")
        return sorted;
    bool const byFrames = order == "frames";
    std::stable_sort(sorted.begin(), sorted.end(), [&](CRowFigures const * left, CRowFigures const * right) {
        return byFrames ? left->totalFrames() > right->totalFrames()
                        : left->totalBytes() > right->totalBytes();
    });
    return sorted;
}

std::vector<CRowFigures> conversations(CTableFigures const & pairs)
{
    std::vector<CRowFigures> merged;
    std::map<std::pair<std::string, std::string>, std::size_t> known;
    merged.reserve(pairs.rows.size());
    for (CRowFigures const & row : pairs.rows) {
        CRowFigures both = row;
        both.frames = both.bytes = {};
        both.framesSent = row.frames;
        both.bytesSent = row.bytes;
        if (row.others) {
            merged.push_back(std::move(both));
            continue;
        }
        auto const [place, first] =
            known.try_emplace(std::minmax(row.source, row.destination), merged.size());
        if (first) {
            if (!isOwnPair(row))
                both.framesReceived = both.bytesReceived = 0;
            merged.push_back(std::move(both));
            continue;
        }
        CRowFigures & whole = merged[place->second];
        if (whole.source != row.source)
            turn(both);
        whole.framesSent = sum(whole.framesSent, both.framesSent);
        whole.bytesSent = sum(whole.bytesSent, both.bytesSent);
        whole.framesReceived = sum(whole.framesReceived, both.framesReceived);
        whole.bytesReceived = sum(whole.bytesReceived, both.bytesReceived);
    }
    for (CRowFigures & row : merged)
        if (row.bytesReceived.value_or(0) > row.bytesSent.value_or(0))
            turn(row);
    return merged;
}

std::string titleText(CPicture const & picture, std::string const & title, CTableFigures const & table,
                      std::size_t shown, std::size_t all)
{
    std::string const order = picture.order(table.key);
    std::string text = shown < all
                           ? fmt::format("{}, {} of {} by {}", title, allDigits(shown), allDigits(all), order)
                           : fmt::format("{} ({}), by {}", title, allDigits(all), order);
    return text + sinceText(picture, table) + '\n';
}

std::string sinceText(CPicture const & picture, CTableFigures const & table)
{
    bool const own = table.zero && table.zero != picture.figures.zero;
    return own ? ", counted since " + momentText(table.zero) : "";
}

std::string givenUpText(CPicture const & picture, CTableFigures const & table)
{
    if (!table.givenUp || table.givenUp->rows == 0)
        return {};
    CGivenUp const & lost = *table.givenUp;
    CCount const frames = lost.frames ? lost.frames : sum(lost.framesSent, lost.framesReceived);
    CCount const bytes = lost.bytes ? lost.bytes : sum(lost.bytesSent, lost.bytesReceived);
    std::string text = "gave up " + picture.quantity.counted(lost.rows, "row");
    if (frames && bytes)
        text += fmt::format(": {}, {}", picture.quantity.frames(*frames), picture.quantity.bytes(*bytes));
    return wrapped("  ", text + fmt::format("; --rows {}=N keeps more", escaped(table.key)),
                   picture.style.width);
}

std::string wrapped(std::string const & lead, std::string const & text, std::size_t width)
{
    std::string result;
    std::string line = lead;
    bool started = false;
    for (std::size_t start = 0; start < text.size();) {
        std::size_t stop = std::min(text.find(' ', start), text.size());
        // A number keeps what it is of, and may keep its multiplier and that.
        while (stop < text.size() && isNumber(std::string_view(text).substr(start, stop - start)))
            stop = std::min(text.find(' ', stop + 1), text.size());
        std::string const word = text.substr(start, stop - start);
        if (started && columnsOf(line) + 1 + columnsOf(word) > width) {
            result += line + '\n';
            line = std::string(columnsOf(lead), ' ');
            started = false;
        }
        line += (started ? " " : "") + word;
        started = true;
        start = stop + 1;
    }
    return result + line + '\n';
}

} // namespace ketmon
