#pragma once

#include "host/render/Figures.h"
#include "host/render/ValueText.h"
#include "host/wire/Selection.h"

#include "ketstats/ketstats.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <vector>

namespace ketmon {

// How statistics are printed, for all commands that do.
struct CReportOptions
{
    static constexpr unsigned int usualTop = 20;
    static constexpr unsigned int reportTop = 10; // the report has more tables than any screen

    bool json = false;
    bool tree = false;               // the whole tree by its descriptions
    std::vector<std::string> select; // tables by name, or identifiers; all if there is none
    std::string sort;                // a column; the busiest rows come first if it is empty
    std::optional<unsigned int> top; // rows of a table, 0 for all
    bool numeric = false;            // no names beside numbers
    bool dns = false;                // names of hosts, too, for which the DNS is asked
    bool hasReport = false;          // the command prints a report unless JSON or the tree is asked for
    bool exact = false;              // all digits
    CValueTextOptions values;

    // Rows of a table in text.
    unsigned int rows() const { return top.value_or(usualTop); }
};

// The options --json, --tree, --select, --sort, --top, --numeric, --exact, --multiplier and --precision.
void addReportOptions(CLI::App & command, CReportOptions & options);

// The option --dns, for the commands that print a report; the others above must be there, too.
void addHostNameOption(CLI::App & command, CReportOptions & options);

// Throws CFailure, exit code 2, for options that don't go together or name what isn't there.
void check(CReportOptions const & options);

// Prints the tree as the options ask for it. Tables have the binary multipliers unless others are asked
// for; JSON has plain numbers, unless multiplier or precision are, which make texts of them.
class CReport
{
public:
    explicit CReport(CReportOptions const & options);

    bool isJson() const { return m_options.json; }

    // A statistic with all below it.
    std::string text(KetStats::CBaseStat const & stat) const;
    nlohmann::ordered_json json(KetStats::CBaseStat const & stat) const;

    // What --select chooses of whole trees.
    bool chooses(KetStats::COid const & oid) const { return m_choice.touches(oid); }
    std::string chosenText(KetStats::CBaseStat const & root,
                           KetStats::CBaseStat const * extended = nullptr) const;
    nlohmann::ordered_json chosenJson(KetStats::CBaseStat const & stat, KetStats::COid const & oid) const;

    // The statistics of `frames` frames as tables under a line that starts with `title`, or as one JSON
    // object.
    std::string whole(std::string const & title, unsigned long long frames,
                      KetStats::CBaseStat const & statistics,
                      KetStats::CBaseStat const * extended = nullptr) const;

private:
    CReportOptions m_options;
    CSelection m_choice;
    CValueText m_values;
};

// One sample in the form that the options ask for: the report, JSON, or the tree, for which `frames` says how
// many were counted. There may be no second tree.
std::string output(CReportOptions const & options, CFigures const & figures,
                   KetStats::CAgentStatistic const & tree, KetStats::CExtendedStatistic const * extended,
                   unsigned long long frames);

} // namespace ketmon
