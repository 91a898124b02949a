#include "set_aside.h"

#include <cstring>
#include <span>
#include <variant>
#include <vector>

#include "durable_file.h"
#include "util/debug_log.h"

namespace braid::agent
{

namespace
{

using roamer::Array;
using roamer::Data;
using roamer::Dictionary;

constexpr std::size_t kLimitBytes = std::size_t{16} * 1024 * 1024;
constexpr const char* kPath = "path";
constexpr const char* kIsError = "isError";
constexpr const char* kFacts = "facts";

std::string factsOf(const Version& version)
{
    return std::to_string(static_cast<int>(version.kind)) + " " + std::to_string(version.size) + " " +
           std::to_string(version.mtime);
}

std::string factsOf(const Conflict& conflict)
{
    return conflict.kind + ": " + factsOf(conflict.local) + ", " + factsOf(conflict.network);
}

Data bytesOf(const std::string& text)
{
    const auto* first = reinterpret_cast<const std::byte*>(text.data());
    return Data(first, first + text.size());
}

std::string textOf(const Data& bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

const Data* dataOf(const Dictionary& entry, const char* key)
{
    const auto found = entry.find(key);
    return found != entry.end() ? found->second.as<Data>() : nullptr;
}

} // namespace

SetAside::SetAside(platform::PropertyListCodec& codec, const std::filesystem::path& localHome)
    : mCodec(codec), mFile(localHome / ".Braid" / "set_aside.plist")
{
    load();
}

void SetAside::load()
{
    const auto content = readFile(mFile, kLimitBytes);
    const auto* bytes = std::get_if<std::vector<std::byte>>(&content);
    if (bytes == nullptr) return;
    // What cannot be read is asked about once more: that harms nobody.
    const auto parsed = mCodec.parse(*bytes);
    const auto* list = std::get_if<roamer::PropertyList>(&parsed);
    const auto* entries = list != nullptr ? list->as<Array>() : nullptr;
    if (entries == nullptr) return roamer::DebugLog(0, "matters: unreadable path=\"%s\"", mFile.c_str());
    for (const auto& entry : *entries) {
        const auto* dictionary = entry.as<Dictionary>();
        if (dictionary == nullptr) continue;
        const auto* path = dataOf(*dictionary, kPath);
        const auto* facts = dataOf(*dictionary, kFacts);
        if (path == nullptr || facts == nullptr) continue;
        mFacts[{textOf(*path), dictionary->contains(kIsError)}] = textOf(*facts);
    }
}

std::optional<std::string> SetAside::save() const
{
    Array entries;
    for (const auto& [matter, facts] : mFacts) {
        Dictionary entry{{kPath, bytesOf(matter.path)}, {kFacts, bytesOf(facts)}};
        if (matter.isError) entry[kIsError] = true;
        entries.emplace_back(std::move(entry));
    }
    const auto bytes = mCodec.serialise(entries, platform::PropertyListCodec::Format::Binary);
    if (const auto* error = std::get_if<platform::PropertyListCodec::Error>(&bytes)) return error->text;
    return replaceFileOfHome(mFile, std::get<std::vector<std::byte>>(bytes));
}

bool SetAside::contains(const Conflict& conflict) const
{
    const auto found = mFacts.find({conflict.path, false});
    return found != mFacts.end() && found->second == factsOf(conflict);
}

bool SetAside::contains(const ItemError& error) const
{
    const auto found = mFacts.find({error.path, true});
    return found != mFacts.end() && found->second == error.message;
}

std::optional<std::string> SetAside::change(const OpenMatters& known, const std::set<Matter>& matters, bool aside)
{
    std::map<Matter, std::string> facts;
    const auto take = [&](const Matter& matter, bool isAside, const std::string& now) {
        if (matters.contains(matter) ? aside : isAside) facts.emplace(matter, now);
    };
    for (const auto& conflict : known.conflicts) {
        take({conflict.path, false}, contains(conflict), factsOf(conflict));
    }
    for (const auto& error : known.errors) {
        take({error.path, true}, contains(error), error.message);
    }
    if (facts == mFacts) return std::nullopt;
    mFacts = std::move(facts);
    return save();
}

std::optional<std::string> SetAside::clear()
{
    mFacts.clear();
    std::error_code error;
    std::filesystem::remove(mFile, error);
    if (!error) return std::nullopt;
    return "remove \"" + mFile.string() + "\": " + error.message();
}

} // namespace braid::agent
