#include "host/capture/LinkType.h"

#include <fmt/core.h>

#include <algorithm>
#include <cctype>
#include <iterator>

namespace ketmon {

namespace {

struct CLinkType
{
    std::uint32_t number;
    char const * name;
};

// The ones that people meet, by the names that capture tools show.
constexpr CLinkType linkTypes[] = {
    {0, "NULL"},         {1, "EN10MB"},
    {6, "IEEE802"},      {9, "PPP"},
    {10, "FDDI"},        {12, "RAW"},
    {14, "RAW"},         {50, "PPP_HDLC"},
    {51, "PPP_ETHER"},   {101, "RAW"},
    {105, "IEEE802_11"}, {108, "LOOP"},
    {113, "LINUX_SLL"},  {119, "PRISM"},
    {122, "IP_OVER_FC"}, {127, "IEEE802_11_RADIO"},
    {189, "USB_LINUX"},  {220, "USB_LINUX_MMAPPED"},
    {228, "IPV4"},       {229, "IPV6"},
    {239, "NFLOG"},      {249, "USBPCAP"},
    {253, "NETLINK"},    {276, "LINUX_SLL2"},
};

char const * nameOf(std::uint32_t number)
{
    for (CLinkType const & type : linkTypes)
        if (type.number == number)
            return type.name;
    return nullptr;
}

constexpr std::uint32_t countable[] = {
    linktype::null, linktype::ethernet, linktype::ppp,  linktype::pppHdlc, linktype::raw,
    linktype::loop, linktype::linuxSll, linktype::ipv4, linktype::ipv6,    linktype::linuxSll2,
};

} // namespace

bool isCountable(std::uint32_t linkType)
{
    return std::find(std::begin(countable), std::end(countable), linkType) != std::end(countable);
}

MediaFamily mediaFamily(std::uint32_t linkType)
{
    return linkType == linktype::ethernet ? MediaFamily::ethernet : MediaFamily::others;
}

// Raw IP has the number that the system which wrote the file has for it, where nobody made it the one of
// files.
std::uint32_t usualLinkType(std::uint32_t number)
{
    return number == 12 || number == 14 ? linktype::raw : number;
}

std::string linkTypeText(std::uint32_t number)
{
    char const * const name = nameOf(number);
    return fmt::format("{} ({})", name ? name : "unknown", number);
}

std::string linkTypeKey(std::uint32_t number)
{
    if (number == linktype::ethernet)
        return "ethernet";
    char const * const name = nameOf(number);
    std::string key = name ? name : fmt::format("unknown_{}", number);
    std::transform(key.begin(), key.end(), key.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return key;
}

} // namespace ketmon
