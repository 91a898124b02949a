#include "inclusion_entry.h"

#include <string>

#include "util/debug_log.h"
#include "util/typed_reads.h"

namespace roamer
{

namespace
{

constexpr const char* kPathKey = "path";

const std::string* pathOfEntry(const PropertyList& element)
{
    const auto* entry = element.as<Dictionary>();
    return entry != nullptr ? objectForKey<std::string>(*entry, kPathKey) : nullptr;
}

bool isWholeHome(const std::string& path)
{
    return path == "~" || path == "~/";
}

std::string withoutTilde(const std::string& path)
{
    if (path.starts_with("~/")) return path.substr(2);
    if (!path.starts_with("~")) return path;
    DebugLog(2, "Pavo.includeListFromPavoIncludeList found ~");
    return path.substr(1);
}

} // namespace

InclusionSet includeListFromPavoIncludeList(const std::optional<Array>& list)
{
    InclusionSet result;
    if (!list) return result;
    for (const auto& element : *list) {
        const auto* path = pathOfEntry(element);
        if (path == nullptr) continue;
        if (isWholeHome(*path)) {
            DebugLog(2, "Pavo.includeListFromPavoIncludeList found special '~' or '~/' inclusion element");
            return std::set<std::string>{};
        }
        if (path->starts_with("/")) DebugLog(2, "Pavo.includeListFromPavoIncludeList found / at beginning of entry");
        if (!result) result.emplace();
        result->insert(withoutTilde(*path));
    }
    return result;
}

} // namespace roamer
