#pragma once

#include "amru_group_graph.h"

namespace roamer
{

/// The record with the node's groups that it belongs to and theirs above them. A user belongs to a group that names
/// them, holds their UUID or is their primary one; a computer and a group to one that holds their UUID.
///
/// Reads every group record of the node once; one that cannot be read is left out.
AmruGroupGraph::Node groupAncestryOf(const AmruVEXRecord& record, DirectoryContext& context,
                                     platform::DirectoryNode& node);

} // namespace roamer
