#include "bundle.h"

#include <algorithm>

#include "file_system.h"
#include "preference_store.h"
#include "strings_table.h"
#include "user_languages.h"
#include "util/debug_log.h"
#include "util/path_text.h"

namespace platform
{

namespace
{

constexpr std::string_view kLocalizationSuffix = ".lproj";
constexpr std::string_view kStringsSuffix = ".strings";

/// What every bundle reads with.
struct BundleServices {
    explicit BundleServices(PropertyListCodec& codecOfFiles)
        : codec(codecOfFiles), files(makeFileSystem()), store(makePreferenceStore(codecOfFiles))
    {
    }

    PropertyListCodec& codec;
    std::unique_ptr<FileSystem> files;
    std::unique_ptr<PreferenceStore> store;
};

class FolderBundle final : public Bundle
{
public:
    FolderBundle(std::string path, std::shared_ptr<const BundleServices> services)
        : mPath(std::move(path)), mServices(std::move(services))
    {
    }

    std::string path() const override { return mPath; }

    std::vector<std::string> localizations() const override
    {
        std::vector<std::string> names;
        for (auto& name : mServices->files->contentsOfDirectory(resources()).value_or(std::vector<std::string>())) {
            if (name.size() <= kLocalizationSuffix.size() || !name.ends_with(kLocalizationSuffix)) continue;
            name.resize(name.size() - kLocalizationSuffix.size());
            names.push_back(std::move(name));
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    std::vector<std::string> preferredLocalizations(const std::vector<std::string>& available) const override
    {
        return matchingLocalizations(available, userLanguages());
    }

    std::optional<std::string> pathForResource(const std::string& name, const std::string& type) const override
    {
        return existing(roamer::pathByAppending(resources(), name + "." + type));
    }

    std::optional<std::string> pathForResource(const std::string& name, const std::string& type,
                                               const std::string& localization) const override
    {
        const std::string folder = localization + std::string(kLocalizationSuffix);
        return existing(roamer::pathByAppending(roamer::pathByAppending(resources(), folder), name + "." + type));
    }

    std::optional<roamer::Dictionary> dictionaryWithContentsOfFile(const std::string& path) const override
    {
        const auto bytes = mServices->store->readFile(path);
        if (!bytes) return std::nullopt;
        auto parsed = mServices->codec.parse(*bytes);
        if (auto* value = std::get_if<roamer::PropertyList>(&parsed)) {
            auto* dictionary = value->as<roamer::Dictionary>();
            return dictionary != nullptr ? std::optional(std::move(*dictionary)) : std::nullopt;
        }
        std::string problem = std::get<PropertyListCodec::Error>(parsed).text;
        if (path.ends_with(kStringsSuffix)) {
            auto table = readStringsTable(*bytes);
            if (auto* texts = std::get_if<roamer::Dictionary>(&table)) return std::move(*texts);
            problem = std::get<StringsTableError>(table).text;
        }
        roamer::DebugLog(1, "bundle: cannot read path=\"%s\": %s", path.c_str(), problem.c_str());
        return std::nullopt;
    }

    std::string localizedString(const std::string& key, const std::string& table) const override
    {
        for (const auto& localization : preferredLocalizations(localizations())) {
            const auto path = pathForResource(table, "strings", localization);
            const auto texts = path ? dictionaryWithContentsOfFile(*path) : std::nullopt;
            if (!texts) continue;
            const auto item = texts->find(key);
            const auto* text = item != texts->end() ? item->second.as<std::string>() : nullptr;
            if (text != nullptr) return *text;
        }
        return key;
    }

    std::optional<std::string> name() const override { return information("BundleName"); }
    std::optional<std::string> version() const override { return information("BundleVersion"); }

private:
    std::string resources() const { return roamer::pathByAppending(mPath, "Contents/Resources"); }

    std::optional<std::string> existing(const std::string& path) const
    {
        return mServices->files->exists(path) ? std::optional(path) : std::nullopt;
    }

    std::optional<std::string> information(const std::string& key) const
    {
        const auto all = dictionaryWithContentsOfFile(roamer::pathByAppending(mPath, "Contents/Info.plist"));
        if (!all) return std::nullopt;
        const auto item = all->find(key);
        const auto* text = item != all->end() ? item->second.as<std::string>() : nullptr;
        return text != nullptr ? std::optional(*text) : std::nullopt;
    }

    std::string mPath;
    std::shared_ptr<const BundleServices> mServices; ///< Shared, so that a bundle may outlive what it came from.
};

class FolderBundles final : public Bundles
{
public:
    explicit FolderBundles(PropertyListCodec& codec) : mServices(std::make_shared<BundleServices>(codec)) {}

    std::unique_ptr<Bundle> bundleWithPath(const std::string& path) override
    {
        if (!mServices->files->isDirectory(path)) return nullptr;
        return std::make_unique<FolderBundle>(path, mServices);
    }

private:
    std::shared_ptr<const BundleServices> mServices;
};

} // namespace

std::unique_ptr<Bundles> makeBundles(PropertyListCodec& codec)
{
    return std::make_unique<FolderBundles>(codec);
}

} // namespace platform
