#pragma once

#include "ketstats/ketstats.h"

#include <CLI/CLI.hpp>

#include <optional>
#include <string>
#include <vector>

namespace ketmon {

enum class Multiplying
{
    none,
    binary,
    decimal,
};

// How numbers are written, as far as the user says.
struct CValueTextOptions
{
    std::optional<Multiplying> multiplier;
    std::optional<int> precision; // places behind the point

    bool given() const { return multiplier || precision; }
};

// The options --multiplier and --precision.
void addValueTextOptions(CLI::App & command, CValueTextOptions & options);

// Writes the values of statistics as text, through the formats that their descriptions offer and nothing
// else. The formats for numbers are its own: it adds them to the library's custom lists, where they stay. IP
// sub-protocols read as their short names and ports as decimal numbers.
class CValueText
{
public:
    explicit CValueText(Multiplying multiplying, std::optional<int> precision = {});

    // The value of a leaf. A number from the first multiplier on is shown in the largest one that it reaches;
    // what isn't finite reads "-".
    std::string operator()(KetStats::CBaseStat const & leaf) const;

    // The same for right-aligned columns: numbers without a symbol have as many blanks behind.
    std::string aligned(KetStats::CBaseStat const & leaf) const;

private:
    std::string protocolText(KetStats::CBaseStat const & leaf) const;

    // The multiplier to show a number with, by its place among this object's formats; 0 for none.
    unsigned int chosen(double value) const;

    std::vector<KetStats::Multiplier const *> m_multipliers; // ascending, behind a null
    unsigned int m_integers; // index of this object's first format on every integer statistic
    unsigned int m_doubles;  // and on every other number
    unsigned int m_ports;    // index of the decimal format on protocol ids
};

// The value of a leaf that is no number, as the first of its formats writes it.
std::string textOf(KetStats::CBaseStat const & leaf);

// The rows of a table in update order, oldest first.
std::vector<KetStats::CBaseStat const *> rowsOf(KetStats::CBaseStat const & table);

} // namespace ketmon
