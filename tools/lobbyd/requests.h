#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>

#include <QSocketNotifier>

#include "platform/linux/port_server.h"
#include "platform/property_list_codec.h"
#include "secret.h"
#include "shares.h"
#include "values/property_list.h"

namespace lobby
{

/// Answers the requests that arrive at the port. Whatever the bytes are, the answer is a dictionary with "Error": 0, or
/// an errno value. Main thread; needs an event loop.
class Requests
{
public:
    /// Borrows both.
    Requests(platform::PropertyListCodec& codec, Shares& shares) : mCodec(codec), mShares(shares) {}

    void handle(platform::PortMessage message, platform::PortServer::Reply reply);

private:
    using Dictionary = roamer::Dictionary;
    using Reply = std::function<void(const Dictionary&)>;
    struct Entry;

    /// Somebody's end of a pipe: a password is read from it up to a NUL, and then it is watched for its closing.
    struct Conversation {
        platform::PortCaller caller;
        Dictionary request;
        Reply reply;
        platform::UniqueFd descriptor;
        std::unique_ptr<QSocketNotifier> notifier;
        Secret password;
        bool isRead = false;
        Shares::Ticket ticket = 0;
        bool isAnswered = false;
    };

    static const Entry* findEntry(std::int32_t id);

    void mountWithLogin(const platform::PortCaller& caller, const Dictionary& request, const Reply& reply);
    void mountWithPassword(Conversation& conversation);
    void isHeld(const platform::PortCaller& caller, const Dictionary& request, const Reply& reply);
    void giveUp(const platform::PortCaller& caller, const Dictionary& request, const Reply& reply);
    void hold(const platform::PortCaller& caller, const Dictionary& request, const Reply& reply);
    void keepPassword(Conversation& conversation);
    void dropPassword(const platform::PortCaller& caller, const Dictionary& request, const Reply& reply);

    void converse(const Entry& entry, platform::PortMessage message, Dictionary request, Reply reply);
    void hear(Conversation& conversation, const Entry& entry);
    void answer(Conversation& conversation, const Dictionary& reply);
    std::vector<std::byte> written(const Dictionary& reply) const;

    platform::PropertyListCodec& mCodec;
    Shares& mShares;
    std::list<Conversation> mConversations;
};

} // namespace lobby
