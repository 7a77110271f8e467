#pragma once

#include <string>
#include <string_view>

namespace ketmon {

// Who a peer is that doesn't speak this protocol, by the first bytes that it sent, at least 4 unless it sent
// less: "a client of HTTP". Empty if that can't be told.
std::string strangerOf(std::string_view start);

} // namespace ketmon
