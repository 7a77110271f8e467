#include "tests/host/Program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <sstream>

using namespace test;
using testing::Contains;
using testing::HasSubstr;

namespace {

struct CDescribed
{
    std::string value; // whether it takes one: the text in the place of it
    std::string text;  // of the description; in the help, the default
};

// Options by their names, such as "-q, --quiet".
using Options = std::map<std::string, CDescribed>;

std::vector<std::string> linesOf(std::string const & text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::string help(std::string const & command)
{
    return command.empty() ? ketmon({"--help"}).output : ketmon({command, "--help"}).output;
}

std::set<std::string> commandsOfHelp()
{
    std::set<std::string> commands;
    bool below = false;
    for (std::string const & line : linesOf(help(""))) {
        std::smatch match;
        if (below && std::regex_match(line, match, std::regex("  ([a-z]+) .*")))
            commands.insert(match[1]);
        below = below ? !line.empty() : line == "Subcommands:";
    }
    return commands;
}

// "-q, --quiet" of the help's "-q,--quiet", and what follows: "N=20", "FACTOR:NONNEGATIVE=1 Needs: --read".
Options optionsOfHelp(std::string const & command)
{
    std::regex const line("  (?:(-[a-zA-Z]), *)?(--[a-z-]+)(?: (\\S.*?))?(?:  .*)?");
    std::regex const usual("[^=]*=(\\S+).*");
    std::regex const relations("(Needs|Excludes): .*"); // of a flag
    Options options;
    for (std::string const & text : linesOf(help(command))) {
        std::smatch match;
        if (!std::regex_match(text, match, line))
            continue;
        std::string const value =
            std::regex_match(match[3].str(), relations) ? std::string() : match[3].str();
        std::smatch found;
        bool const hasUsual = std::regex_match(value, found, usual);
        options[match[1].matched ? match[1].str() + ", " + match[2].str() : match[2].str()] = {
            value, hasUsual ? found[1].str() : ""};
    }
    if (!command.empty())
        options.erase("-h, --help"); // which all have
    return options;
}

std::set<std::string> longNames(Options const & options)
{
    std::set<std::string> names;
    for (auto const & [name, described] : options)
        names.insert(name.substr(name.find("--")));
    return names;
}

std::set<std::string> names(Options const & options)
{
    std::set<std::string> names;
    for (auto const & [name, described] : options)
        names.insert(name);
    return names;
}

// The manual, as far as its options go.
class Manual
{
public:
    Manual()
    {
        for (std::string const & line : linesOf(fileContents(KETMON_MANUAL)))
            read(line);
    }

    std::set<std::string> commands() const
    {
        std::set<std::string> commands;
        for (auto const & [title, section] : m_sections)
            if (title.rfind("ketmon ", 0) == 0)
                commands.insert(title.substr(7));
        return commands;
    }

    // What the section of a command, or "General options", describes itself and by reference.
    Options options(std::string const & title) const
    {
        Section const & section = m_sections.at(title);
        Options all = section.options;
        for (std::string const & other : section.references) {
            Options const & more = m_sections.at(other).options;
            all.insert(more.begin(), more.end());
        }
        return all;
    }

    // The long options in the synopsis of a command; of ketmon alone for "".
    std::set<std::string> synopsis(std::string const & command) const { return m_synopsis.at(command); }

private:
    struct Section
    {
        Options options;
        std::set<std::string> references;
    };

    void read(std::string const & line)
    {
        std::smatch match;
        if (std::regex_match(line, match, std::regex("\\.S[hs] (.*)"))) {
            m_title = match[1];
            m_sections[m_title];
            m_item = nullptr;
        } else if (m_title == "SYNOPSIS") {
            readSynopsis(line);
        } else if (line.rfind(".It ", 0) == 0) {
            readItem(line);
        } else if (line == ".El") {
            m_item = nullptr;
        } else if (m_item) {
            m_item->text += line + '\n';
        } else if (std::regex_match(line, match, std::regex("\\.Sx (.*?)(?: ,)?"))) {
            m_sections[m_title].references.insert(match[1]);
        }
    }

    void readSynopsis(std::string const & line)
    {
        if (line == ".Nm")
            m_command.clear();
        else if (line.rfind(".Cm ", 0) == 0)
            m_command = line.substr(4);
        std::regex const option("Fl Fl ([a-z-]+)");
        for (std::sregex_iterator at(line.begin(), line.end(), option), end; at != end; ++at)
            m_synopsis[m_command].insert("--" + (*at)[1].str());
    }

    void readItem(std::string const & line)
    {
        std::smatch match;
        std::regex const item("\\.It (?:Fl ([a-zA-Z])(?: Ar \\S+)? , )?Fl Fl ([a-z-]+)(?: (?:Ar|Cm) (.*))?");
        m_item = nullptr;
        if (!std::regex_match(line, match, item))
            return;
        std::string const name =
            (match[1].matched ? "-" + match[1].str() + ", " : "") + "--" + match[2].str();
        m_item = &m_sections[m_title].options[name];
        m_item->value = match[3];
    }

    std::map<std::string, Section> m_sections;
    std::map<std::string, std::set<std::string>> m_synopsis;
    std::string m_title;
    std::string m_command;
    CDescribed * m_item = nullptr;
};

} // namespace

TEST(Manual, DescribesEveryCommandAndNoOther)
{
    std::set<std::string> const commands = commandsOfHelp();

    EXPECT_THAT(commands, Contains("read"));
    EXPECT_EQ(Manual().commands(), commands);
}

TEST(Manual, DescribesEveryOptionOfACommandAndNoOther)
{
    Manual const manual;

    for (std::string const & command : commandsOfHelp()) {
        Options const options = optionsOfHelp(command);
        EXPECT_FALSE(options.empty()) << command;
        EXPECT_EQ(names(manual.options("ketmon " + command)), names(options)) << command;
    }
    EXPECT_EQ(names(manual.options("General options")), names(optionsOfHelp("")));
}

TEST(Manual, HasEveryOptionInTheSynopsis)
{
    Manual const manual;

    for (std::string const & command : commandsOfHelp())
        EXPECT_EQ(manual.synopsis(command), longNames(optionsOfHelp(command))) << command;
    EXPECT_EQ(manual.synopsis(""), longNames(optionsOfHelp("")));
}

TEST(Manual, TellsWhichOptionsTakeAValueAndTheirDefaults)
{
    Manual const manual;
    unsigned int defaults = 0;

    for (std::string const & command : commandsOfHelp()) {
        Options const described = manual.options("ketmon " + command);
        for (auto const & [name, option] : optionsOfHelp(command)) {
            ASSERT_TRUE(described.count(name)) << command << ' ' << name;
            EXPECT_EQ(described.at(name).value.empty(), option.value.empty()) << command << ' ' << name;
            EXPECT_THAT(described.at(name).text, HasSubstr(option.text)) << command << ' ' << name;
            defaults += option.text.empty() ? 0 : 1;
        }
    }
    EXPECT_GT(defaults, 5U);
}

TEST(Manual, IsOfTheVersionOfTheProgram)
{
    std::string version = ketmon({"--version"}).output; // "ketmon 0.1.0\nwith ...\n"
    version.erase(version.find('\n') + 1);

    EXPECT_THAT(fileContents(KETMON_MANUAL),
                HasSubstr("\n.Os ketstats " + version.substr(version.find(' ') + 1)));
}
