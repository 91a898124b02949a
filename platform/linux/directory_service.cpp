#include "directory_service.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <variant>

#include "platform/system_root.h"
#include "user_database.h"

namespace platform
{

namespace
{

using roamer::Array;
using roamer::Data;
using roamer::Dictionary;
using roamer::PropertyList;

constexpr const char* kNodeFolder = "/Library/Directory/Local";
constexpr off_t kLargestRecord = off_t{16} << 20; // a picture fits, a mistake does not

constexpr std::string_view kStandardPrefix = "axAttrTypeStandard:";
constexpr std::string_view kNativePrefix = "axAttrTypeNative:";

struct RecordKind {
    std::string_view type;
    std::string_view folder;
};

constexpr std::array kRecordKinds = std::to_array<RecordKind>({
    {"axRecTypeStandard:Users", "Users"},
    {"axRecTypeStandard:Groups", "Groups"},
    {"axRecTypeStandard:Computers", "Computers"},
});

DirectoryError errorOf(int code, const std::string& what)
{
    return {code, what + ": " + std::strerror(code)};
}

class Descriptor
{
public:
    explicit Descriptor(int number) : mNumber(number) {}
    ~Descriptor()
    {
        if (mNumber >= 0) close(mNumber);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const { return mNumber; }

private:
    int mNumber;
};

/// The whole regular file, or an errno value.
std::variant<Data, int> readWholeFile(const std::string& path)
{
    // Not to wait for a writer if someone put a pipe there.
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat info {
    };
    if (file.number() < 0 || fstat(file.number(), &info) != 0) return errno;
    if (!S_ISREG(info.st_mode)) return S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
    if (info.st_size > kLargestRecord) return EFBIG;

    Data bytes(static_cast<std::size_t>(info.st_size));
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const auto got = read(file.number(), bytes.data() + filled, bytes.size() - filled);
        if (got == 0) break; // it became shorter
        if (got > 0) {
            filled += static_cast<std::size_t>(got);
        } else if (errno != EINTR) {
            return errno;
        }
    }
    bytes.resize(filled);
    return bytes;
}

/// Directory values are texts or bytes; a number that someone wrote into a file as such is read as its text.
PropertyList directoryValue(PropertyList value)
{
    if (const auto* number = value.as<std::int64_t>()) return std::to_string(*number);
    return value;
}

/// Every value an array, and none of them empty.
Dictionary asAttributes(Dictionary&& content)
{
    Dictionary attributes;
    for (auto& [name, value] : content) {
        Array values;
        if (auto* array = value.as<Array>()) {
            values = std::move(*array);
        } else {
            values.push_back(std::move(value));
        }
        if (values.empty()) continue;
        for (auto& item : values)
            item = directoryValue(std::move(item));
        attributes[name] = std::move(values);
    }
    return attributes;
}

/// Whether an attribute is among those that are asked for.
bool isWanted(std::string_view name, const std::optional<std::vector<std::string>>& attributes)
{
    return !attributes || std::any_of(attributes->begin(), attributes->end(), [name](const std::string& wanted) {
        return wanted == name || wanted == "axAttributesAll" ||
               (wanted == "axAttributesStandardAll" && name.starts_with(kStandardPrefix)) ||
               (wanted == "axAttributesNativeAll" && name.starts_with(kNativePrefix));
    });
}

class LocalRecord final : public DirectoryRecord
{
public:
    LocalRecord(std::string type, std::string name, Dictionary attributes)
        : mType(std::move(type)), mName(std::move(name)), mAttributes(std::move(attributes))
    {
    }

    std::string recordType() const override { return mType; }
    std::string recordName() const override { return mName; }

    std::optional<Array> valuesForAttribute(const std::string& attribute) const override
    {
        const auto item = mAttributes.find(attribute);
        if (item == mAttributes.end()) return std::nullopt;
        return *item->second.as<Array>();
    }

    std::optional<Dictionary>
    recordDetailsForAttributes(const std::optional<std::vector<std::string>>& attributes) const override
    {
        Dictionary details;
        for (const auto& [name, values] : mAttributes) {
            if (isWanted(name, attributes)) details[name] = values;
        }
        if (details.empty()) return std::nullopt;
        return details;
    }

private:
    std::string mType;
    std::string mName;
    Dictionary mAttributes; ///< Attribute -> an array that is not empty.
};

/// Sets what the record's file left open.
void complete(Dictionary& attributes, std::string_view name, const std::string& value)
{
    const auto attribute = std::string(kStandardPrefix).append(name);
    if (!value.empty() && !attributes.contains(attribute)) attributes[attribute] = Array{value};
}

/// 0, or the errno value of a database that did not answer.
int completeFromDatabase(Dictionary& attributes, std::string_view folder, const std::string& name)
{
    if (folder == "Users") {
        const auto user = findUser(name);
        if (!user.entry) return user.error;
        complete(attributes, "UniqueID", std::to_string(user.entry->uid));
        complete(attributes, "PrimaryGroupID", std::to_string(user.entry->gid));
        complete(attributes, "RealName", user.entry->realName);
        complete(attributes, "NFSHomeDirectory", user.entry->home);
    } else if (folder == "Groups") {
        const auto group = findGroup(name);
        if (!group.entry) return group.error;
        complete(attributes, "PrimaryGroupID", std::to_string(group.entry->gid));
    }
    return 0;
}

/// A record's name is one file name and never leads out of the node's folder.
bool isRecordName(const std::string& name)
{
    return !name.empty() && !name.starts_with('.') && name.find_first_of(std::string_view("/\0", 2)) == name.npos;
}

class LocalNode final : public DirectoryNode
{
public:
    explicit LocalNode(PropertyListCodec& codec) : mCodec(codec) {}

    std::string nodeName() const override { return kLocalNodeName; }

    /// The attributes asked for do not matter: the record is read as a whole.
    std::shared_ptr<DirectoryRecord> lookUp(const std::string& recordType, const std::string& name,
                                            const std::vector<std::string>&, DirectoryError& error) override
    {
        error = {};
        const auto* const kind = std::ranges::find(kRecordKinds, recordType, &RecordKind::type);
        if (kind == kRecordKinds.end()) return nullptr;
        if (!isRecordName(name)) {
            error = {EINVAL, "\"" + name + "\" is not the name of a record"};
            return nullptr;
        }
        auto attributes = readRecord(*kind, name, error);
        if (!attributes) return nullptr;

        complete(*attributes, "RecordName", name);
        complete(*attributes, "KestrelMetaNodeLocation", kLocalNodeName);
        if (const int code = completeFromDatabase(*attributes, kind->folder, name); code != 0) {
            error = errorOf(code, "The account database did not answer for \"" + name + "\"");
            return nullptr;
        }
        return std::make_shared<LocalRecord>(recordType, name, std::move(*attributes));
    }

    std::vector<std::string> recordNames(const std::string& recordType) override
    {
        const auto* const kind = std::ranges::find(kRecordKinds, recordType, &RecordKind::type);
        if (kind == kRecordKinds.end()) return {};
        std::vector<std::string> names;
        std::error_code error;
        const auto folder = systemPath(std::string(kNodeFolder).append("/").append(kind->folder));
        for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
             entry.increment(error)) {
            const auto name = entry->path().stem().string();
            if (entry->path().extension() == ".plist" && isRecordName(name)) names.push_back(name);
        }
        std::ranges::sort(names);
        return names;
    }

private:
    /// Null with error code 0 when there is no such file.
    std::optional<Dictionary> readRecord(const RecordKind& kind, const std::string& name, DirectoryError& error)
    {
        const auto path = std::string(kNodeFolder).append("/").append(kind.folder).append("/").append(name) + ".plist";
        const auto bytes = readWholeFile(systemPath(path));
        if (const auto* code = std::get_if<int>(&bytes)) {
            if (*code != ENOENT) error = errorOf(*code, "The record \"" + path + "\" cannot be read");
            return std::nullopt;
        }
        auto content = mCodec.parse(std::get<Data>(bytes));
        if (const auto* problem = std::get_if<PropertyListCodec::Error>(&content)) {
            error = {EBADMSG, "The record \"" + path + "\" is damaged: " + problem->text};
            return std::nullopt;
        }
        auto* dictionary = std::get<PropertyList>(content).as<Dictionary>();
        if (dictionary == nullptr) {
            error = {EBADMSG, "The record \"" + path + "\" is damaged: it is no dictionary"};
            return std::nullopt;
        }
        return asAttributes(std::move(*dictionary));
    }

    PropertyListCodec& mCodec;
};

class LinuxDirectoryService final : public DirectoryService
{
public:
    explicit LinuxDirectoryService(PropertyListCodec& codec) : mCodec(codec) {}

    std::shared_ptr<DirectoryNode> openNode(std::uint32_t nodeType, DirectoryError& error) override
    {
        error = {};
        if (nodeType != kLocalNodeType) {
            error = errorOf(ENOTSUP, "There is no other directory than this computer's own");
            return nullptr;
        }
        struct stat info {
        };
        // Without the folder the node is there and empty: nobody was enrolled yet.
        int code = stat(systemPath(kNodeFolder).c_str(), &info) == 0 ? 0 : errno;
        if (code == 0 && !S_ISDIR(info.st_mode)) code = ENOTDIR;
        if (code != 0 && code != ENOENT) {
            error = errorOf(code, "The local directory \"" + std::string(kNodeFolder) + "\" cannot be opened");
            return nullptr;
        }
        return std::make_shared<LocalNode>(mCodec);
    }

    std::string loginName() override
    {
        // The process acts as other users at times; it runs for the one who started it.
        const auto user = findUser(getuid());
        return user.entry ? user.entry->name : std::to_string(getuid());
    }

private:
    PropertyListCodec& mCodec;
};

} // namespace

std::unique_ptr<DirectoryService> makeDirectoryService(PropertyListCodec& codec)
{
    return std::make_unique<LinuxDirectoryService>(codec);
}

} // namespace platform
