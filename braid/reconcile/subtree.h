#pragma once

#include <string>

#include "judge.h"
#include "walk.h"

namespace braid
{

/// A folder that one side has and the other has not: the other holds nothing, or a file or link of that name.
struct OneSidedFolder {
    std::string path;
    Coverage::State cover;
    std::size_t job = 0;
    Peer side = Peer::Local; ///< Where the folder is.
    PerPeer<Stat> stats;
    bool wasAgreed = false; ///< Something was agreed about the path itself.
    Decision decision;      ///< What decide() says about the folder itself.
    Entry entry;            ///< To record once it is on both sides.
    std::string at;         ///< Where it is until the respellings are done,
    std::string agreed;     ///< and what the archive knows it by.
};

/// Plans the folder with everything in it as one: made on the other side, or deleted here unless somebody worked in
/// it, or left alone as a conflict.
void planOneSidedFolder(const WalkContext& context, Plan& plan, const OneSidedFolder& folder);

} // namespace braid
