#include "host/console/ConsoleView.h"

#include "host/render/FiguresJson.h"
#include "host/support/Escaped.h"
#include "host/support/Output.h"
#include "host/support/Terminal.h"
#include "host/support/TimeText.h"
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

ordered_json document(CReportOptions const & options, CReceivedTree const & received, CEnd const * end)
{
    ordered_json result;
    if (options.tree) {
        result["frames"] = received.tree().globalStatistics.transmittedFrames.get();
        if (end)
            result["ended"] = end->frames;
        result["statistics"] = CReport(options).chosenJson(received.tree(), received.tree().getOid());
        return result;
    }
    result = figuresJson(received.figures(), options);
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
        std::string_view line = text.substr(0, end);
        if (size.columns > 0)
            line = line.substr(0, size.columns);
        result.append(line).append("\033[K\n");
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

CConsoleView::CConsoleView(CReportOptions const & options)
    : m_options(options),
      m_terminal(isTerminal(stdout))
{}

void CConsoleView::show(CReceivedTree const & received, CEnd const * end) const
{
    if (m_options.json) {
        writeOutput(lineText(document(m_options, received, end)));
        return;
    }
    std::string const whole = stateText(received, end) + "\n" +
                              output(m_options, received.figures(), received.tree(),
                                     received.tree().globalStatistics.transmittedFrames.get());
    // The last state stays on the screen as a whole.
    if (m_terminal)
        writeOutput(end ? "\033[H\033[J" + whole : drawn(whole));
    else
        writeOutput(whole);
}

} // namespace ketmon
