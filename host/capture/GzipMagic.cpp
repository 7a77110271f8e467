#include "host/capture/GzipSource.h"

namespace ketmon {

bool isGzip(CByteInput & input)
{
    // The third byte is the only method that there is.
    CByteInput::Bytes const start = input.look(3);
    return start.size() == 3 && start[0] == 0x1F && start[1] == 0x8B && start[2] == 8;
}

} // namespace ketmon
