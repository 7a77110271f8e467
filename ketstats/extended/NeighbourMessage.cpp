#include "ketstats/extended/NeighbourMessage.h"

namespace KetStats {

namespace {

enum MessageType : unsigned char
{
    routerAdvertisement = 134,
    neighbourSolicitation = 135,
    neighbourAdvertisement = 136,
};

enum OptionType : unsigned char
{
    sourceAddress = 1,
    targetAddress = 2,
};

constexpr unsigned int untouchedHopLimit = 255;
constexpr unsigned int sourceOffset = 8; // of the IPv6 header

CIPv6Address addressAt(CBoundedBytes const & bytes, unsigned int offset)
{
    CIPv6Address address;
    bytes.copy<16>(offset, address.bytes.data());
    return address;
}

bool isMulticast(CIPv6Address const & address)
{
    return address.bytes[0] == 0xFF;
}

bool isLinkLocal(CIPv6Address const & address)
{
    return address.bytes[0] == 0xFE && (address.bytes[1] & 0xC0) == 0x80;
}

// The MAC address in the first option of that type. None if there is no such option, it is of another size, or the
// options don't end where the message does.
std::optional<CMACAddrPacked> macIn(CBoundedBytes const & message, unsigned int at, unsigned int length,
                                    OptionType wanted)
{
    std::optional<CMACAddrPacked> found;
    bool sought = true;
    while (at < length) {
        // A single byte that is left is no option.
        unsigned int const size = at + 1 < length ? message[at + 1] * 8U : 0;
        if (size == 0 || size > length - at)
            return std::nullopt;
        if (sought && message[at] == wanted) {
            sought = false;
            if (size != 8)
                return std::nullopt;
            message.copy<6>(at + 2, found.emplace().bytes.data());
        }
        at += size;
    }
    return found;
}

} // namespace

std::optional<CNeighbourBinding> neighbourOf(CIPv6Header const & ip)
{
    if (!ip.hasPayload() || ip.hasFragmentHeader() || ip.hopLimit() != untouchedHopLimit ||
        ip.length() < ip.payload())
        return std::nullopt;
    unsigned int const length = ip.length() - ip.payload();
    if (!ip.bytes().holds(ip.payload(), length))
        return std::nullopt;
    CBoundedBytes const message = ip.bytes().from(ip.payload());
    if (length < 16 || message[1] != 0)
        return std::nullopt;

    unsigned char const type = message[0];
    bool const isAdvertisement = type == neighbourAdvertisement;
    unsigned int options = 16;
    CIPv6Address const source = addressAt(ip.bytes(), sourceOffset);
    CIPv6Address address = source;
    if (type == neighbourSolicitation || isAdvertisement) {
        options = 24;
        if (length < options)
            return std::nullopt;
        CIPv6Address const target = addressAt(message, 8);
        if (isMulticast(target) || (!isAdvertisement && isMulticast(source)))
            return std::nullopt;
        if (isAdvertisement)
            address = target;
    } else if (type != routerAdvertisement || !isLinkLocal(source)) {
        return std::nullopt;
    }
    if (address == CIPv6Address())
        return std::nullopt;
    auto const mac = macIn(message, options, length, isAdvertisement ? targetAddress : sourceAddress);
    return mac ? std::optional(CNeighbourBinding{address, *mac}) : std::nullopt;
}

} // namespace KetStats
