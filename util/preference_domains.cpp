#include "preference_domains.h"

#include "debug_log.h"
#include "format_text.h"
#include "path_text.h"
#include "platform/failure.h"
#include "report.h"

namespace roamer
{

namespace
{

using platform::PropertyListCodec;

constexpr const char* kPreferences = "Library/Preferences";
constexpr const char* kManagedPreferences = "/Library/Managed Preferences";

std::string domainFile(const std::string& folder, const std::string& domain)
{
    return pathByAppending(folder, domain + ".plist");
}

std::string preferencesFolder(const std::string& homePath)
{
    return pathByAppending(homePath, kPreferences);
}

std::string byHostFolder(const std::string& homePath)
{
    return pathByAppending(preferencesFolder(homePath), "ByHost");
}

std::string byHostDomain(const std::string& domain, const std::string& ethernetAddress)
{
    return domain + "." + ethernetAddress;
}

std::string managedFolder(const std::string& user)
{
    return pathByAppending(kManagedPreferences, user);
}

} // namespace

PreferenceDomains::PreferenceDomains(platform::PreferenceStore& store, PropertyListCodec& codec)
    : mStore(store), mCodec(codec)
{
}

std::optional<Dictionary> PreferenceDomains::dictionaryWithPrefsFromDomain(const std::string& domain,
                                                                           const std::string& homePath) const
{
    return dictionaryWithContentsOfFile(domainFile(preferencesFolder(homePath), domain));
}

std::optional<Dictionary> PreferenceDomains::dictionaryWithPrefsFromDomain(const std::string& domain,
                                                                           const std::string& homePath,
                                                                           const std::string& ethernetAddress) const
{
    return dictionaryWithContentsOfFile(domainFile(byHostFolder(homePath), byHostDomain(domain, ethernetAddress)));
}

std::optional<Dictionary> PreferenceDomains::dictionaryWithManagedPrefsFromDomain(const std::string& domain) const
{
    return dictionaryWithContentsOfFile(domainFile(kManagedPreferences, domain));
}

std::optional<Dictionary> PreferenceDomains::dictionaryWithManagedPrefsFromDomain(const std::string& domain,
                                                                                  const std::string& user) const
{
    return dictionaryWithContentsOfFile(domainFile(managedFolder(user), domain));
}

std::optional<Dictionary> PreferenceDomains::dictionaryWithContentsOfFile(const std::string& path) const
{
    return parsed(mStore.readFile(path));
}

std::optional<Dictionary> PreferenceDomains::dictionaryInHome(const std::string& home, const std::string& path) const
{
    return parsed(mStore.readFileInHome(home, path));
}

std::optional<Dictionary> PreferenceDomains::parsed(const std::optional<Data>& bytes) const
{
    if (!bytes) return std::nullopt;
    auto parsed = mCodec.parse(*bytes);
    auto* value = std::get_if<PropertyList>(&parsed);
    auto* dictionary = value != nullptr ? value->as<Dictionary>() : nullptr;
    return dictionary != nullptr ? std::optional(std::move(*dictionary)) : std::nullopt;
}

bool PreferenceDomains::writeToFile(const Dictionary& dictionary, const std::string& path,
                                    PropertyListCodec::Format format, bool atomically) const
{
    const auto bytes = serialised(dictionary, format);
    return bytes && mStore.writeFile(path, *bytes, atomically);
}

bool PreferenceDomains::writeInHome(const Dictionary& dictionary, const std::string& home,
                                    const std::string& path) const
{
    const auto bytes = serialised(dictionary, PropertyListCodec::Format::Binary);
    return bytes && mStore.writeFileInHome(home, path, *bytes);
}

std::optional<Data> PreferenceDomains::serialised(const Dictionary& dictionary, PropertyListCodec::Format format) const
{
    try {
        auto result = mCodec.serialise(dictionary, format);
        if (const auto* error = std::get_if<PropertyListCodec::Error>(&result)) {
            DebugLog(1, "VEXD.writeToFile serialisation returned \"%s\"", error->text.c_str());
            return std::nullopt;
        }
        return std::get<Data>(std::move(result));
    } catch (const platform::Failure& failure) {
        DebugLog(1, "VEXD.writeToFile serialisation raised an exception %s: \"%s\"", failure.name().c_str(),
                 failure.reason().c_str());
        return std::nullopt;
    }
}

bool PreferenceDomains::writePrefsInDomain(const Dictionary& dictionary, const std::string& domain,
                                           const std::string& homePath) const
{
    const std::string folder = preferencesFolder(homePath);
    const bool succeeded = mStore.writeDomain(dictionary, folder, domain);
    if (!succeeded) {
        report(formatText("VEXD.writePrefsInDomain - writing to prefPath \"%s\" for domain \"%s\" failed "
                          "(prefPath should not contain domain ID)",
                          folder.c_str(), domain.c_str()));
    }
    return succeeded;
}

bool PreferenceDomains::writePrefsInDomain(const Dictionary& dictionary, const std::string& domain,
                                           const std::string& homePath, const std::string& ethernetAddress) const
{
    return mStore.writeDomain(dictionary, byHostFolder(homePath), byHostDomain(domain, ethernetAddress));
}

bool PreferenceDomains::writeManagedPrefsInDomain(const Dictionary& dictionary, const std::string& domain) const
{
    if (mStore.writeDomain(dictionary, kManagedPreferences, domain)) return true;
    mStore.createManagedFolder(kManagedPreferences);
    return mStore.writeDomain(dictionary, kManagedPreferences, domain);
}

bool PreferenceDomains::writeManagedPrefsInDomain(const Dictionary& dictionary, const std::string& domain,
                                                  const std::string& user) const
{
    if (mStore.writeManagedDomain(dictionary, user, domain)) return true;
    mStore.createManagedFolder(managedFolder(user));
    return mStore.writeManagedDomain(dictionary, user, domain);
}

} // namespace roamer
