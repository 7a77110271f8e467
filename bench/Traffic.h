#pragma once

#include "host/capture/LoadedCapture.h"

namespace bench {

// Frames that a benchmark counts, loaded or made once. Each is the work of one name.

// All bundled captures in turn, repeated to two million frames.
ketmon::CLoadedCapture const & mixedTraffic();
// One bundled capture.
ketmon::CLoadedCapture const & bundled(char const * name);
// 100 stations and 800 IP pairs, some of them much busier than others.
ketmon::CLoadedCapture const & fewConnections();
// So many conversations, each between stations of its own, in random order: a row for each in the tables of
// IP and MAC traffic, and two stations. Frames enough to meet each of them several times.
ketmon::CLoadedCapture const & conversations(unsigned int count);
// A new IP pair and a new pair of stations in every frame, over all ports that have rows, so that every table
// evicts on every frame.
ketmon::CLoadedCapture const & flood();

} // namespace bench
