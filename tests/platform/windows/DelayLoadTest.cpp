#include "tests/support/windows/Imports.h"
#include "tests/support/windows/Program.h"

#include "ketstats/text/StringResources.h"

#include <gtest/gtest.h>

#include <delayimp.h>

namespace fs = std::filesystem;

namespace {

// The libraries in one directory, the program that uses them in a second one, and a third one to work in.
class LateBinding : public testing::Test
{
protected:
    void SetUp() override
    {
        for (fs::path const & directory : {libraries, program, elsewhere})
            fs::create_directory(directory);
        copy("ketstats.dll", libraries);
        copy("kndislib.dll", libraries);
        copy("late-binding.exe", program);
        copy("late-binding-probe.dll", program);
    }

    test::Outcome run(std::string const & mode) const { return runFrom(libraries, mode); }
    test::Outcome runFrom(fs::path const & directory, std::string const & mode) const
    {
        return test::run(program / "late-binding.exe",
                         (directory / "ketstats.dll").string() + ' ' +
                             (program / "late-binding-probe.dll").string() + ' ' + mode,
                         elsewhere);
    }

    // A directory with both libraries, of whose paths each has that many characters.
    fs::path copyToAPathOf(std::size_t characters) const
    {
        std::size_t const length = characters - std::string(R"(\ketstats.dll)").size();
        fs::path deep = scratch.path;
        while (deep.string().size() + 120 < length)
            deep /= std::string(98, 'd');
        deep /= std::string(length - deep.string().size() - 1, 'd');
        fs::create_directories(R"(\\?\)" + deep.string());
        for (char const * const name : {"ketstats.dll", "kndislib.dll"}) {
            fs::copy_file(libraries / name, R"(\\?\)" + (deep / name).string());
            EXPECT_EQ((deep / name).string().size(), characters);
        }
        return deep;
    }

    test::ScratchDirectory scratch;
    fs::path const libraries = scratch.path / "libraries";
    fs::path const program = scratch.path / "program";
    fs::path const elsewhere = scratch.path / "elsewhere";
    std::string const captureLibrary = (libraries / "kndislib.dll").string();

private:
    static void copy(char const * name, fs::path const & directory)
    {
        fs::copy_file(test::programDirectory() / name, directory / name);
    }
};

std::string const untilTheFirstCall = "start: absent\nloaded: absent\nmakeManager: absent\n";

TEST_F(LateBinding, CaptureLibraryComesWithTheFirstCallFromBesideThisOneAndGoesWithIt)
{
    std::string const turn = "start: absent\n"
                             "loaded: absent\n"
                             "makeManager: absent\n"
                             "begin: " +
                             captureLibrary +
                             "\n"
                             "end: " +
                             captureLibrary +
                             "\n"
                             "library: absent\n";

    test::Outcome const outcome = run("twice");

    EXPECT_EQ(outcome.output, turn + turn + "unloaded: absent\n");
    EXPECT_EQ(outcome.status, 0U);
}

TEST_F(LateBinding, ProgramEndsCleanlyWithEverythingLoaded)
{
    test::Outcome const outcome = run("exit");

    EXPECT_NE(outcome.output.find("begin: " + captureLibrary + "\n"), std::string::npos) << outcome.output;
    EXPECT_EQ(outcome.status, 0U);
}

// The reverse of the order in which the lists were built, each format once.
std::string const endOfFormats = "gone: IPv6\ngone: protocol id\ngone: string\ngone: IP\n"
                                 "gone: MAC\ngone: double\ngone: integer\n";

TEST_F(LateBinding, FormatsOfTheHostGoWithTheProgram)
{
    test::Outcome const outcome = run("formats");

    EXPECT_TRUE(outcome.output.ends_with("\nleaveFormats: " + captureLibrary + "\n" + endOfFormats))
        << outcome.output;
    EXPECT_EQ(outcome.status, 0U);
}

// The library calls code of the module then, which is still there.
TEST_F(LateBinding, FormatsOfAModuleGoWhenItGoesWithTheLibrary)
{
    test::Outcome const outcome = run("plugin");

    std::string const turn = untilTheFirstCall + "begin: " + captureLibrary +
                             "\nleaveFormats: " + captureLibrary + "\nend: " + captureLibrary + "\n" +
                             endOfFormats + "library: absent\n";
    EXPECT_EQ(outcome.output, turn + turn + "unloaded: absent\n");
    EXPECT_EQ(outcome.status, 0U);
}

// A client that only shows what others analysed.
TEST_F(LateBinding, TextOfAnAddressIsAFirstCallToo)
{
    for (std::string const mode : {"text", "ipv6Text"}) {
        test::Outcome const outcome = run(mode);

        EXPECT_EQ(outcome.output, untilTheFirstCall + mode + ": " + captureLibrary + "\n");
        EXPECT_EQ(outcome.status, 0U);
    }
}

// What the compiler's support of delayed loading raises for a library that isn't found.
constexpr DWORD moduleNotFound = 0xC06D007E;
static_assert(moduleNotFound == static_cast<DWORD>(VcppException(ERROR_SEVERITY_ERROR, ERROR_MOD_NOT_FOUND)));

TEST_F(LateBinding, AbsentCaptureLibraryIsAStructuredExceptionAtTheFirstCall)
{
    fs::remove(captureLibrary);

    test::Outcome const outcome = run("handler");

    EXPECT_EQ(outcome.output, untilTheFirstCall + "exception: C06D007E\n");
    EXPECT_EQ(outcome.status, 3U) << "the handler's";
}

TEST_F(LateBinding, AbsentCaptureLibraryEndsAProgramWithoutAHandler)
{
    fs::remove(captureLibrary);

    test::Outcome const outcome = run("twice");

    EXPECT_EQ(outcome.output.substr(0, untilTheFirstCall.size()), untilTheFirstCall);
    EXPECT_EQ(outcome.output.find("begin"), std::string::npos) << outcome.output;
    EXPECT_EQ(outcome.status, moduleNotFound);
}

// Where there is none beside the library, the system looks for one in its own way.
TEST_F(LateBinding, CaptureLibraryBesideTheProgramServesIfThereIsNoOther)
{
    fs::rename(captureLibrary, program / "kndislib.dll");

    test::Outcome const outcome = run("exit");

    EXPECT_NE(outcome.output.find("begin: " + (program / "kndislib.dll").string() + "\n"), std::string::npos)
        << outcome.output;
    EXPECT_EQ(outcome.status, 0U);
}

TEST_F(LateBinding, CaptureLibraryBesideTheLibraryComesBeforeOneBesideTheProgram)
{
    fs::copy_file(captureLibrary, program / "kndislib.dll");

    test::Outcome const outcome = run("exit");

    EXPECT_NE(outcome.output.find("begin: " + captureLibrary + "\n"), std::string::npos) << outcome.output;
}

// Its functions are unbound then, and the place beside the library is no longer looked at first.
TEST_F(LateBinding, CallAfterUnloadingBindsAnewWithoutTheHook)
{
    fs::copy_file(captureLibrary, program / "kndislib.dll");

    test::Outcome const outcome = run("again");

    EXPECT_EQ(outcome.output, untilTheFirstCall + "begin: " + captureLibrary + "\nend: " + captureLibrary +
                                  "\nunload: absent\nmakeManager: absent\nbegin: " +
                                  (program / "kndislib.dll").string() + "\n");
    EXPECT_EQ(outcome.status, 0U);
}

// The longest path with which a library can be asked where it lies.
TEST_F(LateBinding, CaptureLibraryIsFoundUnderAPathOf259Characters)
{
    fs::path const deep = copyToAPathOf(259);

    test::Outcome const outcome = runFrom(deep, "exit");

    EXPECT_NE(outcome.output.find("begin: " + (deep / "kndislib.dll").string() + "\n"), std::string::npos)
        << outcome.output;
    EXPECT_EQ(outcome.status, 0U);
}

// The library doesn't know then where it lies, and leaves the search to the system.
TEST_F(LateBinding, CaptureLibraryBesideTheProgramServesALibraryUnderAPathOf260Characters)
{
    fs::path const deep = copyToAPathOf(260);
    fs::copy_file(captureLibrary, program / "kndislib.dll");

    test::Outcome const outcome = runFrom(deep, "exit");

    EXPECT_NE(outcome.output.find("begin: " + (program / "kndislib.dll").string() + "\n"), std::string::npos)
        << outcome.output;
    EXPECT_EQ(outcome.status, 0U);
}

// Nothing in the list of what is loaded with the library names the capture library.
TEST(LateBindingImports, CaptureLibraryIsNotLoadedWithTheLibrary)
{
    HMODULE const library = KetStats::CStringResources::instance().module;

    EXPECT_EQ(test::importOf(library, "_ZN19CNDISRequesterProxyC1EP9CNdisHook"), nullptr);
    EXPECT_NE(test::importOf(library, "FindResourceA"), nullptr) << "what is imported is found";
}

} // namespace
