#include "user_notification.h"

#include "alert_protocol.h"
#include "child_conversation.h"
#include "platform/system_root.h"
#include "util/debug_log.h"

namespace platform
{

namespace
{

/// An answer is a handful of bytes; anything of this size is none.
constexpr std::size_t kLongestAnswerBytes = std::size_t{64} * 1024;

class ChildNotification final : public UserNotification
{
public:
    explicit ChildNotification(PropertyListCodec& codec) : mCodec(codec) {}

    Response show(const NotificationRequest& request) override
    {
        const auto written =
            mCodec.serialise(alert_protocol::requestDictionary(request), PropertyListCodec::Format::Xml);
        if (const auto* error = std::get_if<PropertyListCodec::Error>(&written)) return failed(error->text);

        const auto child = converseWithChild(systemPath(kAlertProgramPath), std::get<0>(written), kLongestAnswerBytes);
        if (!child.problem.empty()) return failed(child.problem);

        const auto answer = alert_protocol::readAnswer(mCodec, child.output, request);
        if (const auto* problem = std::get_if<std::string>(&answer)) return failed(*problem);
        return {.succeeded = true, .flags = std::get<std::uint32_t>(answer)};
    }

private:
    static Response failed(const std::string& why)
    {
        roamer::DebugLog(1, "UserNotification.show: the alert was not answered: %s", why.c_str());
        return {};
    }

    PropertyListCodec& mCodec;
};

} // namespace

std::unique_ptr<UserNotification> makeUserNotification(PropertyListCodec& codec)
{
    return std::make_unique<ChildNotification>(codec);
}

} // namespace platform
