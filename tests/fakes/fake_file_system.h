#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/file_system.h"
#include "util/path_text.h"

namespace fakes
{

/// Files and folders out of sets. What is not in one of them does not exist; parents are not added by themselves.
class FakeFileSystem final : public platform::FileSystem
{
public:
    std::set<std::string> files;
    std::set<std::string> directories;
    std::set<std::string> unreadable; ///< Folders that exist but cannot be listed.
    std::set<std::string> packages;   ///< Folders shown as one file; they need not be in `directories`.
    bool mayCreate = true;
    std::map<std::string, std::string> displayNames; ///< Where they differ from the last component.

    bool exists(const std::string& path) override { return files.contains(path) || isDirectory(path); }
    bool isDirectory(const std::string& path) override
    {
        return directories.contains(path) || unreadable.contains(path) || packages.contains(path);
    }
    std::optional<std::vector<std::string>> contentsOfDirectory(const std::string& path) override
    {
        if (!directoryIsReadable(path)) return std::nullopt;
        std::vector<std::string> names;
        for (const auto* items : {&files, &directories, &unreadable, &packages}) {
            for (const auto& item : *items) {
                if (item != path && roamer::pathByDeletingLastComponent(item) == path) {
                    names.push_back(roamer::lastPathComponent(item));
                }
            }
        }
        return names;
    }
    bool directoryIsReadable(const std::string& path) override
    {
        return isDirectory(path) && !unreadable.contains(path);
    }
    bool createDirectory(const std::string& path) override
    {
        return mayCreate && !exists(path) && directories.insert(path).second;
    }
    std::string displayName(const std::string& path) override
    {
        if (const auto item = displayNames.find(path); item != displayNames.end()) return item->second;
        return exists(path) ? roamer::lastPathComponent(path) : std::string();
    }
    bool isPackage(const std::string& path) override { return packages.contains(path); }
};

} // namespace fakes
