#pragma once

#include "host/render/Figures.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace ketmon {

// A column of a table: what a row has under a key, in JSON and to be sorted by.
struct CColumn
{
    enum class Use
    {
        shown,    // in JSON, and to sort by
        sortOnly, // what other columns say already, added up
    };

    char const * key;
    nlohmann::ordered_json (*value)(CRowFigures const & row); // null for what isn't known
    Use use = Use::shown;
};

// The columns of a table by its key; "ports" for the ports of a station. None for a table that isn't there.
std::vector<CColumn> const & tableColumns(std::string const & table);

bool hasColumn(std::string const & table, std::string const & column);

// The keys of all tables.
std::vector<std::string> const & tableKeys();

// The rates of a row of a table of that key; null where they aren't known.
nlohmann::ordered_json rateOf(CRowFigures const & row, std::string const & table);

// Sorts rows of the table `key`: numbers from the greatest, texts and addresses from the first, what isn't
// known behind the rest, equal ones as they stand. A table without that column stays as it is.
void sortRows(std::vector<CRowFigures> & rows, std::string const & table, std::string const & column);

} // namespace ketmon
