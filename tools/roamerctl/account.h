#pragma once

#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "directory/amru_vex_record.h"
#include "directory/directory_context.h"
#include "home/home_locations.h"
#include "home/roamer_preferences.h"
#include "lists/sync_lists.h"
#include "platform/bundle.h"
#include "platform/directory_service.h"
#include "platform/effective_user.h"
#include "platform/file_system.h"
#include "platform/identity_service.h"
#include "platform/predicates.h"
#include "platform/preference_store.h"
#include "platform/property_list_codec.h"
#include "sync/sync_options.h"
#include "util/preference_domains.h"

namespace roamer::ctl
{

/// One portable account, with the components of the agent that know what holds for it.
class Account
{
public:
    /// The account; or why there is none, in words.
    static std::variant<std::unique_ptr<Account>, std::string> open(const std::optional<std::string>& user);

    const AmruVEXRecord& record() const { return *mRecord; }
    std::string name() const { return mRecord->recordName().value_or(""); }
    std::string localHome() const { return mRecord->home().value_or(""); }

    /// "administrator", "person" or "default".
    std::string_view decidedBy(const std::string& key);

    /// False when the file could not be written. A null value removes the key.
    bool write(const std::string& key, const std::optional<PropertyList>& value, bool managed);

    std::unique_ptr<platform::PropertyListCodec> codec;
    std::unique_ptr<platform::Bundles> bundles;
    std::unique_ptr<platform::DirectoryService> directory;
    std::unique_ptr<platform::IdentityService> identity;
    std::unique_ptr<platform::EffectiveUser> effectiveUser;
    std::unique_ptr<platform::FileSystem> fileSystem;
    std::unique_ptr<platform::Predicates> predicates;
    std::unique_ptr<platform::PreferenceStore> store;
    DirectoryContext context;

private:
    Account();

    std::optional<AmruVEXRecord> mRecord;

public:
    PreferenceDomains domains;
    RoamerPreferences preferences;
    HomeLocations homes;
    SyncLists lists;
    SyncOptions options;
};

} // namespace roamer::ctl
