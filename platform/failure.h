#pragma once

#include <exception>
#include <string>
#include <utility>

namespace platform
{

/// A call that its contract allows to fail by raising. Guards catch exactly this class, log both texts and turn it into
/// a status; everything else that is thrown is a bug and passes through.
class Failure : public std::exception
{
public:
    Failure(std::string name, std::string reason) : mName(std::move(name)), mReason(std::move(reason)) {}

    const std::string& name() const { return mName; }     ///< A stable identifier, for example "EngineUnreachable".
    const std::string& reason() const { return mReason; } ///< In words.
    const char* what() const noexcept override { return mReason.c_str(); }

private:
    std::string mName;
    std::string mReason;
};

/// A missing or impossible argument, for example a format text that is not there.
inline constexpr const char* kInvalidArgument = "InvalidArgument";

} // namespace platform
