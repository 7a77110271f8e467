#include "ketstats/model/RowCounts.h"
#include "ketstats/snapshot/StatSnapshot.h"

#include <algorithm>
#include <vector>

// A packed snapshot is the selection itself, a sparse path of ids with the values in place:
//
//     snapshot    { chain } 0 (2)                        nothing at all without a selection
//     chain       id (2) { chain } 0 (2)                 of a node that leads to selected statistics
//                 id (2) statistic as it packs itself    of a selected statistic
//
// Ids are ascending within their parent, and an id is written only once something below it is, so that
// branches without a change leave no trace. The reader reads the same bytes as one tree, which closes one end
// mark earlier: the writer's last end mark, that of the selection's root, is read by nobody.

namespace KetStats {

namespace {

constexpr unsigned short endMark = 0;
constexpr unsigned short rootId = 1;

struct CPackStackEntry
{
    CStatTreeNode * node;
    bool idWritten;
    std::map<unsigned short, CStatTreeNode *>::const_iterator next; // the child to visit next
};

CPackStackEntry entryOf(CStatTreeNode * node)
{
    return {node, node->id == 0, node->children.begin()};
}

} // namespace

void CStatSnapshot::pack(ktools::CMemoryBuffer & buffer, bool onlyChanged)
{
    if (!m_root)
        return;
    if (onlyChanged)
        compareAssign(m_sample, m_visible, m_root.get());
    else
        m_visible.assign(m_sample);

    std::vector<CPackStackEntry> stack{entryOf(m_root.get())};
    std::size_t written = 1; // entries from the bottom whose ids stand in the buffer
    while (!stack.empty()) {
        CPackStackEntry & top = stack.back();
        CStatTreeNode & node = *top.node;
        if (onlyChanged && !node.changed) {
            stack.pop_back();
        } else if (top.next != node.children.end()) {
            CStatTreeNode * const child = top.next->second;
            ++top.next;
            written = std::min(written, stack.size());
            stack.push_back(entryOf(child));
        } else if (!node.children.empty()) {
            if (top.idWritten)
                buffer.Write(&endMark, sizeof endMark);
            stack.pop_back();
        } else if (&node == m_root.get()) {
            return;
        } else {
            CBaseStat & stat = m_visible[node.statPointer];
            for (; written < stack.size(); ++written)
                if (!stack[written].idWritten) {
                    stack[written].idWritten = true;
                    buffer.Write(&stack[written].node->id, sizeof node.id);
                }
            stat.packValue(buffer, onlyChanged);
            node.changed = false;
            stack.pop_back();
        }
    }
}

// Flags of inner nodes are up from their making on and stay up: only leaves are skipped by a pack, and it is
// the lazy ids that keep branches without a change out of the bytes.
bool CStatSnapshot::compareAssign(CAgentStatistic const & source, CAgentStatistic & target,
                                  CStatTreeNode * node)
{
    if (!node)
        return false;
    if (node->children.empty())
        return node->changed = target[node->statPointer].compareAssign(source[node->statPointer]);
    for (auto const & [childId, child] : node->children)
        if (compareAssign(source, target, child))
            node->changed = true;
    return node->changed;
}

void CStatSnapshot::unpack(ktools::CMemoryBuffer & buffer)
{
    if (buffer.size - buffer.readPosition <= 0)
        return;
    unsigned short first = 0;
    buffer.Read(&first, sizeof first);
    if (first != rootId) {
        // What is left of a snapshot that was read, or one with nothing to tell.
        if (first == endMark && buffer.size == buffer.readPosition)
            return;
        ktools::raise<ktools::CMemoryBuffer::CException>(2, "StatSnapshot", 555);
    }
    nodes().ipConnections.registerDeleteHandler(&foldDroppedIPConnection);
    m_visible.unpackValue(buffer);
}

// The client must not lose traffic that the agent has dropped from its table already: the row that goes
// because its id was given to another pair leaves its counts with the summary row. Where there is a row of
// the others that came from the sender, the sender folds, and that row has the counts already.
void CStatSnapshot::foldDroppedIPConnection(IPConnections * container, unsigned int rowId)
{
    unsigned int const lastId = container->getLimit();
    CIPConnectionStat const * const old = container->getChildById(rowId);
    // Whatever comes under the last id, there is no place for a summary row beside it.
    if (!old || rowId == lastId)
        return;
    if (CIPConnectionStat * const summary = container->getSummaryStat()) {
        summary->dataTransmitted.add(old->dataTransmitted);
        summary->framesTransmitted.add(old->framesTransmitted);
        summary->markChanged();
        return;
    }
    CLedger counts;
    addCounts(counts, *old);
    if (CIPConnectionStat const * const last = container->getChildById(lastId)) {
        if (CIPConnectionStat::isOthers(last->rowKey()))
            return;
        addCounts(counts, *last); // it makes way for the summary row
    }
    // No flag goes up for a summary row that is new, which has them up already.
    if (CIPConnectionStat * const summary = container->createSummaryStat(CIPConnectionStat::CKey())) {
        summary->dataTransmitted = static_cast<long long>(counts.bytesTransmitted);
        summary->framesTransmitted = static_cast<unsigned int>(counts.framesTransmitted);
    }
}

} // namespace KetStats
