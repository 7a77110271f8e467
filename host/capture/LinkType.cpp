#include "host/capture/LinkType.h"

#include <fmt/core.h>

namespace ketmon {

namespace {

struct CLinkType
{
    std::uint32_t number;
    char const * name;
};

// The ones that people meet, by the names that capture tools show.
constexpr CLinkType linkTypes[] = {
    {0, "NULL"},
    {1, "EN10MB"},
    {6, "IEEE802"},
    {9, "PPP"},
    {10, "FDDI"},
    {51, "PPP_ETHER"},
    {101, "RAW"},
    {105, "IEEE802_11"},
    {108, "LOOP"},
    {113, "LINUX_SLL"},
    {119, "PRISM"},
    {122, "IP_OVER_FC"},
    {127, "IEEE802_11_RADIO"},
    {189, "USB_LINUX"},
    {228, "IPV4"},
    {220, "USB_LINUX_MMAPPED"},
    {229, "IPV6"},
    {239, "NFLOG"},
    {249, "USBPCAP"},
    {253, "NETLINK"},
    {276, "LINUX_SLL2"},
};

} // namespace

std::string linkTypeText(std::uint32_t number)
{
    for (CLinkType const & type : linkTypes)
        if (type.number == number)
            return fmt::format("{} ({})", type.name, number);
    return fmt::format("unknown ({})", number);
}

} // namespace ketmon
