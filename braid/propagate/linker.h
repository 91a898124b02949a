#pragma once

#include "stager.h"

namespace braid
{

/// Gives files that lie in a home already a further name in its staging folder, which is put in place like a copy.
class Linker
{
public:
    explicit Linker(Workbench& bench) : mBench(bench) {}

    /// For a Link action, whose `from` the archive must have been told of. EAGAIN: the file there is no longer, or not
    /// provably, what the source holds at the action's path. The target's stamp is still that of `from`.
    Outcome<Staged> stage(const Action& action);

private:
    bool holdsAgreed(Peer peer, const Stat& stat, const Entry& agreed) const;

    Workbench& mBench;
    OpenFolder mLinked;
    std::uint64_t mSerial = 0;
};

} // namespace braid
