#pragma once

#include <functional>
#include <vector>

#include "platform/user_notification.h"

namespace fakes
{

/// Answers every alert with `response` and remembers what was asked.
class FakeUserNotification final : public platform::UserNotification
{
public:
    Response response{.succeeded = true, .flags = 0};
    std::vector<platform::NotificationRequest> requests;
    std::function<void()> onShow; ///< Runs while the alert is up.

    Response show(const platform::NotificationRequest& request) override
    {
        requests.push_back(request);
        if (onShow) onShow();
        return response;
    }
};

} // namespace fakes
