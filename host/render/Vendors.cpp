#include "host/render/Vendors.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <fstream>
#include <string_view>

namespace ketmon {

namespace {

constexpr std::uint64_t groupBit = 1ULL << 40;
constexpr std::uint64_t localBit = 2ULL << 40;
constexpr std::size_t longestLine = 1000; // of what can be an entry
constexpr std::size_t mostEntries = 1000000;

// "00-22-72   (hex)\t\tNAME"
bool parseEntry(std::string_view line, std::uint32_t & prefix, std::string_view & name)
{
    constexpr std::string_view mark = "(hex)";
    if (line.size() > longestLine || line.size() < 8 || line[2] != '-' || line[5] != '-')
        return false;
    std::size_t const marked = line.find(mark);
    if (marked == line.npos)
        return false;
    char const digits[] = {line[0], line[1], line[3], line[4], line[6], line[7]};
    auto const [stop, error] = std::from_chars(std::begin(digits), std::end(digits), prefix, 16);
    if (error != std::errc() || stop != std::end(digits))
        return false;
    name = line.substr(marked + mark.size());
    std::size_t const first = name.find_first_not_of(" \t");
    std::size_t const last = name.find_last_not_of(" \t\r");
    if (first == name.npos)
        return false;
    name = name.substr(first, last + 1 - first);
    return true;
}

bool sameLetters(std::string_view left, std::string_view right)
{
    auto const lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [&](char a, char b) { return lower(a) == lower(b); });
}

// Without what tells the form of a company, which says nothing about whose machine it is.
std::string_view shortened(std::string_view name)
{
    constexpr std::string_view endings[] = {
        "inc",     "inc.",         "co",      "co.",     "ltd",      "ltd.",   "corp",    "corp.",
        "llc",     "gmbh",         "ag",      "b.v.",    "s.a.",     "pte",    "pte.",    "corporation",
        "limited", "incorporated", "company", "co.,ltd", "co.,ltd.", "co.ltd", "co.ltd.", "&"};
    for (bool cut = true; cut;) {
        cut = false;
        std::size_t const last = name.find_last_not_of(" ,");
        name = name.substr(0, last + 1);
        std::size_t const word = name.find_last_of(" ,");
        if (word == name.npos || word == 0)
            break;
        for (std::string_view const ending : endings)
            if (sameLetters(name.substr(word + 1), ending)) {
                name = name.substr(0, word);
                cut = true;
                break;
            }
    }
    return name;
}

} // namespace

std::optional<std::uint64_t> macBits(std::string const & mac)
{
    if (mac.size() != 17)
        return {};
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < mac.size(); i += 3) {
        unsigned int byte = 0;
        char const * const first = mac.data() + i;
        auto const [stop, error] = std::from_chars(first, first + 2, byte, 16);
        bool const separated = i + 2 == mac.size() || mac[i + 2] == ':' || mac[i + 2] == '-';
        if (error != std::errc() || stop != first + 2 || !separated)
            return {};
        bits = bits << 8 | byte;
    }
    return bits;
}

CVendors::CVendors(std::string path) : m_path(std::move(path)) {}

std::string CVendors::operator()(std::string const & mac) const
{
    std::optional<std::uint64_t> const bits = macBits(mac);
    if (!bits || *bits == 0 || (*bits & (groupBit | localBit)) != 0)
        return {}; // the address of all zeros is of nobody, though its prefix was assigned
    std::call_once(m_loaded, [this] { load(); });
    auto const prefix = static_cast<std::uint32_t>(*bits >> 24);
    auto const found =
        std::lower_bound(m_entries.begin(), m_entries.end(), prefix,
                         [](CEntry const & each, std::uint32_t wanted) { return each.prefix < wanted; });
    return found != m_entries.end() && found->prefix == prefix ? m_names.c_str() + found->start : "";
}

void CVendors::load() const
{
    std::ifstream file(m_path, std::ios::binary);
    std::string line;
    while (m_entries.size() < mostEntries && std::getline(file, line)) {
        std::uint32_t prefix = 0;
        std::string_view name;
        if (!parseEntry(line, prefix, name) || sameLetters(name, "IEEE Registration Authority") ||
            sameLetters(name, "Private"))
            continue;
        m_entries.push_back({prefix, static_cast<std::uint32_t>(m_names.size())});
        m_names += shortened(name);
        m_names += '\0';
    }
    std::stable_sort(m_entries.begin(), m_entries.end(),
                     [](CEntry const & left, CEntry const & right) { return left.prefix < right.prefix; });
}

} // namespace ketmon
