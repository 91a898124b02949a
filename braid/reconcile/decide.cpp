#include "decide.h"

namespace braid
{

namespace
{

std::string_view conflictKind(const Facts& before, const Facts& local, const Facts& network)
{
    if (!local.exists() || !network.exists()) return conflicts::kModifyDelete;
    if (local.kind != network.kind) return conflicts::kTypeType;
    return before.exists() ? conflicts::kModifyModify : conflicts::kCreateCreate;
}

/// Whose attributes win where both sides changed them: a matter of taste that is worth no question to a person.
Peer preferredPeer(const Facts& local, const Facts& network, const JobOptions& options)
{
    if (options.resolveConflictsInFavorOf) return *options.resolveConflictsInFavorOf;
    if (options.readOnlyPeer) return *options.readOnlyPeer;
    return network.mtime > local.mtime ? Peer::Network : Peer::Local;
}

Decision decideAttributes(const Facts& before, const Facts& local, const Facts& network, const JobOptions& options)
{
    Decision decision;
    const Peer preferred = preferredPeer(local, network, options);
    const bool agreedOnce = before.kind == local.kind;
    const auto consider = [&](AttributeSet attribute, auto field) {
        if (local.*field == network.*field) return;
        Peer winner = preferred;
        if (agreedOnce && local.*field == before.*field) winner = Peer::Network;
        if (agreedOnce && network.*field == before.*field) winner = Peer::Local;
        AttributeSet& target = winner == Peer::Local ? decision.toNetwork : decision.toLocal;
        target = static_cast<AttributeSet>(target | attribute);
    };
    consider(kMode, &Facts::mode);
    consider(kModifiedTime, &Facts::mtime);
    consider(kExtended, &Facts::attributes);

    if (!decision.toLocal && !decision.toNetwork) {
        decision.step = local == before ? Step::Nothing : Step::Record;
        return decision;
    }
    for (const Peer peer : kPeers) {
        AttributeSet& target = peer == Peer::Local ? decision.toLocal : decision.toNetwork;
        if (!target) continue;
        const Decision write = decideWrite(peer, options);
        if (write.step != Step::KeptOut) continue;
        decision.keptOut |= target;
        target = 0;
        if (write.jobEnd != JobEnd::None) decision.jobEnd = write.jobEnd;
    }
    decision.step = decision.toLocal || decision.toNetwork ? Step::Restamp : Step::KeptOut;
    if (decision.step == Step::KeptOut) decision.keptOut = 0;
    return decision;
}

/// The target still holds what was agreed; attributes that were changed there alone go along with the other's content.
Decision decideEdit(Peer target, const Facts& before, const Facts& edited, const Facts& old, const JobOptions& options)
{
    Decision decision = decideWrite(target, options);
    const Peer source = otherPeer(target);
    if (decision.step != writeTo(target) || edited.kind != old.kind) return decision;
    if (decideWrite(source, options).step != writeTo(source)) return decision;
    AttributeSet& taken = source == Peer::Local ? decision.toLocal : decision.toNetwork;
    if (old.mode != before.mode && edited.mode == before.mode) taken |= kMode;
    if (old.attributes != before.attributes && edited.attributes == before.attributes) taken |= kExtended;
    return decision;
}

} // namespace

bool hasSameContent(const Facts& one, const Facts& other)
{
    return one.kind == other.kind && one.content == other.content;
}

Decision decideWrite(Peer target, const JobOptions& options)
{
    if (options.abortOnWriteToReadOnlyPeer == target) {
        return {.step = Step::KeptOut, .jobEnd = JobEnd::WriteToReadOnlyPeer};
    }
    if (options.readOnlyPeer == target) return {.step = Step::KeptOut};
    return {.step = writeTo(target)};
}

Decision decideConflict(std::string_view kind, const JobOptions& options)
{
    // Whatever the resolution: a job that may not write there must not get as far as resolving.
    if (options.abortOnWriteToReadOnlyPeer) {
        return {.step = Step::Conflict, .conflict = kind, .jobEnd = JobEnd::WriteToReadOnlyPeer};
    }
    if (!options.resolveConflictsInFavorOf) {
        return {.step = Step::Conflict,
                .conflict = kind,
                .jobEnd = options.abortOnConflict ? JobEnd::Conflict : JobEnd::None};
    }
    Decision decision = decideWrite(otherPeer(*options.resolveConflictsInFavorOf), options);
    if (decision.step != Step::KeptOut) decision.conflict = kind;
    return decision;
}

Decision decide(const Facts& before, const Facts& local, const Facts& network, const JobOptions& options)
{
    if (!local.exists() && !network.exists()) return {.step = before.exists() ? Step::Forget : Step::Nothing};
    if (hasSameContent(local, network)) return decideAttributes(before, local, network, options);

    // A deletion meets at most a change of attributes: it stands, the content was no longer wanted.
    if (hasSameContent(local, before)) return decideEdit(Peer::Local, before, network, local, options);
    if (hasSameContent(network, before)) return decideEdit(Peer::Network, before, local, network, options);
    return decideConflict(conflictKind(before, local, network), options);
}

} // namespace braid
