#include "ketstats/platform/StringTable.h"

#include <memory>

namespace KetStats::platform {

namespace {

constexpr unsigned int idsOfABlock = 16;
constexpr int stackBytes = 256; // hold 127 characters

// Converts `length` characters into `size` bytes at `buffer`, which has room for one more, and assigns them
// up to their first zero.
void convert(wchar_t const * characters, int length, char * buffer, int size, std::string & text)
{
    int const written = WideCharToMultiByte(CP_ACP, 0, characters, length, buffer, size, nullptr, nullptr);
    buffer[written] = '\0';
    text = buffer;
}

} // namespace

// A block of the table, sixteen strings without a zero behind them, absent ones of length 0:
//
//     { length (2)  characters (2 * length) } * 16
//
// Each block stands in one language only. So a search without a language finds it: after those of the user
// and the machine it takes any.
bool loadString(HMODULE module, unsigned int id, std::string & text)
{
    auto const block = static_cast<WORD>(id / idsOfABlock + 1); // numbers of resources have 16 bits
    HRSRC const found = FindResourceA(module, MAKEINTRESOURCEA(block), MAKEINTRESOURCEA(6));
    HGLOBAL const loaded = found ? LoadResource(module, found) : nullptr;
    auto const * entry = static_cast<wchar_t const *>(loaded ? LockResource(loaded) : nullptr);
    if (!entry)
        return false;
    for (unsigned int before = id % idsOfABlock; before > 0; --before)
        entry += 1 + *entry;

    int const length = *entry;
    int const bytes = 2 * length + 2;
    if (bytes <= stackBytes) {
        char buffer[stackBytes + 1];
        convert(entry + 1, length, buffer, stackBytes, text);
    } else {
        std::unique_ptr<char[]> const buffer(new char[static_cast<std::size_t>(bytes) + 1]);
        convert(entry + 1, length, buffer.get(), bytes, text);
    }
    return true;
}

} // namespace KetStats::platform
