#pragma once

#include <optional>
#include <string>

#include "platform/preference_store.h"
#include "platform/property_list_codec.h"
#include "values/property_list.h"

namespace roamer
{

/// The conventional preference files of a computer and its users: where they lie, and reading and writing them whole.
///
/// Reading never complains: a file that is missing, unreadable or no dictionary is null. Writing answers whether it
/// worked. Nothing here raises.
class PreferenceDomains
{
public:
    PreferenceDomains(platform::PreferenceStore& store, platform::PropertyListCodec& codec);

    /// <home>/Library/Preferences/<domain>.plist; without a home the computer's own folder.
    std::optional<Dictionary> dictionaryWithPrefsFromDomain(const std::string& domain,
                                                            const std::string& homePath = "/") const;
    /// <home>/Library/Preferences/ByHost/<domain>.<address>.plist; the address text is the one that names this
    /// computer.
    std::optional<Dictionary> dictionaryWithPrefsFromDomain(const std::string& domain, const std::string& homePath,
                                                            const std::string& ethernetAddress) const;

    /// /Library/Managed Preferences/<domain>.plist
    std::optional<Dictionary> dictionaryWithManagedPrefsFromDomain(const std::string& domain) const;
    /// /Library/Managed Preferences/<user>/<domain>.plist
    std::optional<Dictionary> dictionaryWithManagedPrefsFromDomain(const std::string& domain,
                                                                   const std::string& user) const;

    /// The dictionary in a property-list file of either form.
    std::optional<Dictionary> dictionaryWithContentsOfFile(const std::string& path) const;

    /// What went wrong with the serialisation is logged at level 1, a failed write is not.
    bool writeToFile(const Dictionary& dictionary, const std::string& path, platform::PropertyListCodec::Format format,
                     bool atomically) const;

    /// A file of a home, `path` relative to it; no link leads out of the home (see platform::PreferenceStore). Written
    /// in the binary form, atomically.
    std::optional<Dictionary> dictionaryInHome(const std::string& home, const std::string& path) const;
    bool writeInHome(const Dictionary& dictionary, const std::string& home, const std::string& path) const;

    /// A failure is reported to the administrator.
    bool writePrefsInDomain(const Dictionary& dictionary, const std::string& domain,
                            const std::string& homePath = "/") const;
    /// The by-host file; a failure is not reported.
    bool writePrefsInDomain(const Dictionary& dictionary, const std::string& domain, const std::string& homePath,
                            const std::string& ethernetAddress) const;

    /// Managed files: when the write fails, their folder is made (owner and group 0, mode 0755) and the write tried
    /// once more.
    bool writeManagedPrefsInDomain(const Dictionary& dictionary, const std::string& domain) const;
    bool writeManagedPrefsInDomain(const Dictionary& dictionary, const std::string& domain,
                                   const std::string& user) const;

private:
    std::optional<Dictionary> parsed(const std::optional<Data>& bytes) const;
    std::optional<Data> serialised(const Dictionary& dictionary, platform::PropertyListCodec::Format format) const;

    platform::PreferenceStore& mStore;
    platform::PropertyListCodec& mCodec;
};

} // namespace roamer
