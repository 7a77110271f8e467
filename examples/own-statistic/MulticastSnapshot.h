#pragma once

#include "MulticastCounter.h"

namespace multicast {

// A client's view of the tree, at either end of a transfer: what happened since a zero point of its own. It has the
// stages that a CStatSnapshot has for the trees of the library, without its thrift.
//
//     live tree  --begin---->  m_base
//     live tree  --sample--->  m_sample = live - m_base
//     m_sample   --pack----->  m_visible, and bytes
//     bytes      --unpack--->  m_visible of another
class CMulticastSnapshot
{
public:
    void begin(CMulticasts const & live) { m_base.assign(live); }

    void sample(CMulticasts const & live)
    {
        m_sample.assign(live);
        m_sample.frames = live.frames.get() - m_base.frames.get();
        takeOff(m_sample.ipv4Groups, live.ipv4Groups, m_base.ipv4Groups);
        takeOff(m_sample.ipv6Groups, live.ipv6Groups, m_base.ipv6Groups);
    }

    // All of it, or what changed since the last time.
    void pack(ktools::CMemoryBuffer & buffer, bool onlyChanged)
    {
        m_visible.compareAssign(m_sample);
        m_visible.packValue(buffer, onlyChanged);
    }

    // Of a receiver, which is new for a pack of all.
    void unpack(ktools::CMemoryBuffer & buffer) { m_visible.unpackValue(buffer); }

    // What the receiver works out from the counts.
    void derive()
    {
        deriveRows(m_visible.ipv4Groups);
        deriveRows(m_visible.ipv6Groups);
    }

    CMulticasts & visible() { return m_visible; }

private:
    // A row keeps its id for as long as it lives. One that was given up and came back has another birth.
    template <class Table>
    static void takeOff(Table & sample, Table const & live, Table const & base)
    {
        for (auto & row : sample) {
            auto const * const before = base.getChildById(row.getId());
            if (!before || live.birthOf(row.getId()) != base.birthOf(row.getId()))
                continue;
            row.framesTransmitted = row.framesTransmitted.get() - before->framesTransmitted.get();
            row.dataTransmitted = row.dataTransmitted.get() - before->dataTransmitted.get();
        }
    }

    template <class Table>
    void deriveRows(Table & table)
    {
        double const all = m_visible.frames.get();
        for (auto & row : table) {
            unsigned int const frames = row.framesTransmitted.get();
            row.percentage = percentVal(all == 0 ? 0.0 : frames * 100.0 / all);
            row.averageFrameSize =
                frames == 0 ? 0U : static_cast<unsigned int>(row.dataTransmitted.get() / frames);
        }
    }

    CMulticasts m_base;
    CMulticasts m_sample;
    CMulticasts m_visible;
};

} // namespace multicast
