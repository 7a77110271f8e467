#include "host/commands/LiveOptions.h"

#include "host/support/Failure.h"
#include "host/support/ServiceManager.h"

#include <fmt/core.h>

#include <charconv>
#include <string_view>

namespace ketmon {

namespace {

// The largest that libpcap takes, rounded down to MiB.
constexpr std::uint64_t largestBuffer = std::uint64_t{2047} << 20;

} // namespace

void addLiveOptions(CLI::App & command, CLI::Option & interface, CLiveOptions & options)
{
    command
        .add_option_function<std::string>(
            "-B,--buffer",
            [&options](std::string const & text) { options.bufferBytes = parsedBufferSize(text); },
            "Memory for frames that aren't counted yet: in KiB, or with k, M or G behind the number")
        ->default_str("16M")
        ->needs(&interface)
        ->type_name("SIZE");
    command
        .add_option("-s,--snaplen", options.snapLength,
                    "Bytes of a frame that are looked at; the headers unless given, 0 for whole frames")
        ->check(CLI::Range(0U, wholeFrames).description("0 to 262144"))
        ->capture_default_str()
        ->needs(&interface)
        ->type_name("BYTES");
    command
        .add_flag_callback(
            "-p,--no-promiscuous", [&options] { options.promiscuous = false; },
            "Only what the interface takes anyway: not the frames that are for others")
        ->needs(&interface);
    options.wait = isService();
    CLI::Option * const wait = command
                                   .add_flag_callback(
                                       "--wait", [&options] { options.wait = true; },
                                       "Wait for an interface that isn't there or is down; as a service it "
                                       "does unless told otherwise")
                                   ->needs(&interface);
    command
        .add_flag_callback(
            "--no-wait", [&options] { options.wait = false; },
            "Fail at once where an interface isn't there or is down")
        ->needs(&interface)
        ->excludes(wait);
}

int parsedBufferSize(std::string const & text)
{
    char const * const end = text.data() + text.size();
    std::uint64_t number = 0;
    auto const [stop, error] = std::from_chars(text.data(), end, number);
    std::string_view const unit(stop, static_cast<std::size_t>(end - stop));
    int shift = -1;
    if (unit.empty() || unit == "k" || unit == "K")
        shift = 10;
    else if (unit == "M" || unit == "m")
        shift = 20;
    else if (unit == "G" || unit == "g")
        shift = 30;
    if (error != std::errc() || shift < 0 || number == 0 || number > largestBuffer >> shift)
        throw CFailure(exitBadInput, fmt::format("--buffer: '{}' is no size such as 16M, from 1 (KiB) to {}M",
                                                 text, largestBuffer >> 20));
    return static_cast<int>(number << shift);
}

} // namespace ketmon
