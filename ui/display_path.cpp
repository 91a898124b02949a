// The path line of the progress window: ProgressTexts' share that needs the disk.

#include "progress_texts.h"

#include <string_view>

#include "localized_text.h"
#include "progress_words.h"
#include "util/debug_log.h"
#include "util/path_text.h"

namespace roamer
{

namespace
{

constexpr const char* kHomePathKey = "PAVO_PROG_PATH_HOME_PATH";
constexpr std::string_view kVolumes = "/Volumes/";

/// Takes the prefix off; no prefix, and an empty one, is never there.
bool removePrefix(std::string& text, const std::optional<std::string>& prefix)
{
    if (!prefix || prefix->empty() || !text.starts_with(*prefix)) return false;
    text.erase(0, prefix->size());
    return true;
}

/// "/Volumes/share/a/b" -> "a/b"
std::string pathBelowVolume(const std::string& path)
{
    const auto components = pathComponents(path);
    std::string relative;
    for (std::size_t i = 3; i < components.size(); ++i)
        relative = pathByAppending(relative, components[i]);
    return relative;
}

} // namespace

struct ProgressTexts::Located {
    std::string folder; ///< On disk.
    std::string rest;   ///< Below it.
};

std::optional<std::string> ProgressTexts::home() const
{
    return mState.mUserRecord ? mState.mUserRecord->home() : std::nullopt;
}

ProgressTexts::Located ProgressTexts::locate(const std::string& path) const
{
    Located located{home().value_or(""), path};
    const auto originalHome = mState.mUserRecord ? mState.mUserRecord->originalHome() : std::nullopt;
    if (originalHome && removePrefix(located.rest, originalHome)) {
        located.folder = *originalHome;
    } else if (removePrefix(located.rest, home())) {
        return located;
    } else if (path.starts_with(kVolumes)) {
        located.rest = pathBelowVolume(path);
        removePrefix(located.rest, mHomeLocations.getOriginalUserHomePath());
        located.folder = path.substr(0, path.size() - located.rest.size());
    }
    return located;
}

std::optional<std::string> ProgressTexts::getDisplayedBasePath(std::int32_t syncType) const
{
    const auto* words = findSyncTypeWords(syncType);
    const auto* homeText = localizedText(kHomePathKey);
    if (words == nullptr || homeText == nullptr) return std::nullopt;
    std::string base = *homeText;
    if (words->isBelowLibrary) {
        const auto folder = home();
        auto library = folder ? mFileSystem.displayName(pathByAppending(*folder, "Library")) : std::string();
        if (library.empty()) library = "Library";
        base = pathByAppending(base, library);
    }
    if (!base.ends_with('/')) base += '/';
    return base;
}

std::optional<std::string> ProgressTexts::getDisplayPath(std::int32_t syncType, const std::string* path) const
{
    const bool isEmpty = path == nullptr || path->empty();
    auto [full, rest] = locate(isEmpty ? home().value_or("") : *path);
    if (rest.starts_with('/')) rest.erase(0, 1);

    std::string shown;
    bool isPackage = false;
    for (const auto& component : pathComponents(rest)) {
        full = pathByAppending(full, component);
        shown = pathByAppending(shown, mFileSystem.displayName(full));
        isPackage = mFileSystem.isPackage(full);
        if (isPackage) break;
    }

    auto result = getDisplayedBasePath(shown.empty() ? syncType : std::int32_t{kPeriodicSync});
    if (result && !shown.empty()) {
        result = pathByAppending(*result, shown);
        if (!isPackage && !result->ends_with('/') && mFileSystem.isDirectory(full)) *result += '/';
    }
    DebugLog(2, "Pavo.getDisplayPath: originalCurPath=\"%s\", curPath=\"%s\", fullPath=\"%s\"", logText(path),
             logText(result), full.c_str());
    return result;
}

} // namespace roamer
