#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "debug_log.h"
#include "platform/log_host.h"
#include "platform/property_list_codec.h"
#include "platform/system_log.h"

namespace roamer
{

inline constexpr const char* kLogDirectory = "/Library/Logs/Custodia";
inline constexpr const char* kLogFile = "/Library/Logs/Custodia/Custodia.log";
inline constexpr const char* kDebugLevelFile = "/Library/Preferences/com.kestrel.VEXDebug.plist";

// Special values of gDebugLevel. Every other one is a threshold or, when its low eight bits are zero, a mask in which
// the bits 0x100 to 0x4000 stand for the levels 1 to 7.
inline constexpr std::int32_t kDebugLevelUnread = -1;
inline constexpr std::int32_t kDebugLevelAll = -2;
inline constexpr std::int32_t kDebugLevelOff = -3;

/// How much this process logs.
extern std::int32_t gDebugLevel;

/// The debug log of a process: a text file for administrators, off unless the level file turns it on.
///
/// The level is read at the first message. The file is opened, and rolled into a numbered gzip archive when it has
/// grown large, at the first message that passes; when it cannot be opened the lines go to standard output. One object
/// per process, installed with setLogTarget; DebugLog's lock makes it safe on any thread.
class FileLogTarget final : public LogTarget
{
public:
    /// What the line at the start of a session tells about the program.
    struct Program {
        std::optional<std::string> name;
        std::optional<std::string> version;
    };

    /// Borrows the services; sets gDebugLevel to unread.
    FileLogTarget(Program program, platform::LogHost& host, platform::SystemLog& systemLog,
                  platform::PropertyListCodec& codec);
    ~FileLogTarget() override;
    FileLogTarget(const FileLogTarget&) = delete;
    FileLogTarget& operator=(const FileLogTarget&) = delete;

    bool wants(int level) override;
    void write(int level, const std::string& message) override;

    /// gDebugLevel, read from the level file the first time.
    std::int32_t ReadDebugLevel();

    /// The log's stream, opened the first time; never null.
    std::FILE* DebugLogFile();

    /// The local time, for example "Nov 16 17:10:15" or "Nov  6 07:03:09".
    std::string DebugTimeString();

private:
    std::optional<std::vector<std::byte>> readLevelFile();
    std::FILE* openLogFile();
    void rollIfLarge(const std::string& path);
    void writeBanner(std::FILE* stream);

    Program mProgram;
    platform::LogHost& mHost;
    platform::SystemLog& mSystemLog;
    platform::PropertyListCodec& mCodec;
    std::FILE* mStream = nullptr;
};

} // namespace roamer
