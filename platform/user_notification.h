#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace platform
{

/// An alert to one person. Null texts are left out.
struct NotificationRequest {
    std::optional<std::string> header;
    std::optional<std::string> message;
    std::optional<std::string> defaultButton; ///< Null: the service's own word for it.
    std::optional<std::string> alternateButton;
    std::optional<std::string> otherButton;
    std::optional<std::string> checkBox;
    std::optional<std::string> iconPath; ///< A product path.
    std::uint32_t flags = 2;             ///< 2: caution; + 0x100: the checkbox starts checked.
};

inline constexpr std::uint32_t kNotificationCaution = 2;
inline constexpr std::uint32_t kNotificationCheckBoxChecked = 0x100;
inline constexpr std::uint32_t kNotificationCancelled = 3;

class UserNotification
{
public:
    struct Response {
        bool succeeded = false; ///< Whether the call itself worked.
        /// Low two bits: 0 default, 1 alternate, 2 other, 3 cancelled; bit 8: the checkbox was checked. A call that
        /// failed leaves 3.
        std::uint32_t flags = kNotificationCancelled;
    };
    virtual ~UserNotification() = default;
    /// Blocks, without a time limit, until the person has answered or the alert cannot be shown.
    virtual Response show(const NotificationRequest& request) = 0;
};

} // namespace platform
