#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "values/property_list.h"

namespace platform
{

/// A folder of resources at a product path. Paths that it returns are product paths too.
class Bundle
{
public:
    virtual ~Bundle() = default;
    virtual std::string path() const = 0;
    /// Names such as "English", "de", "ja": the folders <name>.lproj of the resources.
    virtual std::vector<std::string> localizations() const = 0;
    /// The best ones for the current user's languages, best first; at least one when `available` is not empty.
    virtual std::vector<std::string> preferredLocalizations(const std::vector<std::string>& available) const = 0;
    /// The file <name>.<type> in the resources, for a localization in its folder; null when it is not there.
    virtual std::optional<std::string> pathForResource(const std::string& name, const std::string& type) const = 0;
    virtual std::optional<std::string> pathForResource(const std::string& name, const std::string& type,
                                                       const std::string& localization) const = 0;
    /// The dictionary in a property-list or strings file; null when it cannot be read as one.
    virtual std::optional<roamer::Dictionary> dictionaryWithContentsOfFile(const std::string& path) const = 0;
    /// The text of `key` in the strings table of the preferred localization; the key itself when it has none.
    virtual std::string localizedString(const std::string& key, const std::string& table = "Localizable") const = 0;
    virtual std::optional<std::string> name() const = 0;
    virtual std::optional<std::string> version() const = 0;
};

class Bundles
{
public:
    virtual ~Bundles() = default;
    /// Null when there is no bundle at the path.
    virtual std::unique_ptr<Bundle> bundleWithPath(const std::string& path) = 0;
};

inline constexpr const char* kCustodiaBundlePath = "/System/Library/Hearth/Custodia.app";
inline constexpr const char* kMenuExtraBundlePath = "/System/Library/Hearth/Menu Extras/Roamer.menu";

} // namespace platform
