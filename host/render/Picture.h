#pragma once

#include "host/render/Quantity.h"
#include "host/render/ReportText.h"

#include <string>
#include <vector>

namespace ketmon {

// What every part of a report is drawn from.
struct CPicture
{
    CPicture(CFigures const & theFigures, CReportStyle const & theStyle, CNames const & theNames)
        : figures(theFigures),
          style(theStyle),
          names(theNames),
          quantity(theStyle.exact)
    {}

    CFigures const & figures;
    CReportStyle const & style;
    CNames const & names;
    CQuantityText quantity;

    // The table, if it is there and counted anything but nothing.
    CTableFigures const * filled(std::string const & key) const;
    // The same, but only if all that it counted is in its rows, each under its own key.
    CTableFigures const * complete(std::string const & key) const;

    // Whether the busiest are those with the most frames; those with the most bytes otherwise.
    bool byFrames() const { return style.sort.starts_with("frames"); }
    std::string measure() const { return byFrames() ? "frames" : "bytes"; }
    // The column by which the rows of a table are sorted.
    std::string order(std::string const & table) const;
    CRatio share(CRowFigures const & row) const;

    // An IPv4 address, or the name of the host; never unescaped.
    std::string end(std::string const & address) const;
};

// Rows by "frames" or "bytes", the busiest first and of equal ones the first; by another order they are as
// they stand.
std::vector<CRowFigures const *> busiest(std::vector<CRowFigures> const & rows, std::string const & order);

// The rows of a table of pairs with both directions in one: `source` sent the more bytes, its own are those
// sent, the others those received. Rows of others stay alone.
std::vector<CRowFigures> conversations(CTableFigures const & pairs);

// A row that counts the frames between two ends that are one and the same.
inline bool isOwnPair(CRowFigures const & row)
{
    return row.source == row.destination;
}

// The parts of a report. Each is empty where it has nothing to tell, and ends with a line break otherwise.
std::string headingText(CPicture const & picture);
std::string notableText(CPicture const & picture);
std::string protocolsText(CPicture const & picture);
std::string conversationsText(CPicture const & picture, std::vector<std::string> const & keys,
                              std::string const & title);
std::string stationsText(CPicture const & picture);
std::string portsText(CPicture const & picture);
std::string bindingsText(CPicture const & picture);
std::string vlansText(CPicture const & picture, std::string const & key, std::string const & title);
std::string tunnelsText(CPicture const & picture);
std::string signalsText(CPicture const & picture);
std::string frameTableText(CPicture const & picture, std::string const & key, std::string const & title);
std::string errorsText(CPicture const & picture);

// "IP conversations, 10 of 75 by bytes".
std::string titleText(CPicture const & picture, std::string const & title, CTableFigures const & table,
                      std::size_t shown, std::size_t all);
// Since when a table counts, if it isn't the zero point of the whole: figures that began at different moments
// don't stand side by side unmarked.
std::string sinceText(CPicture const & picture, CTableFigures const & table);
// "  gave up 201 rows: 5,223 frames, 7.1 MB; --rows ip_traffic=N keeps more"; empty if it gave up nothing.
std::string givenUpText(CPicture const & picture, CTableFigures const & table);
// Lines no wider than the picture; those behind the first start with as many blanks as `lead` has characters.
std::string wrapped(std::string const & lead, std::string const & text, std::size_t width);

} // namespace ketmon
