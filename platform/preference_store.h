#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "values/property_list.h"

namespace platform
{

/// Preference files on disk. Paths are as the product knows them; those of the system get the system root in front (see
/// system_root.h), homes do not.
class PreferenceStore
{
public:
    virtual ~PreferenceStore() = default;

    /// The whole file; null when it is missing or cannot be read.
    virtual std::optional<std::vector<std::byte>> readFile(const std::string& path) = 0;

    /// Writes `bytes` to `path`. Atomically: afterwards, also after a crash, there is the whole old or the whole new
    /// file; mode and owner of an old file are kept. False: nothing was changed.
    virtual bool writeFile(const std::string& path, std::span<const std::byte> bytes, bool atomically) = 0;

    /// The same for a file of a home, such as "Library/Preferences/x.plist". Links count only while they stay in the
    /// home; a file whose last part is one is not written, and a home that is one is no home: whoever may place a link
    /// there must not choose what is read or replaced elsewhere. Written atomically; a new file belongs to the owner of
    /// its folder, as far as the process may.
    virtual std::optional<std::vector<std::byte>> readFileInHome(const std::string& home, const std::string& path) = 0;
    virtual bool writeFileInHome(const std::string& home, const std::string& path,
                                 std::span<const std::byte> bytes) = 0;

    /// Writes <folder>/<domain>.plist. The folder must exist, except for one directly named "Preferences" in a home,
    /// which is made when missing.
    virtual bool writeDomain(const roamer::Dictionary& dictionary, const std::string& folder,
                             const std::string& domain) = 0;

    /// Writes the managed domain of one user; false when the user's managed folder is missing.
    virtual bool writeManagedDomain(const roamer::Dictionary& dictionary, const std::string& user,
                                    const std::string& domain) = 0;

    /// Creates a folder with missing parents, mode 0755, owner 0, group 0 (owner and group as far as the process may).
    virtual bool createManagedFolder(const std::string& path) = 0;
};

} // namespace platform
