#include "sync_set_store.h"

#include <cstdio>
#include <system_error>
#include <utility>

#include <sys/stat.h>

#include "durable_file.h"
#include "util/debug_log.h"

namespace braid::agent
{

namespace
{

constexpr const char* kFileName = "sync_set.plist";
constexpr const char* kDamagedName = "sync_set.damaged.plist";
constexpr const char* kVersionKey = "version";
constexpr std::int64_t kVersion = 1;
constexpr std::size_t kLimitBytes = std::size_t{16} * 1024 * 1024; // lists of a home are some kilobytes

std::variant<SyncSet, std::string> setFrom(const roamer::PropertyList& value)
{
    const auto* entries = value.as<roamer::Dictionary>();
    if (entries == nullptr) return "it is not a dictionary";
    auto changes = *entries;
    const auto version = changes.find(kVersionKey);
    if (version == changes.end() || version->second != roamer::PropertyList(kVersion)) {
        return "its version is not known";
    }
    changes.erase(version);
    return changed(SyncSet{}, changes);
}

} // namespace

SyncSetStore::SyncSetStore(platform::PropertyListCodec& codec, const std::filesystem::path& localHome)
    : mCodec(codec), mFolder(localHome / ".Braid")
{
}

std::filesystem::path SyncSetStore::file() const
{
    return mFolder / kFileName;
}

std::optional<SyncSet> SyncSetStore::load()
{
    const auto content = readFile(file(), kLimitBytes);
    if (std::holds_alternative<std::monostate>(content)) return std::nullopt;
    if (const auto* reason = std::get_if<std::string>(&content)) {
        putAside(*reason);
        return std::nullopt;
    }
    const auto parsed = mCodec.parse(std::get<std::vector<std::byte>>(content));
    if (const auto* error = std::get_if<platform::PropertyListCodec::Error>(&parsed)) {
        putAside(error->text);
        return std::nullopt;
    }
    auto set = setFrom(std::get<roamer::PropertyList>(parsed));
    if (const auto* reason = std::get_if<std::string>(&set)) {
        putAside(*reason);
        return std::nullopt;
    }
    return std::get<SyncSet>(std::move(set));
}

std::optional<std::string> SyncSetStore::save(const SyncSet& set)
{
    auto entries = describe(set);
    entries.insert_or_assign(kVersionKey, kVersion);
    const auto bytes = mCodec.serialise(entries, platform::PropertyListCodec::Format::Xml);
    if (const auto* error = std::get_if<platform::PropertyListCodec::Error>(&bytes)) return error->text;
    if (::mkdir(mFolder.c_str(), 0700) != 0 && errno != EEXIST) {
        return "mkdir \"" + mFolder.string() + "\": " + std::generic_category().message(errno);
    }
    return replaceFileOfHome(file(), std::get<std::vector<std::byte>>(bytes));
}

std::optional<std::string> SyncSetStore::remove()
{
    std::error_code error;
    std::filesystem::remove(file(), error);
    if (error) return "remove \"" + file().string() + "\": " + error.message();
    syncFolder(mFolder);
    return std::nullopt;
}

void SyncSetStore::putAside(const std::string& reason)
{
    const auto aside = mFolder / kDamagedName;
    const bool moved = std::rename(file().c_str(), aside.c_str()) == 0;
    roamer::DebugLog(0, "set: unreadable path=\"%s\" reason=\"%s\" kept=\"%s\"", file().c_str(), reason.c_str(),
                     moved ? aside.c_str() : file().c_str());
}

} // namespace braid::agent
