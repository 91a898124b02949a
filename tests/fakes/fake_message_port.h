#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/message_port.h"

namespace fakes
{

/// A port behind which `answer` sits; without one nobody owns the port.
class FakeMessagePort final : public platform::MessagePort
{
public:
    struct Request {
        std::string portName;
        std::int32_t messageId = 0;
        std::vector<std::byte> body;
        std::chrono::seconds replyTimeout{};
    };
    std::function<Reply(const Request&)> answer;
    std::vector<Request> requests;

    std::optional<Reply> request(const std::string& portName, std::int32_t messageId,
                                 const std::vector<std::byte>& body, std::chrono::seconds,
                                 std::chrono::seconds replyTimeout) override
    {
        if (!answer) return std::nullopt;
        requests.push_back({portName, messageId, body, replyTimeout});
        return answer(requests.back());
    }
};

} // namespace fakes
