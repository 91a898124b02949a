#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <sys/types.h>

#include "mount_table.h"
#include "platform/linux/unique_fd.h"
#include "platform/preference_store.h"
#include "platform/property_list_codec.h"

namespace lobby
{

/// A process that holds a share. A number alone may be another process's by now.
struct Holder {
    pid_t pid = 0;
    std::int64_t started = 0; ///< Clock ticks after the boot, as /proc has it.
    std::int64_t count = 0;

    bool operator==(const Holder&) const = default;
};

/// When the process was started; nothing when there is none.
std::optional<std::int64_t> processStart(pid_t pid);

/// What is remembered of a mount point over a restart of this process.
struct VolumeRecord {
    std::string name;
    std::string url; ///< Without a password.
    std::string key;
    uid_t user = 0;
    std::optional<MountEntry> entry; ///< None: the mount was under way.
    std::vector<Holder> holders;
};

/// The folder /Volumes, in which every share gets a folder of its own. Only this process's user (root) writes there;
/// nothing in it is followed that could be a link.
class Volumes
{
public:
    static constexpr const char* kPath = "/Volumes";

    /// Borrows both.
    Volumes(platform::PreferenceStore& store, platform::PropertyListCodec& codec) : mStore(store), mCodec(codec) {}

    /// Makes the folder when it is missing. "", or why it cannot be used: others may write there.
    std::string open();

    /// Makes a new folder, named for the wished-for name as far as that can be and is free; its name, or an errno
    /// value.
    std::variant<std::string, int> makeMountPoint(const std::string& wish, uid_t owner);
    /// Closes the folder beneath the mount, so that nothing is written there when the mount goes.
    void closeBeneath(const std::string& name);
    /// Takes the folder away, which is empty. An errno value, or 0.
    int removeMountPoint(const std::string& name);

    std::string realPath(const std::string& name) const { return mRealPath + "/" + name; }
    std::optional<MountEntry> mounted(const std::string& name) const { return mountAt(realPath(name)); }

    bool remember(const VolumeRecord& record);
    /// Forgets the record and the log.
    void forget(const std::string& name);

    /// An empty file for what a client's helper has to say while the share is mounted; real path. "" when none can be
    /// had, or its path could not be written among a client's options.
    std::string makeLog(const std::string& name, uid_t owner, gid_t group);
    /// What it said, the first few kilobytes of it.
    std::string readLog(const std::string& name) const;

    std::vector<VolumeRecord> remembered() const;

private:
    platform::UniqueFd openRecords() const;

    platform::PreferenceStore& mStore;
    platform::PropertyListCodec& mCodec;
    std::string mRealPath;
    platform::UniqueFd mFolder;
    std::vector<std::pair<std::string, platform::UniqueFd>> mBeneath; ///< Folders that are about to be mounted over.
};

} // namespace lobby
