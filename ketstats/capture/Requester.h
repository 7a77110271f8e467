#pragma once

#include "ketstats/platform/Exports.h"

// The adapter behind a capture, as the host knows it. A host derives from this and answers what it can; what
// it leaves alone answers 0. All figures are cumulative. The operations are called on the thread that begins
// an analysis or initialises a snapshot.
class KNDISLIB_API CNdisHook
{
public:
    CNdisHook() = default;
    CNdisHook(CNdisHook const &) = default;
    CNdisHook & operator=(CNdisHook const &) = default;
    virtual ~CNdisHook();

    virtual long GetLinkSpeed();        // bits per second
    virtual long GetMissedFrames();     // frames the hardware lost
    virtual long GetSoftMissedFrames(); // frames the capture software lost
    virtual long GetLong(long oid);     // the driver statistic of that number
};

// The statistics library's way to the adapter while an analysis runs. It asks the hook it was made with,
// which must live as long; without a hook every answer is 0.
class KNDISLIB_API CNDISRequesterProxy
{
public:
    explicit CNDISRequesterProxy(CNdisHook * hook);
    ~CNDISRequesterProxy();

    CNDISRequesterProxy(CNDISRequesterProxy const &) = delete;
    CNDISRequesterProxy & operator=(CNDISRequesterProxy const &) = delete;

    long GetLinkSpeed();
    long GetMissedFrames();
    long GetSoftMissedFrames();
    long GetLong(long oid);

private:
    CNdisHook * m_hook;
};
