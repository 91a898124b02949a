#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "platform/property_list_codec.h"
#include "sync_set.h"

namespace braid::agent
{

/// The set's file in the local home's marker folder, so that the next engine goes on where the last one stopped.
class SyncSetStore
{
public:
    /// The codec is borrowed.
    SyncSetStore(platform::PropertyListCodec& codec, const std::filesystem::path& localHome);

    /// The set; null when there is none. A file that holds no set is put aside under another name, so that nothing
    /// overwrites it, and counts as none; that is logged.
    std::optional<SyncSet> load();

    /// Durable when it returns; in words why it could not be written, in which case the earlier file still stands.
    [[nodiscard]] std::optional<std::string> save(const SyncSet& set);

    /// No file afterwards, or in words why it is still there.
    [[nodiscard]] std::optional<std::string> remove();

private:
    std::filesystem::path file() const;
    void putAside(const std::string& reason);

    platform::PropertyListCodec& mCodec;
    std::filesystem::path mFolder;
};

} // namespace braid::agent
