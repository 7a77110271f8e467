#pragma once

#include "host/wire/SavedSnapshot.h"

#include <string>
#include <string_view>

// What must hold for the reading of any bytes as a saved snapshot. The fuzz target and the tests share it. What is
// packed in it is unpack-snapshot's.
namespace fuzz {

// Empty if all is well, otherwise what should have held.
inline std::string checkSavedSnapshot(std::string_view bytes)
{
    bool const starts = ketmon::startsSavedSnapshot(bytes);
    std::size_t const length = ketmon::savedSnapshotLength(bytes.substr(0, ketmon::savedSnapshotLengths));
    try {
        ketmon::CSavedSnapshot const read = ketmon::parsedSavedSnapshot(bytes);
        if (!starts || length != bytes.size())
            return "what is read begins as it must and is as long as it says";
        if (read.name.size() + read.bytes.size() >= bytes.size())
            return "nothing is read that isn't there";
        // Its bytes may differ: moments that aren't told, and flags that mean nothing.
        std::string const written = encoded(read);
        if (written.size() != bytes.size() || encoded(ketmon::parsedSavedSnapshot(written)) != written)
            return "what is read means the same when it is written";
        try {
            static_cast<void>(ketmon::parsedSavedSnapshot(bytes.substr(0, bytes.size() - 1)));
            return "a snapshot that ends early is refused";
        } catch (ketmon::CBadSavedSnapshot const &) {
        }
    } catch (ketmon::CBadSavedSnapshot const & refused) {
        if (*refused.what() == '\0')
            return "a refusal tells what is wrong";
    }
    return {};
}

} // namespace fuzz
