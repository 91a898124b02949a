#include "requests.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QTimer>

#include "login_passwords.h"
#include "platform/linux/lobby_protocol.h"
#include "util/debug_log.h"
#include "util/lobby_notify.h"

namespace lobby
{

using platform::PortCaller;
using roamer::Dictionary;

namespace
{

// A request is a URL, a path and a number.
constexpr std::size_t kLargestBody = std::size_t{64} * 1024;
constexpr std::size_t kMostConversations = 256;

Dictionary errorReply(int error)
{
    return {{roamer::kLobbyErrorKey, error}};
}

Dictionary mountReply(int error, const std::string& mountAt)
{
    auto reply = errorReply(error);
    if (error == 0) reply[roamer::kLobbyMountAtKey] = mountAt;
    return reply;
}

const std::string* textOf(const Dictionary& request, const char* key)
{
    const auto found = request.find(key);
    return found != request.end() ? found->second.as<std::string>() : nullptr;
}

std::optional<uid_t> userOf(const Dictionary& request)
{
    const auto found = request.find(platform::kLobbyUserIDKey);
    const auto* number = found != request.end() ? found->second.as<std::int64_t>() : nullptr;
    if (number == nullptr || *number < 0 || *number >= std::numeric_limits<uid_t>::max()) return std::nullopt;
    return static_cast<uid_t>(*number);
}

/// Whether the caller may hand over and take back other people's passwords: the user that this process is, who is root
/// where it serves all sessions.
bool isMaster(const PortCaller& caller)
{
    return caller.uid == ::geteuid();
}

Caller shareCaller(const PortCaller& caller)
{
    return {.uid = caller.uid, .pid = caller.pid, .process = caller.process};
}

} // namespace

/// What answers a message: at once, or after a talk over a descriptor.
struct Requests::Entry {
    std::int32_t id;
    void (Requests::*plain)(const PortCaller&, const Dictionary&, const Reply&);
    void (Requests::*withDescriptor)(Conversation&);
};

const Requests::Entry* Requests::findEntry(std::int32_t id)
{
    static constexpr std::array kEntries = std::to_array<Entry>({
        {roamer::kLobbyMountMessage, &Requests::mountWithLogin, nullptr},
        {platform::kLobbyIsHeldMessage, &Requests::isHeld, nullptr},
        {platform::kLobbyGiveUpMessage, &Requests::giveUp, nullptr},
        {platform::kLobbyHoldMessage, &Requests::hold, nullptr},
        {platform::kLobbyMountWithPasswordMessage, nullptr, &Requests::mountWithPassword},
        {platform::kLobbyKeepPasswordMessage, nullptr, &Requests::keepPassword},
        {platform::kLobbyDropPasswordMessage, &Requests::dropPassword, nullptr},
    });
    const auto* found = std::ranges::find(kEntries, id, &Entry::id);
    return found != kEntries.end() ? found : nullptr;
}

void Requests::handle(platform::PortMessage message, platform::PortServer::Reply reply)
{
    const Reply send = [this, reply = std::move(reply)](const Dictionary& answer) { reply(written(answer)); };
    if (message.body.size() > kLargestBody) return send(errorReply(EMSGSIZE));
    const auto parsed = mCodec.parse(message.body);
    const auto* list = std::get_if<roamer::PropertyList>(&parsed);
    const auto* request = list != nullptr ? list->as<Dictionary>() : nullptr;
    if (request == nullptr) return send(errorReply(EINVAL));
    const auto* entry = findEntry(message.id);
    if (entry == nullptr) return send(errorReply(ENOSYS));
    if (entry->plain != nullptr) return (this->*entry->plain)(message.caller, *request, send);
    if (!message.descriptor.isOpen()) return send(errorReply(EBADF));
    converse(*entry, std::move(message), *request, send);
}

std::vector<std::byte> Requests::written(const Dictionary& reply) const
{
    constexpr auto kForm = platform::PropertyListCodec::Format::Xml;
    auto bytes = mCodec.serialise(reply, kForm);
    // The text form cannot hold a path that is not UTF-8.
    if (std::holds_alternative<platform::PropertyListCodec::Error>(bytes)) {
        bytes = mCodec.serialise(errorReply(EILSEQ), kForm);
    }
    return std::get<std::vector<std::byte>>(bytes);
}

void Requests::mountWithLogin(const PortCaller& caller, const Dictionary& request, const Reply& reply)
{
    const auto* url = textOf(request, roamer::kLobbyMountURLKey);
    if (url == nullptr) return reply(errorReply(EINVAL));
    // A wished-for place and the flags are read by nobody: where and how a share is mounted is not the caller's to say.
    mShares.mount(shareCaller(caller), {.url = *url, .userName = {}, .password = {}, .hasTimeLimit = true},
                  [reply](int error, const std::string& mountAt) { reply(mountReply(error, mountAt)); });
}

void Requests::isHeld(const PortCaller& caller, const Dictionary& request, const Reply& reply)
{
    const auto* path = textOf(request, roamer::kLobbyMountAtKey);
    if (path == nullptr) return reply(errorReply(EINVAL));
    reply(errorReply(mShares.isHeld(shareCaller(caller), *path) ? 0 : ENOENT));
}

void Requests::giveUp(const PortCaller& caller, const Dictionary& request, const Reply& reply)
{
    const auto* path = textOf(request, roamer::kLobbyMountAtKey);
    if (path == nullptr) return reply(errorReply(EINVAL));
    reply(errorReply(mShares.giveUp(shareCaller(caller), *path) ? 0 : ENOENT));
}

void Requests::hold(const PortCaller& caller, const Dictionary& request, const Reply& reply)
{
    const auto* path = textOf(request, roamer::kLobbyMountAtKey);
    if (path == nullptr) return reply(errorReply(EINVAL));
    const auto share = mShares.hold(shareCaller(caller), *path);
    reply(mountReply(share ? 0 : ENOENT, share.value_or("")));
}

void Requests::dropPassword(const PortCaller& caller, const Dictionary& request, const Reply& reply)
{
    const auto user = userOf(request);
    if (!user) return reply(errorReply(EINVAL));
    reply(errorReply(isMaster(caller) ? LoginPasswords::drop(*user) : EPERM));
}

void Requests::converse(const Entry& entry, platform::PortMessage message, Dictionary request, Reply reply)
{
    if (mConversations.size() >= kMostConversations) return reply(errorReply(EAGAIN));
    auto& conversation = mConversations.emplace_back();
    conversation.caller = std::move(message.caller);
    conversation.request = std::move(request);
    conversation.reply = std::move(reply);
    conversation.descriptor = std::move(message.descriptor);
    const int descriptor = conversation.descriptor.get();
    ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    conversation.notifier = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
    QObject::connect(conversation.notifier.get(), &QSocketNotifier::activated, conversation.notifier.get(),
                     [this, &conversation, &entry] { hear(conversation, entry); });
}

void Requests::hear(Conversation& conversation, const Entry& entry)
{
    std::array<char, 512> buffer{};
    const auto got = ::read(conversation.descriptor.get(), buffer.data(), buffer.size());
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (got <= 0) {
        conversation.notifier->setEnabled(false);                                 // the end would be told of for ever
        if (conversation.ticket != 0) return mShares.cancel(conversation.ticket); // which answers
        return answer(conversation, errorReply(ECANCELED));
    }
    if (conversation.isRead) return; // nothing more is expected
    const std::string_view text(buffer.data(), static_cast<std::size_t>(got));
    const auto end = text.find('\0');
    const bool fits = conversation.password.append(text.substr(0, end));
    ::explicit_bzero(buffer.data(), buffer.size());
    if (!fits || conversation.password.view().size() > platform::kLobbyLongestPassword) {
        return answer(conversation, errorReply(E2BIG));
    }
    if (end == std::string_view::npos) return;
    conversation.isRead = true;
    (this->*entry.withDescriptor)(conversation);
}

void Requests::mountWithPassword(Conversation& conversation)
{
    const auto* url = textOf(conversation.request, roamer::kLobbyMountURLKey);
    if (url == nullptr) return answer(conversation, errorReply(EINVAL));
    const auto* userName = textOf(conversation.request, platform::kLobbyUserNameKey);
    MountWish wish{
        .url = *url, .userName = userName != nullptr ? *userName : "", .password = {}, .hasTimeLimit = false};
    if (!conversation.password.isEmpty()) wish.password = std::move(conversation.password);
    const auto ticket = mShares.mount(shareCaller(conversation.caller), std::move(wish),
                                      [this, &conversation](int error, const std::string& mountAt) {
                                          answer(conversation, mountReply(error, mountAt));
                                      });
    // Answered at once, it waits for its end only.
    conversation.ticket = ticket;
}

void Requests::keepPassword(Conversation& conversation)
{
    const auto user = userOf(conversation.request);
    if (!isMaster(conversation.caller)) return answer(conversation, errorReply(EPERM));
    if (!user || conversation.password.isEmpty()) return answer(conversation, errorReply(EINVAL));
    const int error = LoginPasswords::keep(*user, conversation.password);
    if (error != 0) roamer::DebugLog(1, "lobbyd: the password of user %u cannot be kept: error %d", *user, error);
    answer(conversation, errorReply(error));
}

/// The conversation goes with the next turn of the loop: this may be called from its own notifier.
void Requests::answer(Conversation& conversation, const Dictionary& reply)
{
    if (conversation.isAnswered) return;
    conversation.isAnswered = true;
    conversation.notifier->setEnabled(false);
    conversation.password = Secret();
    conversation.reply(reply);
    QTimer::singleShot(0, QCoreApplication::instance(), [this, &conversation] {
        mConversations.remove_if([&](const Conversation& known) { return &known == &conversation; });
    });
}

} // namespace lobby
