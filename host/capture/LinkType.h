#pragma once

#include <cstdint>
#include <string>

namespace ketmon {

// Numbers of link types as capture files have them. The frames of these are counted.
namespace linktype {

inline constexpr std::uint32_t null = 0; // a BSD loopback, its family in the order of the machine
inline constexpr std::uint32_t ethernet = 1;
inline constexpr std::uint32_t ppp = 9;
inline constexpr std::uint32_t pppHdlc = 50;
inline constexpr std::uint32_t raw = 101; // IP of either version, and nothing in front of it
inline constexpr std::uint32_t loop = 108;
inline constexpr std::uint32_t linuxSll = 113; // what Linux gives of a capture of any interface
inline constexpr std::uint32_t ipv4 = 228;
inline constexpr std::uint32_t ipv6 = 229;
inline constexpr std::uint32_t linuxSll2 = 276;

} // namespace linktype

// Frames of Ethernet have the addresses of both ends and a frame check sequence, those of other media not: a
// source gives frames of one family only, so that its figures have one meaning.
enum class MediaFamily
{
    ethernet,
    others,
};

// Whether frames of it are counted.
bool isCountable(std::uint32_t linkType);
MediaFamily mediaFamily(std::uint32_t linkType);

// The number by which one is known here: some have had several.
std::uint32_t usualLinkType(std::uint32_t number);

// A link type as people are told of it, "LINUX_SLL (113)", and as programs are, "linux_sll".
std::string linkTypeText(std::uint32_t number);
std::string linkTypeKey(std::uint32_t number);

} // namespace ketmon
