#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/bundle.h"

namespace fakes
{

/// Bundles out of tables. Resources are named "<name>.<type>", or "<localization>/<name>.<type>" inside one.
class FakeBundles final : public platform::Bundles
{
public:
    struct Contents {
        std::vector<std::string> localizations{"English"};
        std::vector<std::string> preferred{"English"};
        /// Resource -> the dictionary in it.
        std::map<std::string, roamer::Dictionary> dictionaries;
        std::optional<std::string> name;
        std::optional<std::string> version;
    };

    /// Bundle path -> what is in it. A path that is not here has no bundle.
    std::map<std::string, Contents> bundles;
    /// Paths asked for, in order.
    std::vector<std::string> opened;

    std::unique_ptr<platform::Bundle> bundleWithPath(const std::string& path) override
    {
        opened.push_back(path);
        if (!bundles.contains(path)) return nullptr;
        return std::make_unique<FakeBundle>(path, bundles.at(path));
    }

private:
    class FakeBundle final : public platform::Bundle
    {
    public:
        FakeBundle(std::string path, const Contents& contents) : mPath(std::move(path)), mContents(contents) {}

        std::string path() const override { return mPath; }
        std::vector<std::string> localizations() const override { return mContents.localizations; }
        std::vector<std::string> preferredLocalizations(const std::vector<std::string>& available) const override
        {
            std::vector<std::string> result;
            for (const auto& language : mContents.preferred) {
                if (std::find(available.begin(), available.end(), language) != available.end()) {
                    result.push_back(language);
                }
            }
            if (result.empty() && !available.empty()) result.push_back(available.front());
            return result;
        }
        std::optional<std::string> pathForResource(const std::string& name, const std::string& type) const override
        {
            return resource(name + "." + type);
        }
        std::optional<std::string> pathForResource(const std::string& name, const std::string& type,
                                                   const std::string& localization) const override
        {
            return resource(localization + "/" + name + "." + type);
        }
        std::optional<roamer::Dictionary> dictionaryWithContentsOfFile(const std::string& path) const override
        {
            if (path.size() <= prefix().size() || !path.starts_with(prefix())) return std::nullopt;
            const auto item = mContents.dictionaries.find(path.substr(prefix().size()));
            if (item == mContents.dictionaries.end()) return std::nullopt;
            return item->second;
        }
        std::string localizedString(const std::string& key, const std::string& table) const override
        {
            for (const auto& language : preferredLocalizations(mContents.localizations)) {
                const auto path = resource(language + "/" + table + ".strings");
                if (!path) continue;
                const auto texts = dictionaryWithContentsOfFile(*path);
                const auto item = texts->find(key);
                if (item == texts->end()) continue;
                if (const auto* text = item->second.as<std::string>()) return *text;
            }
            return key;
        }
        std::optional<std::string> name() const override { return mContents.name; }
        std::optional<std::string> version() const override { return mContents.version; }

    private:
        std::string prefix() const { return mPath + "/Contents/Resources/"; }
        std::optional<std::string> resource(const std::string& name) const
        {
            if (!mContents.dictionaries.contains(name)) return std::nullopt;
            return prefix() + name;
        }

        std::string mPath;
        const Contents& mContents;
    };
};

} // namespace fakes
