#include "amru_group_graph.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace roamer
{

namespace
{

AmruGroupGraph::Records recordsOf(const AmruGroupGraph::Nodes& nodes, bool (*isWanted)(const AmruVEXRecord&))
{
    std::vector<AmruVEXRecord> records;
    for (const auto& node : nodes) {
        if (isWanted(node->vexRecord())) records.push_back(node->vexRecord());
    }
    if (records.empty()) return std::nullopt;
    return records;
}

/// Whether the node is new to the list, which holds it afterwards.
bool visit(AmruGroupGraph::Nodes& visited, const AmruGroupGraph::Node& node)
{
    if (std::find(visited.begin(), visited.end(), node) != visited.end()) return false;
    visited.push_back(node);
    return true;
}

bool isWorkgroup(const AmruVEXRecord& record)
{
    return record.isGroupWithVEXSettingsFlag();
}

} // namespace

/// The nodes that live together. One that was joined to another keeps that one alive for the pointers that it gave out.
struct AmruGroupGraph::Family : std::enable_shared_from_this<Family> {
    std::vector<std::unique_ptr<AmruGroupGraph>> members;
    std::shared_ptr<Family> joined;
};

AmruGroupGraph::Node AmruGroupGraph::createWithVEXRecord(const std::optional<AmruVEXRecord>& record)
{
    if (!record) return nullptr;
    const auto family = std::make_shared<Family>();
    family->members.push_back(std::unique_ptr<AmruGroupGraph>(new AmruGroupGraph(*record, *family)));
    return family->members.front()->self();
}

AmruGroupGraph::Node AmruGroupGraph::self()
{
    return {mFamily->shared_from_this(), this};
}

void AmruGroupGraph::unite(AmruGroupGraph& node, AmruGroupGraph& other)
{
    if (node.mFamily == other.mFamily) return;
    const auto family = node.mFamily->shared_from_this();
    const auto joining = other.mFamily->shared_from_this();
    for (const auto& member : joining->members)
        member->mFamily = family.get();
    std::move(joining->members.begin(), joining->members.end(), std::back_inserter(family->members));
    joining->members.clear();
    joining->joined = family;
}

std::optional<AmruGroupGraph::Nodes> AmruGroupGraph::parents() const
{
    if (mParents.empty()) return std::nullopt;
    Nodes nodes;
    for (auto* parent : mParents)
        nodes.push_back(parent->self());
    return nodes;
}

AmruGroupGraph::Node AmruGroupGraph::nextGraph() const
{
    return mNextGraph != nullptr ? mNextGraph->self() : nullptr;
}

void AmruGroupGraph::setNextGraph(const Node& node)
{
    if (node) unite(*this, *node);
    mNextGraph = node.get();
}

bool AmruGroupGraph::recordIsEquivalentToName(const Text& name, const Text& type, const Text& uuid) const
{
    if (!name && !type && !uuid) return false;
    return (!name || mVEXRecord.recordName() == name) && (!type || mVEXRecord.recordType() == type) &&
           (!uuid || mVEXRecord.uuidString() == uuid);
}

bool AmruGroupGraph::recordIsEquivalent(const AmruGroupGraph& node) const
{
    return mVEXRecord.uuidString() == node.mVEXRecord.uuidString() &&
           mVEXRecord.recordName() == node.mVEXRecord.recordName() &&
           mVEXRecord.recordType() == node.mVEXRecord.recordType();
}

void AmruGroupGraph::addParent(const Node& node)
{
    if (!node) return;
    const auto name = node->mVEXRecord.recordName();
    auto place = mParents.begin();
    for (; place != mParents.end(); ++place) {
        if ((*place)->recordIsEquivalent(*node)) return;
        if ((*place)->mVEXRecord.recordName() > name) break;
    }
    unite(*this, *node);
    mParents.insert(place, node.get());
}

void AmruGroupGraph::removeParentAtIndex(std::size_t index)
{
    if (index == 0 || index >= mParents.size()) return;
    mParents.erase(mParents.begin() + static_cast<std::ptrdiff_t>(index));
}

void AmruGroupGraph::add(const std::optional<AmruVEXRecord>& record, const Node& asParentOf)
{
    if (!record || !asParentOf) return;
    const auto known = findGraphNodeWithVEXRecord(*record);
    asParentOf->addParent(known ? known : createWithVEXRecord(record));
}

void AmruGroupGraph::addAsParentOfGraphNodeWithUUIDString(const std::optional<AmruVEXRecord>& record, const Text& uuid)
{
    add(record, findGraphNodeWithUUIDString(uuid));
}

AmruGroupGraph::Node AmruGroupGraph::findNodeWithName(const Text& name, const Text& type, const Text& uuid,
                                                      Nodes* notInList)
{
    Nodes fresh;
    auto& visited = notInList != nullptr ? *notInList : fresh;
    if (!visit(visited, self())) return nullptr;
    if (recordIsEquivalentToName(name, type, uuid)) return self();
    for (auto* parent : mParents) {
        if (auto found = parent->findNodeWithName(name, type, uuid, &visited)) return found;
    }
    return nullptr;
}

AmruGroupGraph::Node AmruGroupGraph::findGraphNodeWithVEXRecord(const AmruVEXRecord& record)
{
    return findNodeWithName(record.recordName(), record.recordType(), record.uuidString(), nullptr);
}

AmruGroupGraph::Node AmruGroupGraph::findGraphNodeWithUUIDString(const Text& uuid)
{
    return findNodeWithName(std::nullopt, std::nullopt, uuid, nullptr);
}

AmruGroupGraph::Node AmruGroupGraph::findGraphNodeWithName(const Text& name, const Text& type)
{
    return findNodeWithName(name, type, std::nullopt, nullptr);
}

bool AmruGroupGraph::hasParentWithUUIDStringInList(const std::vector<std::string>& list,
                                                   const std::string& withWildcardString)
{
    return std::any_of(list.begin(), list.end(), [&](const std::string& entry) {
        return entry == withWildcardString || findGraphNodeWithUUIDString(entry) != nullptr;
    });
}

AmruGroupGraph::Nodes AmruGroupGraph::orderedArray(bool includeChained)
{
    Nodes nodes;
    findNodeWithName(std::nullopt, std::nullopt, std::nullopt, &nodes);

    // A chain may lead back to a graph that it passed.
    Nodes chain = {self()};
    while (includeChained && chain.back()->mNextGraph != nullptr && visit(chain, chain.back()->nextGraph())) {
        for (const auto& node : chain.back()->orderedArray(false)) {
            const bool isListed = std::any_of(nodes.begin(), nodes.end(),
                                              [&node](const Node& item) { return item->recordIsEquivalent(*node); });
            if (!isListed) nodes.push_back(node);
        }
    }
    return nodes;
}

AmruGroupGraph::Records AmruGroupGraph::orderedVEXRecords(bool includeChained)
{
    return recordsOf(orderedArray(includeChained), [](const AmruVEXRecord&) { return true; });
}

AmruGroupGraph::Records AmruGroupGraph::workgroupVEXRecords(bool includeChained)
{
    return recordsOf(orderedArray(includeChained), isWorkgroup);
}

AmruGroupGraph::Records AmruGroupGraph::vexSettingsVEXRecords(bool includeChained)
{
    return recordsOf(orderedArray(includeChained), [](const AmruVEXRecord& record) {
        return record.isGroup() ? isWorkgroup(record) : record.vexSettings().has_value();
    });
}

AmruGroupGraph::Records AmruGroupGraph::findFirstAncestralWorkgroupVEXRecordsNotInGraphList(Nodes& visited)
{
    if (!visit(visited, self())) return std::nullopt;
    if (isWorkgroup(mVEXRecord)) return std::vector{mVEXRecord};
    std::vector<AmruVEXRecord> nearest;
    for (auto* parent : mParents) {
        if (auto found = parent->findFirstAncestralWorkgroupVEXRecordsNotInGraphList(visited))
            std::move(found->begin(), found->end(), std::back_inserter(nearest));
    }
    if (nearest.empty()) return std::nullopt;
    return nearest;
}

AmruGroupGraph::Records AmruGroupGraph::firstAncestralWorkgroupVEXRecords()
{
    Nodes visited;
    return findFirstAncestralWorkgroupVEXRecordsNotInGraphList(visited);
}

} // namespace roamer
