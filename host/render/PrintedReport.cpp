#include "host/render/PrintedReport.h"

#include "host/render/HostNames.h"
#include "host/render/ReportText.h"
#include "host/render/SystemNames.h"
#include "host/render/TableChoice.h"
#include "host/support/Terminal.h"

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <cstring>

namespace ketmon {

namespace {

constexpr unsigned int usualWidth = 100;

unsigned int lineWidth()
{
    unsigned int width = 0;
    if (char const * const columns = std::getenv("COLUMNS"))
        std::from_chars(columns, columns + std::strlen(columns), width);
    if (width == 0)
        width = terminalSize(stdout).columns;
    return std::clamp(width == 0 ? usualWidth : width, CReportStyle::leastWidth, CReportStyle::mostWidth);
}

CReportStyle styleOf(CReportOptions const & options)
{
    CReportStyle style;
    style.width = lineWidth();
    style.top = options.top.value_or(CReportOptions::reportTop);
    style.sort = options.sort;
    style.exact = options.exact;
    style.ascii = !showsUtf8();
    style.selected = !options.select.empty();
    style.signalsChosen = choosesSignals(options);
    return style;
}

volatile std::sig_atomic_t interrupted = 0;

// While it lives, an interrupt ends the waiting and not the program.
class CInterrupts
{
public:
    CInterrupts() : m_before(std::signal(SIGINT, [](int) { interrupted = 1; })) {}
    ~CInterrupts() { std::signal(SIGINT, m_before == SIG_ERR ? SIG_DFL : m_before); }
    CInterrupts(CInterrupts const &) = delete;
    CInterrupts & operator=(CInterrupts const &) = delete;

private:
    void (*m_before)(int);
};

} // namespace

std::string printedReport(CReportOptions const & options, CFigures const & figures)
{
    CFigures const shown = chosen(figures, options);
    CReportStyle const style = styleOf(options);
    if (options.numeric)
        return reportText(shown, style, CNames());
    CSystemNames names;
    if (options.dns) {
        CAskedNames asked;
        static_cast<void>(reportText(shown, style, asked));
        CInterrupts const interrupts;
        names.setHosts(hostNames(asked.hosts(), CHostNameLimits(), [] { return interrupted != 0; }));
    }
    return reportText(shown, style, names);
}

} // namespace ketmon
