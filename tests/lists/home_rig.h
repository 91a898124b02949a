#pragma once

#include <filesystem>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "home/home_locations.h"
#include "home/roamer_preferences.h"
#include "lists/sync_lists.h"
#include "platform/bundle.h"
#include "platform/linux/file_system.h"
#include "platform/linux/predicates.h"
#include "platform/linux/preference_store.h"
#include "platform/linux/property_list_codec.h"
#include "tests/fakes/fake_bundles.h"
#include "tests/fakes/fake_effective_user.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_root.h"
#include "tests/fakes/test_user_record.h"
#include "util/preference_domains.h"

namespace lists_test
{

/// A list of inclusion entries.
inline roamer::Array paths(std::initializer_list<const char*> entries)
{
    roamer::Array result;
    for (const auto* path : entries)
        result.emplace_back(roamer::Dictionary{{"path", path}});
    return result;
}

/// A list of exclusion entries.
inline roamer::Array rules(std::initializer_list<std::pair<const char*, const char*>> entries)
{
    roamer::Array result;
    for (const auto& [comparison, value] : entries)
        result.emplace_back(roamer::Dictionary{{"comparison", comparison}, {"value", value}});
    return result;
}

/// The account "jo" with both homes and all preference layers in a temporary folder; the engine evaluates the rules.
struct HomeRig {
    fakes::TempRoot root;
    fakes::RecordingLog log;
    const std::string localHome = makeHome("/home/jo");
    const std::string networkHome = makeHome("/srv/homes/jo");

    std::unique_ptr<platform::PropertyListCodec> codec = platform::makePropertyListCodec();
    std::unique_ptr<platform::PreferenceStore> store = platform::makePreferenceStore(*codec);
    std::unique_ptr<platform::FileSystem> fileSystem = platform::makeFileSystem();
    std::unique_ptr<platform::Predicates> predicates = platform::makePredicates();
    fakes::FakeBundles bundles;
    fakes::FakeEffectiveUser effectiveUser;
    roamer::PreferenceDomains domains{*store, *codec};

    std::optional<roamer::AmruVEXRecord> userRecord = fakes::makeUserRecord({
        {"axAttrTypeStandard:RecordName", "jo"},
        {"axAttrTypeStandard:UniqueID", "501"},
        {"axAttrTypeStandard:NFSHomeDirectory", localHome},
        {"axAttrTypeStandard:OriginalNFSHomeDirectory", networkHome},
    });
    roamer::RoamerPreferences preferences{userRecord, domains, bundles, effectiveUser};
    roamer::HomeLocations locations{userRecord, *fileSystem};
    roamer::ExclusionLists exclusions{userRecord, preferences, *predicates, effectiveUser};
    roamer::InclusionLists inclusions{userRecord, preferences, locations, *fileSystem, exclusions, effectiveUser};
    roamer::SyncLists lists{userRecord, preferences, locations, *fileSystem, *predicates, effectiveUser};

    void setManaged(const roamer::Dictionary& layer)
    {
        write(root.real("/Library/Managed Preferences/jo/com.kestrel.roamer.plist"), layer);
    }
    void setUser(const roamer::Dictionary& layer)
    {
        write(std::filesystem::path(localHome) / "Library/Preferences/com.kestrel.roamer.plist", layer);
    }
    void setDefaults(const roamer::Dictionary& defaults)
    {
        bundles.bundles[platform::kCustodiaBundlePath].dictionaries["PavoDefaults.plist"] = defaults;
    }

    /// A file or, with a slash at the end, a folder in the local home.
    void addLocal(const std::string& path) { add(localHome, path); }
    void addNetwork(const std::string& path) { add(networkHome, path); }

private:
    std::string makeHome(const std::string& path)
    {
        std::filesystem::create_directories(root.real(path));
        return root.real(path).string();
    }
    static void add(const std::string& home, const std::string& path)
    {
        const auto whole = std::filesystem::path(home) / path;
        if (path.ends_with('/')) {
            std::filesystem::create_directories(whole);
        } else {
            fakes::TempRoot::writeFile(whole, path);
        }
    }
    void write(const std::filesystem::path& path, const roamer::Dictionary& layer)
    {
        const auto bytes =
            std::get<std::vector<std::byte>>(codec->serialise(layer, platform::PropertyListCodec::Format::Xml));
        fakes::TempRoot::writeFile(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        preferences.invalidateRoamerPrefCache();
    }
};

} // namespace lists_test
