#pragma once

#include "ketstats/extended/ExtendedStatistic.h"

#include <map>

namespace KetStats {

// One component of a selected identifier. The root of a selection stands for no statistic; its children with the
// ids 1 and 2 are the roots of the trees, so that the nodes mirror the identifiers with every component of them. A node
// without children is a selected statistic, with everything below it; a node with children only leads to
// some.
struct KETSTATS_API CStatTreeNode
{
    std::map<unsigned short, CStatTreeNode *> children; // owned, ascending by id
    unsigned short id = 0;
    CAgentStatistic::CStatPointer
        statPointer;     // of the node's statistic in its tree; negative while there is none
    bool changed = true; // whether the last comparison found a difference at or below

    // Selects `oid`, whose statistics lie in trees like `agent`, or like `extended` if that is given. An existing leaf on the way stands for a
    // broader selection, which stays; an existing node that the identifier ends at stays as narrow as it is.
    // Throws CAgentStatistic::CException 2/204 for an identifier that leads nowhere; the nodes made so far
    // stay.
    void insertOid(COid const & oid, CAgentStatistic & agent, CExtendedStatistic * extended = nullptr);

    // Takes the node of `oid` out, if there is one. Nodes above it stay: one that loses its last child
    // selects all of its statistic.
    void eraseOid(COid const & oid);

    // Frees everything below.
    void destroyChildren();
};

} // namespace KetStats
