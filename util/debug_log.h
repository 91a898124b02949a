#pragma once

#include <string>

namespace roamer
{

/// Where log lines go. One per process; tests install a recorder.
class LogTarget
{
public:
    virtual ~LogTarget() = default;
    /// Whether a message of this level would be written at all.
    virtual bool wants(int level) = 0;
    /// One whole message, with or without a newline at its end.
    virtual void write(int level, const std::string& message) = 0;
};

/// Installs the target of every later DebugLog and returns the one before. Null: messages are dropped. Borrowed.
LogTarget* setLogTarget(LogTarget* target);

/// Writes one line. Levels: 0 errors, 1 notable events, 2 tracing. Never fails its caller; safe on any thread.
void DebugLog(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));

/// The text of an optional string in a log line.
inline const char* logText(const std::string* text)
{
    return text != nullptr ? text->c_str() : "(null)";
}

template <typename Optional>
const char* logText(const Optional& text)
{
    return text ? text->c_str() : "(null)";
}

inline const char* logText(const std::string& text)
{
    return text.c_str();
}

} // namespace roamer
