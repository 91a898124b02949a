#include "directory/amru_group_graph.h"

#include "directory/group_ancestry.h"
#include "record_fixture.h"

namespace roamer
{

namespace
{

using Names = std::vector<std::string>;

class GroupGraphTest : public RecordFixture
{
protected:
    AmruVEXRecord named(const char* type, const std::string& name, Dictionary attributes = {})
    {
        attributes[kUuidAttribute] = Array{"uuid-" + name};
        return *AmruVEXRecord::vexrecordWithRecord(
            context, std::make_shared<fakes::FakeDirectoryRecord>(type, name, std::move(attributes)));
    }
    AmruVEXRecord group(const std::string& name) { return named(kGroupRecordType, name); }
    AmruVEXRecord workgroup(const std::string& name)
    {
        auto record = group(name);
        record.setVEXFlagsDictionary(Dictionary{{kHasVexSettingsFlag, true}});
        return record;
    }
    AmruGroupGraph::Node node(const AmruVEXRecord& record) { return AmruGroupGraph::createWithVEXRecord(record); }

    static Names names(const AmruGroupGraph::Records& records)
    {
        Names result;
        if (!records) return {"null"};
        for (const auto& record : *records)
            result.push_back(*record.recordName());
        return result;
    }
};

TEST_F(GroupGraphTest, ListsWhatAppliesInOrder)
{
    // jo -> pupils -> school* ; jo -> team* -> school*; then the computer: mac -> lab -> team*
    const auto jo = node(named(kUserRecordType, "jo", {{kSettingsAttribute, Array{"one"}}}));
    jo->add(group("pupils"), jo);
    jo->add(workgroup("team"), jo);
    jo->addAsParentOfGraphNodeWithUUIDString(workgroup("school"), "uuid-pupils");
    jo->addAsParentOfGraphNodeWithUUIDString(workgroup("school"), "uuid-team");
    jo->addAsParentOfGraphNodeWithUUIDString(workgroup("nowhere"), "uuid-unknown");
    const auto computer = node(named(kComputerRecordType, "desk"));
    computer->add(group("lab"), computer);
    computer->addAsParentOfGraphNodeWithUUIDString(workgroup("team"), "uuid-lab");
    jo->setNextGraph(computer);
    computer->setNextGraph(jo);

    EXPECT_EQ(names(jo->orderedVEXRecords(false)), (Names{"jo", "pupils", "school", "team"}));
    EXPECT_EQ(names(jo->orderedVEXRecords(true)), (Names{"jo", "pupils", "school", "team", "desk", "lab"}));
    EXPECT_EQ(names(jo->workgroupVEXRecords(true)), (Names{"school", "team"}));
    EXPECT_EQ(names(jo->vexSettingsVEXRecords(true)), (Names{"jo", "school", "team"}));
    EXPECT_EQ(names(jo->firstAncestralWorkgroupVEXRecords()), (Names{"school", "team"}));
    EXPECT_EQ(names(computer->firstAncestralWorkgroupVEXRecords()), Names{"team"});
    EXPECT_EQ(names(node(group("alone"))->workgroupVEXRecords(true)), Names{"null"});
}

TEST_F(GroupGraphTest, FindsTheGroupsThatTheDirectoryKnows)
{
    const auto add = [this](const char* name, Dictionary attributes) {
        attributes[kUuidAttribute] = Array{std::string("uuid-") + name};
        directory.records[{kGroupRecordType, name}] = std::move(attributes);
    };
    add("class", {{kMemberNamesAttribute, Array{"jo", "bo"}}, {kNestedGroupsAttribute, Array{"uuid-school"}}});
    add("choir", {{kMemberUuidsAttribute, Array{"uuid-jo"}}});
    add("own", {{kGidAttribute, Array{"20"}}});
    add("school", {{kNestedGroupsAttribute, Array{"uuid-class", "uuid-choir"}}});
    add("others", {{kMemberNamesAttribute, Array{"bo"}}, {kNestedGroupsAttribute, Array{"uuid-jo"}}});
    platform::DirectoryError error;
    const auto graph = groupAncestryOf(named(kUserRecordType, "jo", {{kGidAttribute, Array{"20"}}}), context,
                                       *directory.openNode(platform::kLocalNodeType, error));
    EXPECT_EQ(names(graph->orderedVEXRecords(true)), (Names{"jo", "choir", "school", "class", "own"}));
}

} // namespace

} // namespace roamer
