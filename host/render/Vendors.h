#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace ketmon {

// The 48 bits of a hardware address such as 00:11:22:aa:bb:cc or 00-11-22-AA-BB-CC.
std::optional<std::uint64_t> macBits(std::string const & mac);

// Whom the first three bytes of hardware addresses were assigned to, from the registry's list as Debian's
// ieee-data has it:
//
//     00-22-72   (hex)		American Micro-Fuel Device Corp.
//
// The file is read at the first question. One that is missing, cut or damaged leaves names out, and nothing
// else happens.
class CVendors
{
public:
    explicit CVendors(std::string path = "/usr/share/ieee-data/oui.txt");

    // As short as it stays clear; empty for addresses that nobody was assigned, such as those that software
    // made up, and for blocks that the registry gave away in smaller parts. May be called on any thread.
    std::string operator()(std::string const & mac) const;

private:
    struct CEntry
    {
        std::uint32_t prefix;
        std::uint32_t start; // in m_names, where a zero byte ends it
    };

    void load() const;

    std::string m_path;
    mutable std::once_flag m_loaded;
    mutable std::vector<CEntry> m_entries; // ascending
    mutable std::string m_names;
};

} // namespace ketmon
