#include "host/console/ConsoleView.h"

#include "host/support/Terminal.h"
#include "host/wire/SnapshotBytes.h"

#include <fmt/core.h>

#include <string_view>

namespace ketmon {

using KetStats::CBaseStat;
using KetStats::COid;
using nlohmann::ordered_json;

namespace {

// The selected statistics below `stat`, which is a group that isn't selected whole.
ordered_json selectedToJson(CBaseStat const & stat, COid const & oid, CSelection const & selection,
                            CReport const & report)
{
    ordered_json object = ordered_json::object();
    for (unsigned int index = 0; index < stat.getChildrenCount(); ++index) {
        CBaseStat const & child = *stat.getChild(index);
        COid const below(fmt::format("{}.{}", oid.toString(), child.getId()));
        if (selection.touches(below))
            object[child.getDescription()->getStringDescription()] =
                selection.covers(below) ? report.json(child)
                                        : selectedToJson(child, below, selection, report);
    }
    return object;
}

// Text from an agent may hold anything, and a terminal obeys some of it.
std::string harmless(std::string text)
{
    for (char & c : text)
        if ((c >= 0 && c < 0x20 && c != '\n') || c == 0x7F)
            c = '?';
    return text;
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

CConsoleView::CConsoleView(CReportOptions const & options, CSelection const & selection,
                           std::string const & title)
    : m_report(options),
      m_selection(selection),
      m_title(title),
      m_terminal(isTerminal(stdout))
{}

void CConsoleView::show(KetStats::CStatSnapshot const & snapshot) const
{
    print(snapshot, nullptr);
}

void CConsoleView::showLast(KetStats::CStatSnapshot const & snapshot, unsigned long long counted) const
{
    print(snapshot, &counted);
}

std::string CConsoleView::text(KetStats::CStatSnapshot const & snapshot) const
{
    std::string result;
    for (COid const & oid : m_selection.oids())
        result += m_report.text(*snapshot.getStat(oid));
    return harmless(result);
}

void CConsoleView::print(KetStats::CStatSnapshot const & snapshot, unsigned long long const * counted) const
{
    unsigned int const frames = framesOf(snapshot);
    if (m_report.isJson()) {
        ordered_json document;
        document["frames"] = frames;
        if (counted)
            document["ended"] = *counted;
        COid const root("1");
        CBaseStat const & tree = *snapshot.getStat(root);
        document["statistics"] = m_selection.covers(root) ? m_report.json(tree)
                                                          : selectedToJson(tree, root, m_selection, m_report);
        fmt::print("{}\n", document.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
    } else {
        std::string const state =
            counted ? fmt::format("the agent ended after {} frames", *counted) : std::string("live");
        std::string const whole =
            fmt::format("{}: {} frames, {}\n\n{}", m_title, frames, state, text(snapshot));
        // The last state stays on the screen as a whole.
        if (m_terminal && counted)
            fmt::print("\033[H\033[J{}", whole);
        else if (m_terminal)
            fmt::print("{}", drawn(whole));
        else
            fmt::print("{}", whole);
    }
    std::fflush(stdout);
}

} // namespace ketmon
