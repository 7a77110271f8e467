#pragma once

#include "host/support/ByteInput.h"

#include <memory>
#include <string>

namespace ketmon {

// Whether what comes next was compressed with gzip.
bool isGzip(CByteInput & input);

// The bytes that were compressed with gzip, in one piece or in several one behind the other. How far it is is
// told in bytes of `compressed`. `name` is for messages. All bytes in front of a damage are read, and then
// `read` throws CDamagedCapture.
//
// Throws CFailure, exit code 2, in a program that was built without zlib.
std::unique_ptr<CByteSource> gzipSource(std::string const & name, std::unique_ptr<CByteInput> compressed);

} // namespace ketmon
