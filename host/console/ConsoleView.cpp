#include "host/console/ConsoleView.h"

#include "host/render/FiguresJson.h"
#include "host/support/Escaped.h"
#include "host/support/Output.h"
#include "host/support/Terminal.h"
#include "host/support/TimeText.h"
#include "host/support/Utf8.h"
#include "host/wire/SnapshotBytes.h"

#include <fmt/core.h>

#include <string_view>

namespace ketmon {

using nlohmann::ordered_json;

namespace {

std::string timeOf(long long ticks)
{
    return timeText(ticks).value_or("an unknown time");
}

char const * nameOf(EndReason reason)
{
    switch (reason) {
    case EndReason::ended:
        return "ended";
    case EndReason::interrupted:
        return "interrupted";
    case EndReason::interfaceGone:
        return "interface_gone";
    case EndReason::failed:
        break;
    }
    return "failed";
}

// What stands behind "the agent".
char const * textOf(EndReason reason)
{
    switch (reason) {
    case EndReason::ended:
        return "ended";
    case EndReason::interrupted:
        return "was ended";
    case EndReason::interfaceGone:
        return "lost its interface";
    case EndReason::failed:
        break;
    }
    return "failed";
}

ordered_json gapJson(CGap const & gap)
{
    return {{"from", timeOf(gap.from)}, {"to", timeOf(gap.to)}};
}

ordered_json document(CReportOptions const & options, CReceivedTree const & received, CEnd const * end,
                      std::optional<CGap> const & gap)
{
    ordered_json result;
    if (options.tree) {
        if (gap)
            result["gap"] = gapJson(*gap);
        result["frames"] = received.tree().globalStatistics.transmittedFrames.get();
        if (end)
            result["ended"] = end->frames;
        CReport const report(options);
        result["statistics"] = report.chosenJson(received.tree(), received.tree().getOid());
        if (auto const * const extended = received.extended(); extended && report.chooses(extended->getOid()))
            result["extended"] = report.chosenJson(*extended, extended->getOid());
        return result;
    }
    result = figuresJson(received.figures(), options);
    if (gap)
        result["gap"] = gapJson(*gap);
    if (end) {
        result["end"] = {{"reason", nameOf(end->reason)}, {"frames", end->frames}};
        if (!end->text.empty())
            result["end"]["text"] = validUtf8(end->text);
    }
    return result;
}

// Draws over what a terminal shows, as many lines as it has.
std::string drawn(std::string_view text)
{
    CTerminalSize const size = terminalSize(stdout);
    unsigned int lines = size.lines > 1 ? size.lines : 25U;
    std::string result = "\033[H";
    while (!text.empty() && --lines > 0) {
        std::size_t const end = text.find('\n');
        std::string_view const line = text.substr(0, end);
        result += size.columns > 0 ? firstColumns(line, size.columns) : std::string(line);
        result += "\033[K\n";
        text.remove_prefix(end == text.npos ? text.size() : end + 1);
    }
    return result + "\033[J";
}

} // namespace

std::string stateText(CReceivedTree const & received, CEnd const * end)
{
    CWelcome const & welcome = received.welcome();
    CSampleHead const & head = received.head();
    std::string text = fmt::format("{} counts {}, since {}, at {}: ", escaped(welcome.agent),
                                   escaped(welcome.source), timeOf(head.zero), timeOf(head.moment));
    if (!end)
        return text + fmt::format("live, sample {}", head.sequence);
    text += fmt::format("the agent {} after {} frames", textOf(end->reason), end->frames);
    return end->text.empty() ? text : text + ": " + shownText(end->text);
}

CConsoleView::CConsoleView(CReportOptions const & options, CInterrupt const & interrupt)
    : m_options(options),
      m_interrupt(interrupt),
      m_terminal(isTerminal(stdout))
{}

std::string CConsoleView::text(CReceivedTree const & received, std::string const & state) const
{
    std::string whole = state + "\n";
    // The tree is shown as it came, and what has no zero point in it is marked.
    if (m_options.tree)
        whole += fmt::format("IP subprotocols, IP ports and ARP connections count since {}\n",
                             timeOf(received.welcome().epoch));
    return whole + output(m_options, received.figures(), received.tree(), received.extended(),
                          received.tree().globalStatistics.transmittedFrames.get());
}

void CConsoleView::show(CReceivedTree const & received, CEnd const * end, std::optional<CGap> const & gap)
{
    if (m_options.json) {
        writeOutput(lineText(document(m_options, received, end, gap)), m_interrupt);
        return;
    }
    if (gap)
        m_lastGap = gap;
    std::optional<CGap> const & told = m_terminal ? m_lastGap : gap;
    std::string state;
    if (told)
        state = fmt::format("The agent was out of reach from {} to {}, where counts begin anew.\n",
                            timeOf(told->from), timeOf(told->to));
    state += stateText(received, end);
    std::string const whole = text(received, state);
    // The last state stays on the screen as a whole.
    if (m_terminal)
        writeOutput(end ? "\033[H\033[J" + whole : drawn(whole), m_interrupt);
    else
        writeOutput(whole, m_interrupt);
}

void CConsoleView::lost(CReceivedTree const & received, std::string const & why,
                        std::chrono::milliseconds wait) const
{
    std::string const line =
        fmt::format("{}; trying again in {:.1f} s", why, std::chrono::duration<double>(wait).count());
    if (m_options.json || !m_terminal || received.empty())
        tell(line);
    else
        writeOutput(drawn(text(received, fmt::format("OUT OF REACH, as of {}: {}",
                                                     timeOf(received.head().moment), escaped(line)))),
                    m_interrupt);
}

} // namespace ketmon
