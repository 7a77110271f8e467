#include "host/wire/Strangers.h"

namespace ketmon {

namespace {

struct CStranger
{
    std::string_view start;
    char const * name;
};

// TLS begins with the type of a record and the major version, 3; what matters of the minor one is that a length
// so large is none of this protocol's.
constexpr CStranger strangers[] = {
    {"HTTP", "a web server"},         {"GET ", "a client of HTTP"},     {"HEAD", "a client of HTTP"},
    {"POST", "a client of HTTP"},     {"PUT ", "a client of HTTP"},     {"PRI ", "a client of HTTP"},
    {"OPTI", "a client of HTTP"},     {"CONN", "a client of HTTP"},     {"DELE", "a client of HTTP"},
    {"PATC", "a client of HTTP"},     {"TRAC", "a client of HTTP"},     {"SSH-", "a speaker of SSH"},
    {"\x16\x03", "a speaker of TLS"}, {"\x15\x03", "a speaker of TLS"},
};

} // namespace

std::string strangerOf(std::string_view start)
{
    for (CStranger const & stranger : strangers)
        if (start.substr(0, stranger.start.size()) == stranger.start)
            return stranger.name;
    return "";
}

} // namespace ketmon
