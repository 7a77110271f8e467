#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace test {

// What a run of ketmon left behind.
struct Outcome
{
    int exitCode;
    std::string output;
    std::string errors;

    nlohmann::ordered_json json() const { return nlohmann::ordered_json::parse(output); }
};

// Runs a program, found as a shell does, with its arguments.
Outcome run(std::vector<std::string> const & command);

// Runs ketmon with these arguments.
Outcome ketmon(std::vector<std::string> const & arguments);

// Expects bad usage or unreadable input: exit 2, one line on stderr that says `reason`, nothing on stdout.
void expectRefused(Outcome const & outcome, std::string const & reason);

// The path of a bundled capture.
std::string capture(std::string const & name);

// The names of all bundled captures.
std::vector<std::string> captures();

// A file with these bytes, gone with the object.
class TemporaryFile
{
public:
    explicit TemporaryFile(std::string const & bytes);
    ~TemporaryFile();
    TemporaryFile(TemporaryFile const &) = delete;
    TemporaryFile & operator=(TemporaryFile const &) = delete;

    std::string const & path() const { return m_path; }

private:
    std::string m_path;
};

std::string fileContents(std::string const & path);

} // namespace test
