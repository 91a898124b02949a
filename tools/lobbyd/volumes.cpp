#include "volumes.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/system_root.h"
#include "util/utf_text.h"

namespace lobby
{

namespace
{

using platform::UniqueFd;
using roamer::Array;
using roamer::Dictionary;
using roamer::PropertyList;

// A name that no share gets: those do not begin with a dot.
constexpr const char* kRecords = ".lobby";
constexpr const char* kRecordsPath = "/Volumes/.lobby";
constexpr std::size_t kLongestName = 100;
constexpr int kMostOfAName = 1000;

std::string errorText(int error)
{
    return std::strerror(error);
}

/// A folder's name that can be typed and shown, without a dot in front. In UTF-8, as the texts are that it goes
/// through.
std::string safeName(const std::string& wish)
{
    const bool keepsLetters = wish.size() <= kLongestName && roamer::isUtf8(wish);
    std::string name;
    for (const char c : wish.substr(0, kLongestName)) {
        const bool isAscii = c >= ' ' && c != 127 && c != '/' && c != '\\';
        name += isAscii || (keepsLetters && static_cast<unsigned char>(c) >= 128) ? c : '_';
    }
    if (name.starts_with('.')) name.front() = '_';
    return name.empty() ? "share" : name;
}

/// A name that needs no quoting anywhere.
std::string logName(const std::string& name)
{
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string plain;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 128 && std::isalnum(byte) != 0) {
            plain += c;
        } else {
            plain += {'=', kDigits[byte >> 4U], kDigits[byte & 15U]};
        }
    }
    return plain + ".log";
}

/// The folder, when it is one, of this process's user, and nobody else may write there.
std::string whyUnsafe(int folder)
{
    struct stat facts {
    };
    if (::fstat(folder, &facts) != 0) return errorText(errno);
    if (facts.st_uid != ::geteuid()) return "it belongs to the user " + std::to_string(facts.st_uid);
    if ((facts.st_mode & (S_IWGRP | S_IWOTH)) != 0) return "others may write there";
    return {};
}

PropertyList holdersList(const std::vector<Holder>& holders)
{
    Array list;
    for (const auto& holder : holders) {
        list.emplace_back(
            Dictionary{{"ProcessID", std::int64_t{holder.pid}}, {"Started", holder.started}, {"Count", holder.count}});
    }
    return list;
}

std::int64_t integerOf(const Dictionary& dictionary, const char* key)
{
    const auto found = dictionary.find(key);
    return found != dictionary.end() ? found->second.integerReading().value_or(0) : 0;
}

std::string textOf(const Dictionary& dictionary, const char* key)
{
    const auto found = dictionary.find(key);
    const auto* text = found != dictionary.end() ? found->second.as<std::string>() : nullptr;
    return text != nullptr ? *text : std::string();
}

std::vector<Holder> holdersOf(const Dictionary& dictionary)
{
    std::vector<Holder> holders;
    const auto found = dictionary.find("Holders");
    const auto* list = found != dictionary.end() ? found->second.as<Array>() : nullptr;
    if (list == nullptr) return holders;
    for (const auto& entry : *list) {
        const auto* holder = entry.as<Dictionary>();
        if (holder == nullptr) continue;
        holders.push_back({.pid = static_cast<pid_t>(integerOf(*holder, "ProcessID")),
                           .started = integerOf(*holder, "Started"),
                           .count = integerOf(*holder, "Count")});
    }
    return holders;
}

} // namespace

std::optional<std::int64_t> processStart(pid_t pid)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string text{std::istreambuf_iterator<char>(file), {}};
    const auto nameEnd = text.rfind(')');
    if (nameEnd == std::string::npos) return std::nullopt;
    std::istringstream fields(text.substr(nameEnd + 1));
    constexpr int kFieldsBefore = 19; // of those behind the name
    std::string field;
    for (int i = 0; i < kFieldsBefore; ++i)
        fields >> field;
    std::int64_t started = 0;
    if (!(fields >> started)) return std::nullopt;
    return started;
}

std::string Volumes::open()
{
    const std::string path = platform::systemPath(kPath);
    std::error_code ignored;
    // Through a link of the package's, whose goal lies in a folder that is emptied at each start of the system.
    std::filesystem::create_directories(std::filesystem::weakly_canonical(path, ignored), ignored);
    char* real = ::realpath(path.c_str(), nullptr);
    if (real == nullptr) return path + ": " + errorText(errno);
    mRealPath = real;
    std::free(real);
    mFolder = UniqueFd(::open(mRealPath.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!mFolder.isOpen()) return mRealPath + ": " + errorText(errno);
    if (const auto why = whyUnsafe(mFolder.get()); !why.empty()) return mRealPath + ": " + why;

    if (::mkdirat(mFolder.get(), kRecords, 0711) != 0 && errno != EEXIST) return mRealPath + ": " + errorText(errno);
    const auto records = openRecords();
    if (!records.isOpen()) return mRealPath + "/" + kRecords + ": " + errorText(errno);
    if (const auto why = whyUnsafe(records.get()); !why.empty()) return mRealPath + "/" + kRecords + ": " + why;
    return {};
}

std::variant<std::string, int> Volumes::makeMountPoint(const std::string& wish, uid_t owner)
{
    const std::string base = safeName(wish);
    for (int number = 0; number < kMostOfAName; ++number) {
        const auto name = number == 0 ? base : base + "-" + std::to_string(number);
        // Fails on everything that exists, links too.
        if (::mkdirat(mFolder.get(), name.c_str(), 0700) != 0) {
            if (errno == EEXIST) continue;
            return errno;
        }
        UniqueFd folder(::openat(mFolder.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!folder.isOpen() || (owner != ::geteuid() && ::fchown(folder.get(), owner, static_cast<gid_t>(-1)) != 0)) {
            const int error = errno;
            removeMountPoint(name);
            return error;
        }
        mBeneath.emplace_back(name, std::move(folder));
        return name;
    }
    return EEXIST;
}

void Volumes::closeBeneath(const std::string& name)
{
    const auto found = std::ranges::find(mBeneath, name, &std::pair<std::string, UniqueFd>::first);
    if (found == mBeneath.end()) return;
    ::fchmod(found->second.get(), 0);
    if (::geteuid() == 0) ::fchown(found->second.get(), 0, 0);
    mBeneath.erase(found);
}

int Volumes::removeMountPoint(const std::string& name)
{
    std::erase_if(mBeneath, [&](const auto& entry) { return entry.first == name; });
    return ::unlinkat(mFolder.get(), name.c_str(), AT_REMOVEDIR) == 0 ? 0 : errno;
}

bool Volumes::remember(const VolumeRecord& record)
{
    Dictionary dictionary{{"URL", record.url},
                          {"Key", record.key},
                          {"UserID", static_cast<std::int64_t>(record.user)},
                          {"Holders", holdersList(record.holders)}};
    if (record.entry) {
        dictionary["Device"] = record.entry->device;
        dictionary["FileSystem"] = record.entry->fileSystem;
    }
    return mStore.writeDomain(dictionary, kRecordsPath, record.name);
}

void Volumes::forget(const std::string& name)
{
    const auto records = openRecords();
    if (!records.isOpen()) return;
    ::unlinkat(records.get(), (name + ".plist").c_str(), 0);
    ::unlinkat(records.get(), logName(name).c_str(), 0);
}

UniqueFd Volumes::openRecords() const
{
    return UniqueFd(::openat(mFolder.get(), kRecords, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

std::string Volumes::makeLog(const std::string& name, uid_t owner, gid_t group)
{
    const auto path = mRealPath + "/" + kRecords + "/" + logName(name);
    if (path.find_first_of(" ,\\") != std::string::npos) return {};
    const auto records = openRecords();
    ::unlinkat(records.get(), logName(name).c_str(), 0);
    const UniqueFd log(::openat(records.get(), logName(name).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!log.isOpen() || (owner != ::geteuid() && ::fchown(log.get(), owner, group) != 0)) return {};
    return path;
}

std::string Volumes::readLog(const std::string& name) const
{
    const auto records = openRecords();
    const UniqueFd log(::openat(records.get(), logName(name).c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    std::array<char, 4096> text{};
    const auto length = log.isOpen() ? ::read(log.get(), text.data(), text.size()) : -1;
    return length > 0 ? std::string(text.data(), static_cast<std::size_t>(length)) : std::string();
}

std::vector<VolumeRecord> Volumes::remembered() const
{
    std::vector<VolumeRecord> records;
    std::error_code error;
    for (const auto& file : std::filesystem::directory_iterator(mRealPath + "/" + kRecords, error)) {
        if (file.path().extension() != ".plist") continue;
        const auto name = file.path().stem().string();
        const auto bytes = mStore.readFile(std::string(kRecordsPath) + "/" + name + ".plist");
        if (!bytes) continue;
        const auto parsed = mCodec.parse(*bytes);
        const auto* list = std::get_if<PropertyList>(&parsed);
        const auto* dictionary = list != nullptr ? list->as<Dictionary>() : nullptr;
        if (dictionary == nullptr) continue;
        auto& record = records.emplace_back();
        record.name = name;
        record.url = textOf(*dictionary, "URL");
        record.key = textOf(*dictionary, "Key");
        record.user = static_cast<uid_t>(integerOf(*dictionary, "UserID"));
        record.holders = holdersOf(*dictionary);
        if (dictionary->contains("Device")) {
            record.entry = MountEntry{.device = textOf(*dictionary, "Device"),
                                      .mountPoint = realPath(name),
                                      .fileSystem = textOf(*dictionary, "FileSystem")};
        }
    }
    return records;
}

} // namespace lobby
