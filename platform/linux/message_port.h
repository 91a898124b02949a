#pragma once

#include <memory>

#include "platform/message_port.h"

namespace platform
{

std::unique_ptr<MessagePort> makeMessagePort();

/// A request that takes a descriptor along, which stays the caller's too. Otherwise as MessagePort::request.
std::optional<MessagePort::Reply> requestWithDescriptor(const std::string& portName, std::int32_t messageId,
                                                        const std::vector<std::byte>& body, int descriptor,
                                                        std::chrono::seconds replyTimeout);

} // namespace platform
