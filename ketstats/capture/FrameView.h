#pragma once

// A captured frame as plain data: its bytes, which stay with whoever captured them, and its two lengths, as CFrame
// has them.
struct CFrameView
{
    void const * data;
    unsigned int capturedLength;
    unsigned int length; // on the wire
};
