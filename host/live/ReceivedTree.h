#pragma once

#include "host/live/ZeroPoint.h"
#include "host/render/SampleFacts.h"
#include "host/wire/Greeting.h"
#include "host/wire/SampleMessage.h"
#include "host/wire/Selection.h"

#include "ketstats/ketstats.h"

#include <memory>
#include <optional>
#include <string>

namespace ketmon {

// The statistics of an agent as its samples tell them, one after another.
//
// 1. A full sample goes into a snapshot that is new: one that has rows would take those for dropped which the
//    full one doesn't have, and add up what they counted.
// 2. A delta is taken only behind the sample that it was made from.
class CReceivedTree
{
public:
    // `address` is how the agent was reached; `selection` is what it was asked for.
    CReceivedTree(CWelcome const & welcome, CSelection const & selection, std::string const & address);
    ~CReceivedTree();

    // Takes in a message of type full or delta. Throws CProtocolError or CDamagedSnapshot.
    void take(CMessage const & message);

    bool empty() const { return !m_snapshot; }
    CWelcome const & welcome() const { return m_welcome; }
    CSampleHead const & head() const { return m_head; }
    KetStats::CAgentStatistic const & tree() const;
    // Null where the agent knows of none.
    KetStats::CExtendedStatistic const * extended() const;

    // All of it, with one zero point for what counts; only ARP bindings are those that the agent has learned
    // since it began. Rates are there from the second sample on.
    CFigures const & figures() const { return m_figures; }

private:
    CSampleFacts facts() const;

    CWelcome m_welcome;
    CSelection m_selection;
    std::string m_address;
    std::unique_ptr<KetStats::CStatSnapshot> m_snapshot; // from the first sample on
    CSampleHead m_head;
    CZeroPoint m_zeroPoint;
    std::optional<CFigures> m_counted; // as the agent told, for the rates of the next sample
    CFigures m_figures;
};

} // namespace ketmon
