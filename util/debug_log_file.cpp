#include "debug_log_file.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <limits>
#include <memory>
#include <string_view>
#include <sys/stat.h>

#include "format_text.h"
#include "platform/system_root.h"
#include "values/property_list.h"

namespace roamer
{

std::int32_t gDebugLevel = kDebugLevelUnread;

namespace
{

namespace fs = std::filesystem;

constexpr std::uintmax_t kRollThresholdBytes = 2'072'576; ///< A file of this size is not rolled yet.
constexpr int kRollSlots = 10;
constexpr long kMaxLevelFileBytes = 1 << 20;
constexpr auto kLogDirectoryMode = static_cast<fs::perms>(0755);
constexpr auto kLogFileMode = static_cast<fs::perms>(0662);
constexpr auto kArchiveMode = static_cast<fs::perms>(0640);
constexpr unsigned kLogOwner = 0;
constexpr unsigned kLogGroup = 80; ///< The administrators.

struct FileClose {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileClose>;

/// Safe as one word of a shell command.
std::string shellWord(const std::string& text)
{
    const auto isPlain = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               std::string_view("/._-").find(c) != std::string_view::npos;
    };
    if (!text.empty() && text.front() != '-' && std::all_of(text.begin(), text.end(), isPlain)) return text;
    std::string word = "'";
    for (const char character : text)
        word += character == '\'' ? std::string("'\\''") : std::string(1, character);
    return word + "'";
}

void setMode(const std::string& path, fs::perms mode)
{
    std::error_code ignored; // the file is another's, or its file system has no modes
    fs::permissions(path, mode, ignored);
}

bool exists(const std::string& path)
{
    std::error_code ignored;
    return fs::exists(fs::symlink_status(path, ignored));
}

/// With missing parents.
bool makeLogDirectory(const std::string& path)
{
    std::error_code error;
    if (fs::is_directory(path, error)) return true;
    // Another process that starts at the same time may have been quicker.
    if (fs::create_directories(path, error)) setMode(path, kLogDirectoryMode);
    return !error;
}

bool isMaskMode(std::int32_t debugLevel)
{
    return (debugLevel & 0xFF) == 0;
}

/// Whether a message of the level passes.
bool passes(std::int32_t debugLevel, int level)
{
    if (debugLevel == kDebugLevelOff) return false;
    if (debugLevel == kDebugLevelAll) return true;
    if (!isMaskMode(debugLevel)) return debugLevel >= level;
    return level >= 1 && level <= 7 && (static_cast<std::uint32_t>(debugLevel) >> (7 + level) & 1U) != 0;
}

} // namespace

FileLogTarget::FileLogTarget(Program program, platform::LogHost& host, platform::SystemLog& systemLog,
                             platform::PropertyListCodec& codec)
    : mProgram(std::move(program)), mHost(host), mSystemLog(systemLog), mCodec(codec)
{
    gDebugLevel = kDebugLevelUnread;
}

FileLogTarget::~FileLogTarget()
{
    if (mStream != nullptr && mStream != stdout) std::fclose(mStream);
}

bool FileLogTarget::wants(int level)
{
    return passes(ReadDebugLevel(), level);
}

void FileLogTarget::write(int level, const std::string& message)
{
    // At level 1 every line looks alike; with more in the log, what matters stands out.
    const char* mark = ": ";
    if (level == 0 && gDebugLevel != 1) mark = ":***************** ";
    if (level == 1 && gDebugLevel != 1) mark = ":::::::::::::::::: ";
    std::FILE* stream = DebugLogFile();
    std::fprintf(stream, "%s[%d]%s", DebugTimeString().c_str(), mHost.processId(), mark);
    std::fwrite(message.data(), 1, message.size(), stream);
    if (!message.ends_with('\n')) std::fputc('\n', stream);
}

std::int32_t FileLogTarget::ReadDebugLevel()
{
    if (gDebugLevel != kDebugLevelUnread) return gDebugLevel;
    gDebugLevel = kDebugLevelOff;
    const auto bytes = readLevelFile();
    if (!bytes) return gDebugLevel;
    const auto parsed = mCodec.parse(*bytes);
    if (const auto* error = std::get_if<platform::PropertyListCodec::Error>(&parsed)) {
        mSystemLog.error("GetPListFromXMLFile: " + error->text);
        return gDebugLevel;
    }
    const auto* dictionary = std::get<PropertyList>(parsed).as<Dictionary>();
    if (dictionary == nullptr) return gDebugLevel;
    const auto item = dictionary->find("debugOutput");
    if (item == dictionary->end() || item->second.as<std::string>() == nullptr) {
        std::fputs("******* ReadDebugLevel -bad key\n", DebugLogFile());
        return gDebugLevel;
    }
    using Limits = std::numeric_limits<std::int32_t>;
    const auto level = item->second.integerReading().value_or(0);
    gDebugLevel = static_cast<std::int32_t>(std::clamp<std::int64_t>(level, Limits::min(), Limits::max()));
    std::fprintf(DebugLogFile(), "ReadDebugLevel gDebugLevel = %d\n", gDebugLevel);
    return gDebugLevel;
}

/// Nothing, with a line in the system log unless the file is simply not there, when it cannot be read.
std::optional<std::vector<std::byte>> FileLogTarget::readLevelFile()
{
    const File file(std::fopen(platform::systemPath(kDebugLevelFile).c_str(), "rbe"));
    if (!file) {
        if (errno == EACCES || errno == EPERM) {
            mSystemLog.error(
                formatText("GetPListFromXMLFile: Attempt to open \"%s\" failed.  Permissions error.", kDebugLevelFile));
        }
        return std::nullopt;
    }
    std::fseek(file.get(), 0, SEEK_END);
    const long size = std::ftell(file.get());
    std::rewind(file.get());
    if (size > kMaxLevelFileBytes) { // a folder, or nothing that holds one number
        mSystemLog.error(formatText("GetPListFromXMLFile: malloc(%ld) failed.", size));
        return std::nullopt;
    }
    std::vector<std::byte> bytes(static_cast<std::size_t>(std::max(size, 0L)));
    if (size < 0 || std::fread(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) {
        mSystemLog.error(
            formatText("GetPListFromXMLFile: unable to read %ld bytes from file \"%s\".", size, kDebugLevelFile));
        return std::nullopt;
    }
    return bytes;
}

std::FILE* FileLogTarget::DebugLogFile()
{
    if (mStream == nullptr) {
        mStream = openLogFile();
        if (mStream == nullptr) mStream = stdout;
    }
    return mStream;
}

/// Null when there can be no file.
std::FILE* FileLogTarget::openLogFile()
{
    if (!mHost.effectiveUserHome()) {
        mSystemLog.error("getpwuid() result invalid.\n");
        return nullptr;
    }
    if (!makeLogDirectory(platform::systemPath(kLogDirectory))) return nullptr;
    const std::string path = platform::systemPath(kLogFile);
    rollIfLarge(path);
    // Everybody may write to the folder, so a link in it may lead anywhere. Child processes have no business in the
    // log.
    const int file = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    std::FILE* stream = file >= 0 ? fdopen(file, "a") : nullptr;
    if (stream == nullptr) return nullptr;
    fchmod(file, static_cast<mode_t>(kLogFileMode)); // as far as the file is ours
    mHost.changeOwner(path, kLogOwner, kLogGroup);
    std::setvbuf(stream, nullptr, _IOLBF, BUFSIZ);
    writeBanner(stream);
    return stream;
}

/// Moves a large file away into the first free archive. Archives are never overwritten: when all ten are there, the
/// file goes on growing.
void FileLogTarget::rollIfLarge(const std::string& path)
{
    std::error_code error;
    const auto size = fs::file_size(path, error);
    if (error || size <= kRollThresholdBytes) return;
    for (int slot = 0; slot < kRollSlots; ++slot) {
        const std::string archive = formatText("%s.%d", path.c_str(), slot);
        const std::string compressed = archive + ".gz";
        if (exists(archive) || exists(compressed)) continue;
        fs::rename(path, archive, error);
        if (error) break;
        mHost.runInShell("gzip -fq " + shellWord(archive));
        setMode(compressed, kArchiveMode);
        return;
    }
    mSystemLog.error("Couldn't roll logfile; continuing to append to existing VEXDebug logfile.\n");
}

void FileLogTarget::writeBanner(std::FILE* stream)
{
    if (!mProgram.name || !mProgram.version) {
        std::fprintf(stream, "%s\n", std::string(100, '=').c_str());
        return;
    }
    const std::string program = *mProgram.name + "-" + *mProgram.version;
    std::fprintf(stream, "============================= %s (%s) (pid %d) starting %s ======================\n",
                 program.c_str(), mHost.systemBuildVersion().c_str(), mHost.processId(), DebugTimeString().c_str());
}

std::string FileLogTarget::DebugTimeString()
{
    constexpr const char* kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
    const std::tm now = mHost.localTime();
    return formatText("%.3s%3d %.2d:%.2d:%.2d", kMonths + std::ptrdiff_t{3} * now.tm_mon, now.tm_mday, now.tm_hour,
                      now.tm_min, now.tm_sec);
}

} // namespace roamer
