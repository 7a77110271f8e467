#include "tests/support/windows/Program.h"

#include <windows.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace test {

namespace fs = std::filesystem;

Outcome run(fs::path const & program, std::string const & arguments, fs::path const & workingDirectory)
{
    ScratchDirectory const scratch;
    fs::path const outputFile = scratch.path / "output";
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    HANDLE const output = CreateFileW(outputFile.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited,
                                      CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output;
    startup.hStdError = output;
    PROCESS_INFORMATION process{};
    std::string commandLine = program.string() + ' ' + arguments;
    BOOL const started = CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                        workingDirectory.string().c_str(), &startup, &process);
    CloseHandle(output);
    if (!started)
        throw std::runtime_error("can't start " + commandLine);

    Outcome outcome{};
    WaitForSingleObject(process.hProcess, INFINITE);
    GetExitCodeProcess(process.hProcess, &outcome.status);
    CloseHandle(process.hProcess);
    CloseHandle(process.hThread);
    std::ifstream file(outputFile); // in text form
    outcome.output.assign(std::istreambuf_iterator<char>(file), {});
    return outcome;
}

ScratchDirectory::ScratchDirectory()
    : path(programDirectory() /
           ("scratch-" + std::to_string(GetCurrentProcessId()) + '-' + std::to_string(GetTickCount64()) +
            '-' + std::to_string(reinterpret_cast<std::uintptr_t>(this))))
{
    fs::create_directory(path);
}

ScratchDirectory::~ScratchDirectory()
{
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

fs::path programDirectory()
{
    char path[MAX_PATH];
    GetModuleFileNameA(nullptr, path, sizeof path);
    return fs::path(path).parent_path();
}

} // namespace test
