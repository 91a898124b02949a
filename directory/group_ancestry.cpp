#include "group_ancestry.h"

#include <algorithm>

#include "record_attributes.h"

namespace roamer
{

namespace
{

bool lists(const AmruVEXRecord& group, const char* attribute, const std::optional<std::string>& text)
{
    const auto values = group.stringValuesForAttribute(attribute);
    return text && values && std::ranges::find(*values, PropertyList(*text)) != values->end();
}

bool contains(const AmruVEXRecord& group, const AmruVEXRecord& member)
{
    if (member.isGroup()) return lists(group, kNestedGroupsAttribute, member.uuidString());
    if (lists(group, kMemberUuidsAttribute, member.uuidString())) return true;
    return member.isUser() && (lists(group, kMemberNamesAttribute, member.recordName()) ||
                               (group.gid() == member.gid() && group.gid() != AmruVEXRecord::kNoId));
}

} // namespace

AmruGroupGraph::Node groupAncestryOf(const AmruVEXRecord& record, DirectoryContext& context,
                                     platform::DirectoryNode& node)
{
    std::vector<AmruVEXRecord> groups;
    for (const auto& name : node.recordNames(kGroupRecordType)) {
        platform::DirectoryError error;
        const auto group = node.lookUp(kGroupRecordType, name, {kAllAttributes}, error);
        if (group == nullptr) continue;
        if (auto wrapped = AmruVEXRecord::vexrecordWithRecord(context, group)) groups.push_back(std::move(*wrapped));
    }

    const auto bottom = AmruGroupGraph::createWithVEXRecord(record);
    // A node that was added is listed behind the one at hand and gets its own parents when its turn comes.
    AmruGroupGraph::Nodes pending = {bottom};
    for (std::size_t i = 0; i < pending.size(); ++i) {
        const auto member = pending[i];
        for (const auto& group : groups) {
            if (!contains(group, member->vexRecord())) continue;
            const bool isNew = bottom->findGraphNodeWithVEXRecord(group) == nullptr;
            bottom->add(group, member);
            if (isNew) pending.push_back(bottom->findGraphNodeWithVEXRecord(group));
        }
    }
    return bottom;
}

} // namespace roamer
