#include "account.h"

#include <unistd.h>

#include "directory/record_attributes.h"
#include "home/preference_keys.h"
#include "platform/linux/bundle.h"
#include "platform/linux/directory_service.h"
#include "platform/linux/effective_user.h"
#include "platform/linux/file_system.h"
#include "platform/linux/identity_service.h"
#include "platform/linux/predicates.h"
#include "platform/linux/preference_store.h"
#include "platform/linux/property_list_codec.h"

namespace roamer::ctl
{

Account::Account()
    : codec(platform::makePropertyListCodec()), bundles(platform::makeBundles(*codec)),
      directory(platform::makeDirectoryService(*codec)), identity(platform::makeIdentityService()),
      effectiveUser(platform::makeEffectiveUser()), fileSystem(platform::makeFileSystem()),
      predicates(platform::makePredicates()), store(platform::makePreferenceStore(*codec)),
      context(*directory, *identity, *codec), domains(*store, *codec),
      preferences(mRecord, domains, *bundles, *effectiveUser), homes(mRecord, *fileSystem),
      lists(mRecord, preferences, homes, *fileSystem, *predicates, *effectiveUser), options(preferences)
{
}

std::variant<std::unique_ptr<Account>, std::string> Account::open(const std::optional<std::string>& user)
{
    std::unique_ptr<Account> account(new Account);
    const std::string name = user.value_or(account->directory->loginName());
    platform::DirectoryError error;
    const auto node = account->directory->openNode(platform::kLocalNodeType, error);
    if (node == nullptr) return "the account records cannot be read: " + error.description + ".";
    const auto record = node->lookUp(kUserRecordType, name, {kAllAttributes}, error);
    if (record == nullptr) {
        if (error.code != 0) return "the record of " + name + " cannot be read: " + error.description + ".";
        if (!user && geteuid() == 0)
            return name + " has no portable account; \"--user NAME\" asks about somebody else's.";
        return name + " is not a portable account on this computer. \"roamerctl enroll " + name +
               " --url URL\" makes it one.";
    }
    account->mRecord = AmruVEXRecord::vexrecordWithRecord(account->context, record);
    if (!account->mRecord)
        return "the record of " + name +
               " cannot be understood. \"roamerctl unenroll\" and \"roamerctl enroll\" write it anew; the homes stay.";
    return account;
}

std::string_view Account::decidedBy(const std::string& key)
{
    if (preferences.roamerValueIsForced(key)) return "administrator";
    return preferences.getRoamerValue(key) ? "person" : "default";
}

bool Account::write(const std::string& key, const std::optional<PropertyList>& value, bool managed)
{
    auto dictionary = (managed ? domains.dictionaryWithManagedPrefsFromDomain(kRoamerDomain, name())
                               : domains.dictionaryWithPrefsFromDomain(kRoamerDomain, localHome()))
                          .value_or(Dictionary{});
    if (value) {
        dictionary[key] = *value;
    } else {
        dictionary.erase(key);
    }
    if (managed) return domains.writeManagedPrefsInDomain(dictionary, kRoamerDomain, name());
    // The person's file stays the person's, also when an administrator sets a key in it.
    const auto guard = effectiveUser->effectiveUid() != mRecord->uid() ? effectiveUser->switchTo(mRecord->uid())
                                                                       : platform::EffectiveUser::Guard();
    return domains.writePrefsInDomain(dictionary, kRoamerDomain, localHome());
}

} // namespace roamer::ctl
