#pragma once

#include "home/home_locations.h"
#include "home/roamer_preferences.h"
#include "platform/linux/file_system.h"
#include "platform/linux/preference_store.h"
#include "platform/linux/property_list_codec.h"
#include "tests/fakes/fake_bundles.h"
#include "tests/fakes/fake_directory.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/small_services.h"
#include "tests/fakes/temp_root.h"
#include "util/preference_domains.h"

namespace fakes
{

/// A context for records of whose services a test wants nothing in particular. The local node is "/Local/Default".
inline roamer::DirectoryContext& testDirectoryContext()
{
    static FakeDirectory directory;
    static FakeIdentityService identity;
    static const auto codec = platform::makePropertyListCodec();
    static roamer::DirectoryContext context(directory, identity, *codec);
    return context;
}

/// The record of "jo" on the local node with one value per attribute; attributes that are not listed are missing:
///
///     makeUserRecord({{"axAttrTypeStandard:UniqueID", "501"}})
inline roamer::AmruVEXRecord
makeUserRecord(std::initializer_list<std::pair<const std::string, roamer::PropertyList>> attributes)
{
    roamer::Dictionary values;
    for (const auto& [name, value] : attributes)
        values[name] = roamer::Array{value};
    return *roamer::AmruVEXRecord::vexrecordWithRecord(
        testDirectoryContext(),
        std::make_shared<FakeDirectoryRecord>("axRecTypeStandard:Users", "jo", std::move(values)));
}

/// The account "jo" with both homes and all preference layers in a temporary folder.
struct AccountRig {
    TempRoot root;
    RecordingLog log;
    const std::string localHome = makeHome("/home/jo");
    const std::string share = root.real("/srv/homes").string();
    const std::string networkHome = makeHome("/srv/homes/jo");

    std::unique_ptr<platform::PropertyListCodec> codec = platform::makePropertyListCodec();
    std::unique_ptr<platform::PreferenceStore> store = platform::makePreferenceStore(*codec);
    std::unique_ptr<platform::FileSystem> fileSystem = platform::makeFileSystem();
    FakeBundles bundles;
    FakeEffectiveUser effectiveUser;

    std::optional<roamer::AmruVEXRecord> ownRecord;
    std::optional<roamer::AmruVEXRecord>& userRecord;
    roamer::PreferenceDomains domains{*store, *codec};
    roamer::RoamerPreferences preferences{userRecord, domains, bundles, effectiveUser};
    roamer::HomeLocations homes{userRecord, *fileSystem};

    AccountRig() : AccountRig(ownRecord) {}
    /// With the account where others look for it too.
    explicit AccountRig(std::optional<roamer::AmruVEXRecord>& record) : userRecord(record)
    {
        setAccount("<url>file:///srv/homes</url><path>jo</path>");
    }

    /// Where the network home is; "" for an account that has none.
    void setAccount(const std::string& location)
    {
        userRecord =
            makeUserRecord({{"axAttrTypeStandard:RecordName", "jo"},
                            {"axAttrTypeStandard:UniqueID", "501"},
                            {"axAttrTypeStandard:NFSHomeDirectory", localHome},
                            {"axAttrTypeStandard:OriginalHomeDirectory", "<home_dir>" + location + "</home_dir>"}});
    }
    void setManaged(const roamer::Dictionary& layer)
    {
        domains.writeManagedPrefsInDomain(layer, roamer::kRoamerDomain, "jo");
        preferences.invalidateRoamerPrefCache();
    }
    void setUser(const roamer::Dictionary& layer)
    {
        domains.writePrefsInDomain(layer, roamer::kRoamerDomain, localHome);
        preferences.invalidateRoamerPrefCache();
    }
    void setDefaults(const roamer::Dictionary& defaults)
    {
        bundles.bundles[platform::kCustodiaBundlePath].dictionaries["PavoDefaults.plist"] = defaults;
    }
    void prefer(const char* key, const roamer::PropertyList& value) { preferences.setRoamerValue(value, key); }

private:
    std::string makeHome(const std::string& path)
    {
        std::filesystem::create_directories(root.real(path + "/Library/Preferences"));
        return root.real(path).string();
    }
};

} // namespace fakes
