#include "ketstats/snapshot/StatTreeNode.h"

#include <memory>
#include <vector>

namespace KetStats {

void CStatTreeNode::insertOid(COid const & oid, CAgentStatistic & agent, CExtendedStatistic * extended)
{
    CStatTreeNode * node = this;
    bool fresh = true;
    std::vector<unsigned short> path;
    for (unsigned int i = 0; i < oid.length(); ++i) {
        if (!fresh && node->children.empty())
            return;
        unsigned short const component = oid[i];
        path.push_back(component);
        if (auto const found = node->children.find(component); found != node->children.end()) {
            node = found->second;
            fresh = false;
            continue;
        }
        auto child = std::make_unique<CStatTreeNode>();
        child->id = component;
        CStatTreeNode * const linked = node->children.emplace(component, child.get()).first->second;
        static_cast<void>(child.release());
        node = linked;

        COid const here(path.data(), path.data() + path.size());
        CAgentStatistic::CStatPointer const position = extended && path.front() == CExtendedStatistic::rootId
                                                           ? extended->getStatMemberPointer(here)
                                                           : agent.getStatMemberPointer(here);
        if (position.offset < 0)
            ktools::raise<CAgentStatistic::CException>(2, "StatSnapshot", 204);
        node->statPointer = position;
        fresh = true;
    }
}

void CStatTreeNode::eraseOid(COid const & oid)
{
    CStatTreeNode * node = this;
    for (unsigned int i = 0; i < oid.length(); ++i) {
        auto const found = node->children.find(oid[i]);
        if (found == node->children.end())
            return;
        if (i + 1 < oid.length()) {
            node = found->second;
            continue;
        }
        found->second->destroyChildren();
        delete found->second;
        node->children.erase(found);
    }
}

void CStatTreeNode::destroyChildren()
{
    for (auto const & [childId, child] : children) {
        child->destroyChildren();
        delete child;
    }
    children.clear();
}

} // namespace KetStats
