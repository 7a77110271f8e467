#pragma once

#include <cstdint>

namespace KetStats {
class CStatDescription;
}

namespace ketmon {

// A number that two programs share if their statistics have the same ids, kinds, names and units throughout:
// packed snapshots carry neither types nor lengths, so only such two understand each other. It is the 64-bit
// FNV-1a hash of a walk over the descriptions, depth first:
//
//     node    id (2, little-endian)  kind (1)  name, 0 byte  units, 0 byte  { node }  0xFF
//     kind    g group  f fixed rows  t table  h u l integers  p percentage  n other number
//             m MAC address  i IP address  x IPv6 address  d protocol id  s text  v other value
std::uint64_t fingerprint(KetStats::CStatDescription const & description);

// That of the statistics which this program was built with: of the first tree, and of the second. The first call
// fetches all names; it isn't locked.
std::uint64_t schemaFingerprint();
std::uint64_t extendedFingerprint();

} // namespace ketmon
