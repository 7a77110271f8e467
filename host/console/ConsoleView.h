#pragma once

#include "host/live/ReceivedTree.h"
#include "host/render/Report.h"

#include <string>

namespace ketmon {

// How a console shows what it was sent.
class CConsoleView
{
public:
    explicit CConsoleView(CReportOptions const & options);

    // Shows the state after a sample: one JSON object on one line, or tables. On a terminal they take the
    // place of those before, as far as they fit. With an end it is the last state of an agent, of which the
    // whole stays there. Throws CFailure if it can't be written.
    void show(CReceivedTree const & received, CEnd const * end) const;

private:
    CReportOptions m_options;
    bool m_terminal;
};

// One line about what is shown: who counts, the moment, whether more will come.
std::string stateText(CReceivedTree const & received, CEnd const * end);

} // namespace ketmon
