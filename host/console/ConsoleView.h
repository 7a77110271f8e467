#pragma once

#include "host/live/ReceivedTree.h"
#include "host/render/Report.h"
#include "host/support/Interrupt.h"

#include <chrono>
#include <optional>
#include <string>

namespace ketmon {

// Between the last sample of a connection that was lost and the zero point of the next one, in ticks.
struct CGap
{
    long long from;
    long long to;
};

// How a console shows what it was sent.
class CConsoleView
{
public:
    // What isn't written once `interrupt`, which must live longer, is raised is left out.
    CConsoleView(CReportOptions const & options, CInterrupt const & interrupt);

    // Shows the state after a sample: one JSON object on one line, or tables. On a terminal they take the
    // place of those before, as far as they fit. With an end it is the last state of an agent, of which the
    // whole stays there. A gap is told before what comes behind it, and on a terminal from then on. Throws CFailure if it can't be written.
    void show(CReceivedTree const & received, CEnd const * end, std::optional<CGap> const & gap);

    // Shows that the agent is out of reach, and for how long nothing will be tried: on a terminal above what was
    // known last, elsewhere on the standard error output.
    void lost(CReceivedTree const & received, std::string const & why, std::chrono::milliseconds wait) const;

private:
    std::string text(CReceivedTree const & received, std::string const & state) const;

    CReportOptions m_options;
    CInterrupt const & m_interrupt;
    bool m_terminal;
    std::optional<CGap> m_lastGap;
};

// One line about what is shown: who counts, the moment, whether more will come.
std::string stateText(CReceivedTree const & received, CEnd const * end);

} // namespace ketmon
