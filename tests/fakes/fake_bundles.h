#pragma once

#include "platform/bundle.h"

namespace fakes
{

/// Bundles in English out of tables. Resources are named "<name>.<type>", or "English/<name>.<type>".
class FakeBundles final : public platform::Bundles
{
public:
    struct Contents {
        std::map<std::string, roamer::Dictionary> dictionaries; ///< Resource -> the dictionary in it.
    };

    /// Bundle path -> what is in it. A path that is not here has no bundle.
    std::map<std::string, Contents> bundles;

    std::unique_ptr<platform::Bundle> bundleWithPath(const std::string& path) override
    {
        if (!bundles.contains(path)) return nullptr;
        return std::make_unique<FakeBundle>(path, bundles.at(path));
    }

private:
    class FakeBundle final : public platform::Bundle
    {
    public:
        FakeBundle(std::string path, const Contents& contents) : mPath(std::move(path)), mContents(contents) {}

        std::string path() const override { return mPath; }
        std::vector<std::string> localizations() const override { return {"English"}; }
        std::vector<std::string> preferredLocalizations(const std::vector<std::string>& available) const override
        {
            return available;
        }
        std::optional<std::string> pathForResource(const std::string& name, const std::string& type) const override
        {
            if (!mContents.dictionaries.contains(name + "." + type)) return std::nullopt;
            return prefix() + name + "." + type;
        }
        std::optional<std::string> pathForResource(const std::string& name, const std::string& type,
                                                   const std::string& localization) const override
        {
            return pathForResource(localization + "/" + name, type);
        }
        std::optional<roamer::Dictionary> dictionaryWithContentsOfFile(const std::string& path) const override
        {
            if (!path.starts_with(prefix())) return std::nullopt;
            const auto item = mContents.dictionaries.find(path.substr(prefix().size()));
            if (item == mContents.dictionaries.end()) return std::nullopt;
            return item->second;
        }
        std::string localizedString(const std::string& key, const std::string& table) const override
        {
            const auto texts = dictionaryWithContentsOfFile(prefix() + "English/" + table + ".strings");
            return texts && texts->contains(key) ? *texts->at(key).as<std::string>() : key;
        }
        std::optional<std::string> name() const override { return std::nullopt; }
        std::optional<std::string> version() const override { return std::nullopt; }

    private:
        std::string prefix() const { return mPath + "/Contents/Resources/"; }

        std::string mPath;
        const Contents& mContents;
    };
};

} // namespace fakes
