#pragma once

#include <cstdint>
#include <string_view>

#include "braid/disk/facts.h"
#include "braid/peers.h"

namespace braid
{

/// What matters of an item when two states of it are compared. The caller makes sure that equal numbers mean equal
/// things: an attribute that nobody changed carries the agreed value even where a file system shows another.
struct Facts {
    Kind kind = Kind::Absent;
    Digest content{};             ///< Files and links; the same for all folders.
    std::uint16_t mode = 0;       ///< Not of links.
    std::int64_t mtime = 0;       ///< Not of folders, whose time follows from what happens inside.
    std::uint64_t attributes = 0; ///< Extended attributes, see extended::hashOf().

    bool exists() const { return kind != Kind::Absent; }
    bool operator==(const Facts&) const = default;
};

using AttributeSet = std::uint8_t;
inline constexpr AttributeSet kMode = 1;
inline constexpr AttributeSet kModifiedTime = 2;
inline constexpr AttributeSet kExtended = 4;
inline constexpr AttributeSet kAllAttributes = 7;

enum class Step {
    Nothing,
    Record,       ///< Both sides agree on something new: only the archive has to learn it.
    Forget,       ///< Gone on both sides.
    WriteLocal,   ///< Make the local home hold what the network home holds, which may be nothing.
    WriteNetwork, ///< The other way round.
    Restamp,      ///< Same content; only attributes travel, perhaps both ways.
    Conflict,     ///< Left for a person, both sides untouched.
    KeptOut,      ///< Waits for a pass that may write there: no conflict, no error, no archive entry.
};

/// Why a job must end before its first write.
enum class JobEnd { None, WriteToReadOnlyPeer, Conflict };

struct Decision {
    Step step = Step::Nothing;
    std::string_view conflict{}; ///< The kind of conflict, also where the options resolved it.
    /// Restamp: attributes that the local item takes from the network item. WriteNetwork: the same, before it is
    /// copied.
    AttributeSet toLocal = 0;
    AttributeSet toNetwork = 0;
    AttributeSet keptOut = 0; ///< Restamp: attributes that wait for a pass that may write there.
    JobEnd jobEnd = JobEnd::None;

    bool operator==(const Decision&) const = default;
};

/// Three-way comparison of one item. `before` is the last agreed state, of kind Absent where the sides never agreed.
/// Knows no clock, disk or log.
Decision decide(const Facts& before, const Facts& local, const Facts& network, const JobOptions& options);

/// The end of decide() for a caller that already knows what is to be written or that it is a conflict: applies the
/// job's resolution, read-only peer and abort options.
Decision decideWrite(Peer target, const JobOptions& options);
Decision decideConflict(std::string_view kind, const JobOptions& options);

/// Content alone: nobody changed what a person wrote.
bool hasSameContent(const Facts& one, const Facts& other);

constexpr Step writeTo(Peer target)
{
    return target == Peer::Local ? Step::WriteLocal : Step::WriteNetwork;
}

namespace conflicts
{
inline constexpr std::string_view kModifyModify = "modify/modify";
inline constexpr std::string_view kModifyDelete = "modify/delete";
inline constexpr std::string_view kCreateCreate = "create/create";
inline constexpr std::string_view kTypeType = "type/type";
inline constexpr std::string_view kDeleteFolder = "delete-folder/edit-inside";
inline constexpr std::string_view kMassDeletion = "mass-deletion";
/// Two names of one folder that one of the homes takes for the same. Decided by renaming one of the items.
inline constexpr std::string_view kNameCollision = "name-collision";
} // namespace conflicts

} // namespace braid
