#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "braid/engine.h"
#include "platform/property_list_codec.h"

namespace braid::agent
{

/// One thing that needs a person.
struct Matter {
    std::string path;
    bool isError = false;

    friend auto operator<=>(const Matter&, const Matter&) = default;
};

/// What a person put aside, with the facts of that moment: as long as they are the same, nobody is asked again. Kept in
/// the local home's marker folder.
class SetAside
{
public:
    /// The codec is borrowed.
    SetAside(platform::PropertyListCodec& codec, const std::filesystem::path& localHome);

    bool contains(const Conflict& conflict) const;
    bool contains(const ItemError& error) const;

    /// Puts those of `known` that are named aside, or takes them back, and forgets what is no longer there. In words
    /// why it could not be kept; it holds for this process all the same.
    std::optional<std::string> change(const OpenMatters& known, const std::set<Matter>& matters, bool aside);

    /// Without the file; in words why it is still there.
    std::optional<std::string> clear();

private:
    void load();
    std::optional<std::string> save() const;

    platform::PropertyListCodec& mCodec;
    std::filesystem::path mFile;
    std::map<Matter, std::string> mFacts; ///< "What it was like" as one line of text, for comparing only.
};

} // namespace braid::agent
