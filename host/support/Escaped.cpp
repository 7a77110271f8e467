#include "host/support/Escaped.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace ketmon {

namespace {

// A character, or one byte that isn't part of any.
struct CPiece
{
    std::size_t length = 1;
    std::uint32_t code = 0;
    bool valid = false;
};

CPiece firstPiece(std::string_view text)
{
    auto const byteAt = [text](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    unsigned char const lead = byteAt(0);
    if (lead < 0x80)
        return {1, lead, true};
    std::size_t const length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    // 0x80 to 0xBF go on from a character, and 0xF8 and above are nothing.
    if (lead < 0xC0 || lead >= 0xF8 || length > text.size())
        return {};
    std::uint32_t code = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byteAt(i) & 0xC0) != 0x80)
            return {};
        code = code << 6 | (byteAt(i) & 0x3FU);
    }
    // Longer than it need be, half of a pair, or beyond the last one.
    constexpr std::uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < least[length] || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF)
        return {};
    return {length, code, true};
}

struct CRange
{
    std::uint32_t first;
    std::uint32_t last;
};

// What a reader obeys instead of showing it.
constexpr CRange obeyed[] = {
    {0x00, 0x1F},     // C0
    {0x7F, 0x9F},     // DEL, C1
    {0x061C, 0x061C}, // Arabic letter mark
    {0x200E, 0x200F}, // left-to-right and right-to-left marks
    {0x2028, 0x202E}, // breaks of lines and paragraphs, embeddings and overrides
    {0x2066, 0x2069}, // isolates
};

bool isObeyed(std::uint32_t code)
{
    return std::any_of(std::begin(obeyed), std::end(obeyed),
                       [code](CRange const & range) { return code >= range.first && code <= range.last; });
}

// At most so many bytes of it, where `text` becomes what wasn't rewritten for want of room.
std::string rewritten(std::string_view & text, bool (*escape)(std::uint32_t), std::size_t most)
{
    std::string result;
    result.reserve(std::min(text.size(), most));
    while (!text.empty()) {
        CPiece const piece = firstPiece(text);
        std::string escapes;
        if (!piece.valid)
            escapes = fmt::format("\\x{:02x}", static_cast<unsigned char>(text.front()));
        else if (escape(piece.code))
            escapes = piece.code < 0x80 ? fmt::format("\\x{:02x}", piece.code)
                                        : fmt::format("\\u{:04x}", piece.code);
        std::string_view const shown =
            escapes.empty() ? text.substr(0, piece.length) : std::string_view(escapes);
        if (shown.size() > most - result.size())
            break;
        result += shown;
        text.remove_prefix(piece.length);
    }
    return result;
}

} // namespace

std::string escaped(std::string_view text)
{
    return rewritten(text, &isObeyed, std::string::npos);
}

std::string escapedStart(std::string_view text, std::size_t most)
{
    std::string const start = rewritten(text, &isObeyed, most);
    return text.empty() ? start : start + "...";
}

std::string validUtf8(std::string_view text)
{
    return rewritten(
        text, [](std::uint32_t) { return false; }, std::string::npos);
}

} // namespace ketmon
