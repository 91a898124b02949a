#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "amru_vex_record.h"

namespace roamer
{

/// One node of a membership ancestry: a user's or computer's record with the groups that it belongs to as its parents,
/// theirs above them, and perhaps another graph chained behind it (the computer's behind the user's).
///
/// Nodes that were joined by addParent or setNextGraph live together, until the last pointer to one of them goes: a
/// group may be its own ancestor. Searches go depth first, a node before its ancestry, parents by record name, and
/// meet each node once. Use a graph on one thread.
class AmruGroupGraph
{
public:
    using Node = std::shared_ptr<AmruGroupGraph>;
    using Nodes = std::vector<Node>;
    using Text = std::optional<std::string>;
    using Records = std::optional<std::vector<AmruVEXRecord>>; ///< Null instead of an empty list.

    /// Null for a null record.
    static Node createWithVEXRecord(const std::optional<AmruVEXRecord>& record);
    AmruGroupGraph(const AmruGroupGraph&) = delete;
    AmruGroupGraph& operator=(const AmruGroupGraph&) = delete;
    ~AmruGroupGraph() = default;

    const AmruVEXRecord& vexRecord() const { return mVEXRecord; }
    std::optional<Nodes> parents() const; ///< By record name; null when there are none.
    Node nextGraph() const;               ///< Null without one.
    void setNextGraph(const Node& node);

    /// Whether every criterion that is given matches; no when none is given.
    bool recordIsEquivalentToName(const Text& name, const Text& type, const Text& uuid) const;
    /// Whether name, type and UUID are equal; two that are missing count as equal.
    bool recordIsEquivalent(const AmruGroupGraph& node) const;

    /// Null is ignored, and so is a node that is met among the parents before its place in the order.
    void addParent(const Node& node);
    /// The first parent stays.
    void removeParentAtIndex(std::size_t index);
    /// Adds the record's node, the one that is reachable from here or else a new one, to the parents of `node`.
    /// Nothing happens when one of the two is null.
    void add(const std::optional<AmruVEXRecord>& record, const Node& asParentOf);
    void addAsParentOfGraphNodeWithUUIDString(const std::optional<AmruVEXRecord>& record, const Text& uuid);

    /// Null when none is found. `notInList` holds the nodes that were visited before and takes those visited now.
    Node findNodeWithName(const Text& name, const Text& type, const Text& uuid, Nodes* notInList);
    Node findGraphNodeWithVEXRecord(const AmruVEXRecord& record);
    Node findGraphNodeWithUUIDString(const Text& uuid);
    Node findGraphNodeWithName(const Text& name, const Text& type);
    /// Whether an entry is the wildcard or the UUID of a node that is reachable from here, this one included.
    bool hasParentWithUUIDStringInList(const std::vector<std::string>& list, const std::string& withWildcardString);

    /// This node and its ancestry in the order of a search, each once; then, if asked for, what the chained graphs add.
    Nodes orderedArray(bool includeChained);
    Records orderedVEXRecords(bool includeChained);
    Records workgroupVEXRecords(bool includeChained); ///< Groups with the settings flag.
    /// Groups with the settings flag, and users or computers that have settings.
    Records vexSettingsVEXRecords(bool includeChained);

    /// The nearest group with the settings flag on each way up.
    Records findFirstAncestralWorkgroupVEXRecordsNotInGraphList(Nodes& visited);
    Records firstAncestralWorkgroupVEXRecords();

private:
    struct Family;

    AmruGroupGraph(AmruVEXRecord record, Family& family) : mVEXRecord(std::move(record)), mFamily(&family) {}

    Node self();
    static void unite(AmruGroupGraph& node, AmruGroupGraph& other);

    AmruVEXRecord mVEXRecord;
    std::vector<AmruGroupGraph*> mParents;
    AmruGroupGraph* mNextGraph = nullptr;
    Family* mFamily; ///< Owns this node.
};

} // namespace roamer
