#include "tests/host/Program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace test {

namespace {

std::string quoted(std::string const & text)
{
    std::string result = "'";
    for (char const c : text)
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

} // namespace

Outcome run(std::vector<std::string> const & command)
{
    TemporaryFile const errors("");
    std::string line;
    for (std::string const & word : command)
        line += quoted(word) + ' ';
    line += "2>" + quoted(errors.path()) + " </dev/null";

    std::FILE * const pipe = popen(line.c_str(), "r");
    if (!pipe)
        throw std::runtime_error("can't start " + command.front());
    Outcome outcome;
    char block[4096];
    while (std::size_t const count = std::fread(block, 1, sizeof block, pipe))
        outcome.output.append(block, count);
    int const status = pclose(pipe);
    outcome.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    outcome.errors = fileContents(errors.path());
    return outcome;
}

Outcome ketmon(std::vector<std::string> const & arguments)
{
    std::vector<std::string> command = arguments;
    command.insert(command.begin(), KETMON_PROGRAM);
    return run(command);
}

void expectRefused(Outcome const & outcome, std::string const & reason)
{
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(outcome.errors, testing::HasSubstr(reason));
    EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1) << outcome.errors;
    EXPECT_EQ(outcome.errors.rfind("ketmon: ", 0), 0U) << outcome.errors;
}

std::string capture(std::string const & name)
{
    return std::string(KETSTATS_CAPTURES) + '/' + name;
}

std::vector<std::string> captures()
{
    std::vector<std::string> names;
    for (auto const & entry : std::filesystem::directory_iterator(KETSTATS_CAPTURES))
        if (entry.path().extension() == ".pcap" || entry.path().extension() == ".pcapng")
            names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

TemporaryFile::TemporaryFile(std::string const & bytes)
{
    std::string name = (std::filesystem::temp_directory_path() / "ketmon-test-XXXXXX").string();
    int const handle = mkstemp(name.data());
    if (handle < 0)
        throw std::runtime_error("no temporary file");
    close(handle);
    m_path = name;
    std::ofstream(m_path, std::ios::binary) << bytes;
}

TemporaryFile::~TemporaryFile()
{
    std::error_code ignored;
    std::filesystem::remove(m_path, ignored);
}

std::string fileContents(std::string const & path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

} // namespace test
