#include "engine_client.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include <climits>

#include "braid/protocol.h"
#include "platform/linux/bus_values.h"
#include "platform/sync_engine.h"

namespace braid::window
{

namespace
{

constexpr int kFetchMilliseconds = 10'000;
constexpr int kGoodByeMilliseconds = 2'000;

QString latin(const char* text)
{
    return QString::fromLatin1(text);
}

QDBusMessage call(const char* method)
{
    auto message = QDBusMessage::createMethodCall(latin(protocol::kBusName), latin(protocol::kObjectPath),
                                                  latin(protocol::kInterface), latin(method));
    message.setAutoStartService(false);
    return message;
}

QByteArray pathBytes(const Item& item)
{
    return QByteArray::fromStdString(item.path);
}

EngineClient::Outcome outcomeOf(const QDBusMessage& reply)
{
    EngineClient::Outcome outcome;
    if (reply.type() != QDBusMessage::ReplyMessage) {
        outcome.problem = reply.errorMessage();
        return outcome;
    }
    const auto value = platform::fromBusValue(reply.arguments().value(0));
    const auto* answer = value.as<roamer::Dictionary>();
    if (answer == nullptr) return outcome;
    const auto reason = answer->find(protocol::kReason);
    if (const auto* text = reason != answer->end() ? reason->second.as<std::string>() : nullptr) {
        outcome.problem = QString::fromStdString(*text);
    }
    const auto beside = answer->find(protocol::kBeside);
    const auto* pairs = beside != answer->end() ? beside->second.as<roamer::Array>() : nullptr;
    for (const auto& pair : pairs != nullptr ? *pairs : roamer::Array{}) {
        const auto* entry = pair.as<roamer::Dictionary>();
        const auto path = entry != nullptr ? entry->find(protocol::kNewPath) : roamer::Dictionary::const_iterator{};
        const auto* bytes = entry != nullptr && path != entry->end() ? path->second.as<roamer::Data>() : nullptr;
        if (bytes == nullptr) continue;
        const auto text =
            QString::fromUtf8(reinterpret_cast<const char*>(bytes->data()), static_cast<qsizetype>(bytes->size()));
        outcome.newNames << text.section(QLatin1Char('/'), -1);
    }
    return outcome;
}

} // namespace

EngineClient::EngineClient(QDBusConnection bus)
    : mBus(std::move(bus)), mWatcher(latin(protocol::kBusName), mBus, QDBusServiceWatcher::WatchForUnregistration)
{
    connect(&mWatcher, &QDBusServiceWatcher::serviceUnregistered, this, &EngineClient::engineGone);
    mBus.connect(latin(protocol::kBusName), latin(protocol::kObjectPath), latin(protocol::kInterface),
                 latin(protocol::kStatusChanged), this, SLOT(statusCame(qulonglong, QVariantMap)));
}

bool EngineClient::isThere() const
{
    return mBus.isConnected() && mBus.interface()->isServiceRegistered(latin(protocol::kBusName));
}

void EngineClient::fetch()
{
    if (mIsFetching) {
        mIsStale = true;
        return;
    }
    mIsFetching = true;
    auto* watcher = new QDBusPendingCallWatcher(mBus.asyncCall(call(protocol::kMatters), kFetchMilliseconds), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        mIsFetching = false;
        const auto reply = watcher->reply();
        if (reply.type() == QDBusMessage::ReplyMessage) {
            const auto value = platform::fromBusValue(reply.arguments().value(0));
            if (const auto* answer = value.as<roamer::Dictionary>()) Q_EMIT mattersCame(readMatters(*answer));
        }
        if (std::exchange(mIsStale, false)) fetch();
    });
}

void EngineClient::decide(const std::vector<Item>& items, const char* keep, Done done)
{
    QVariantList paths;
    for (const auto& item : items)
        paths << pathBytes(item);
    auto message = call(keep != nullptr ? protocol::kResolve : protocol::kRetry);
    message << QVariant(paths);
    if (keep != nullptr) message << latin(keep);
    auto* watcher = new QDBusPendingCallWatcher(mBus.asyncCall(message, INT_MAX), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, done = std::move(done)] {
        watcher->deleteLater();
        done(outcomeOf(watcher->reply()));
        fetch();
    });
}

QDBusMessage EngineClient::setAsideMessage(const std::vector<Item>& items, bool aside) const
{
    QVariantList matters;
    for (const auto& item : items) {
        QVariantMap matter{{latin(protocol::kPath), pathBytes(item)}};
        if (item.isError) matter.insert(latin(protocol::kIsError), true);
        matters << matter;
    }
    auto message = call(protocol::kSetAside);
    message << QVariant(matters) << aside;
    return message;
}

void EngineClient::setAside(const std::vector<Item>& items, bool aside)
{
    auto* watcher = new QDBusPendingCallWatcher(mBus.asyncCall(setAsideMessage(items, aside)), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        fetch();
    });
}

void EngineClient::setAsideAndWait(const std::vector<Item>& items)
{
    if (!items.empty() && isThere()) mBus.call(setAsideMessage(items, true), QDBus::Block, kGoodByeMilliseconds);
}

void EngineClient::statusCame(qulonglong /*serial*/, const QVariantMap& status)
{
    QVariantMap counts;
    for (const char* key : {platform::kSyncSetStateKey, platform::kSyncSetUnresolvedConflictsCountKey,
                            platform::kSyncSetUnresolvedErrorsCountKey}) {
        counts.insert(latin(key), status.value(latin(key)));
    }
    // Progress within one state tells nothing new.
    if (counts == mCounts) return;
    mCounts = counts;
    fetch();
}

} // namespace braid::window
