#include "ketstats/snapshot/OthersRow.h"
#include "ketstats/snapshot/StatSnapshot.h"

#include <algorithm>
#include <cstring>
#include <vector>

// A packed snapshot is the selection itself, a sparse path of ids with the values in place:
//
//     snapshot    { chain } 0 (2)                        nothing at all without a selection
//     chain       id (2) { chain } 0 (2)                 of a node that leads to selected statistics
//                 id (2) statistic as it packs itself    of a selected statistic
//
// Ids are ascending within their parent, and an id is written only once something below it is, so that
// branches without a change leave no trace. The reader reads the same bytes as trees, each of which closes one end
// mark earlier: the writer's last end mark, that of the selection's root, is read by nobody. A reader that knows the
// first tree alone leaves what stands behind it.

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

bool isNext(ktools::CMemoryBuffer const & buffer, unsigned short id)
{
    unsigned short next = 0;
    if (buffer.size - buffer.readPosition < static_cast<int>(sizeof next))
        return false;
    std::memcpy(&next, buffer.data + buffer.readPosition, sizeof next);
    return next == id;
}

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
        compareAssign(*m_root);
    else {
        m_visible.assign(m_sample);
        if (m_extended)
            m_extended->visible().assign(m_extended->sampled());
    }

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
            CBaseStat & stat = stack[1].node->id == CExtendedStatistic::rootId
                                   ? m_extended->visible()[node.statPointer]
                                   : m_visible[node.statPointer];
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
template <class Tree>
bool CStatSnapshot::compareAssign(Tree const & source, Tree & target, CStatTreeNode * node)
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

bool CStatSnapshot::compareAssign(CStatTreeNode & root)
{
    if (root.children.empty())
        return compareAssign(m_sample, m_visible, &root);
    for (auto const & [childId, child] : root.children)
        if (childId == CExtendedStatistic::rootId
                ? compareAssign(m_extended->sampled(), m_extended->visible(), child)
                : compareAssign(m_sample, m_visible, child))
            root.changed = true;
    return root.changed;
}

void CStatSnapshot::unpack(ktools::CMemoryBuffer & buffer)
{
    if (buffer.size - buffer.readPosition <= 0)
        return;
    unsigned short first = 0;
    buffer.Read(&first, sizeof first);
    if (first != rootId && first != CExtendedStatistic::rootId) {
        // What is left of a snapshot that was read, or one with nothing to tell.
        if (first == endMark && buffer.size == buffer.readPosition)
            return;
        ktools::raise<ktools::CMemoryBuffer::CException>(2, "StatSnapshot", 555);
    }
    if (first == rootId) {
        nodes().ipConnections.registerDeleteHandler(&foldDroppedConnection<CIPConnectionStat>);
        m_visible.unpackValue(buffer);
        if (!isNext(buffer, CExtendedStatistic::rootId))
            return;
        buffer.Read(&first, sizeof first);
    }
    extended().unpack(buffer);
}

} // namespace KetStats
