#pragma once

#include "host/render/Report.h"
#include "host/wire/Selection.h"

#include "ketstats/ketstats.h"

#include <string>

namespace ketmon {

// How a console shows what it was sent, of which only the selected part means anything.
class CConsoleView
{
public:
    CConsoleView(CReportOptions const & options, CSelection const & selection, std::string const & title);

    // Shows the state after a sample: one JSON object on one line, or tables. On a terminal they take the
    // place of those before, as far as they fit.
    void show(KetStats::CStatSnapshot const & snapshot) const;
    // Shows the last state of an agent that counted so many frames in all.
    void showLast(KetStats::CStatSnapshot const & snapshot, unsigned long long counted) const;

private:
    std::string text(KetStats::CStatSnapshot const & snapshot) const;
    void print(KetStats::CStatSnapshot const & snapshot, unsigned long long const * counted) const;

    CReport m_report;
    CSelection const & m_selection;
    std::string m_title;
    bool m_terminal;
};

} // namespace ketmon
