#include "bus_service.h"

#include <cstring>

#include "braid/protocol.h"
#include "known_state.h"
#include "platform/linux/bus_values.h"
#include "util/debug_log.h"

namespace braid::agent
{

using platform::fromBusValues;
using platform::toBusValues;

BusService::BusService(SyncAgent& agent, std::string localHome, platform::BusConnection& bus, QObject* parent)
    : QDBusAbstractAdaptor(parent), mAgent(agent), mLocalHome(std::move(localHome)), mBus(bus)
{
    setAutoRelaySignals(false);
    mAgent.setStatusListener([this](std::uint64_t serial, const roamer::Dictionary& status) {
        Q_EMIT statusChanged(serial, toBusValues(status));
    });
}

bool BusService::takeName()
{
    // The object first: a client calls as soon as it sees the name.
    return mBus.connection().registerObject(QString::fromLatin1(protocol::kObjectPath), parent(),
                                            QDBusConnection::ExportAdaptors) &&
           mBus.connection().registerService(QString::fromLatin1(protocol::kBusName));
}

void BusService::giveUpName()
{
    mBus.connection().unregisterService(QString::fromLatin1(protocol::kBusName));
}

void BusService::answer(const QDBusMessage& message, const std::optional<SyncAgent::Refused>& refused)
{
    if (refused) refuse(message, *refused);
}

void BusService::refuse(const QDBusMessage& message, const SyncAgent::Refused& refused)
{
    roamer::DebugLog(1, "bus: refused call=%s error=%s reason=\"%s\"", qPrintable(message.member()), refused.name,
                     refused.reason.c_str());
    message.setDelayedReply(true);
    mBus.connection().send(
        message.createErrorReply(QString::fromLatin1(protocol::kErrorPrefix) + QString::fromLatin1(refused.name),
                                 QString::fromStdString(refused.reason)));
}

QVariantMap BusService::describeSet()
{
    return toBusValues(mAgent.describeSet());
}

void BusService::createSet(const QVariantMap& properties, const QDBusMessage& message)
{
    answer(message, mAgent.createSet(fromBusValues(properties)));
}

void BusService::configureSet(const QVariantMap& changes, const QDBusMessage& message)
{
    answer(message, mAgent.configureSet(fromBusValues(changes)));
}

void BusService::forgetSet(const QDBusMessage& message)
{
    message.setDelayedReply(true);
    mAgent.forgetSet([this, message](const std::optional<SyncAgent::Refused>& refused) {
        if (refused) return refuse(message, *refused);
        mBus.connection().send(message.createReply());
    });
}

qulonglong BusService::startSync(const QDBusMessage& message)
{
    const auto result = mAgent.startSync();
    if (const auto* refused = std::get_if<SyncAgent::Refused>(&result)) {
        answer(message, *refused);
        return 0;
    }
    return std::get<std::uint64_t>(result);
}

void BusService::abortSync()
{
    mAgent.abortSync();
}

QVariantMap BusService::info()
{
    return toBusValues(mAgent.info());
}

qlonglong BusService::lastSyncResult()
{
    return mAgent.lastSyncResult();
}

void BusService::displayConflictsAndErrors()
{
    mAgent.displayConflictsAndErrors();
}

QVariantMap BusService::matters()
{
    auto matters = mAgent.matters();
    matters[protocol::kLocalHome] = bytesOf(mLocalHome);
    // Present only while its share is mounted.
    matters[protocol::kNetworkHome] = bytesOf(lastNetworkHome(mLocalHome));
    return toBusValues(matters);
}

void BusService::serve(PersonTask::Verb verb, const QVariantList& paths, const QDBusMessage& message)
{
    PersonTask task{verb, {}};
    for (const auto& path : paths)
        task.paths.push_back(path.toByteArray().toStdString());
    message.setDelayedReply(true);
    mAgent.serve(std::move(task), [this, message](const std::variant<roamer::Dictionary, SyncAgent::Refused>& result) {
        if (const auto* refused = std::get_if<SyncAgent::Refused>(&result)) return refuse(message, *refused);
        mBus.connection().send(message.createReply(toBusValues(std::get<roamer::Dictionary>(result))));
    });
}

QVariantMap BusService::resolve(const QVariantList& paths, const QString& keep, const QDBusMessage& message)
{
    const auto verb = verbOf(keep.toStdString());
    if (verb) {
        serve(*verb, paths, message);
    } else {
        refuse(message, {protocol::kInvalidValue, "\"" + keep.toStdString() + "\" says nothing to keep"});
    }
    return {};
}

QVariantMap BusService::retry(const QVariantList& paths, const QDBusMessage& message)
{
    serve(PersonTask::Verb::Retry, paths, message);
    return {};
}

void BusService::setAside(const QVariantList& matters, bool aside, const QDBusMessage& message)
{
    std::set<Matter> named;
    for (const auto& matter : matters) {
        const auto entry = platform::fromBusValue(matter);
        const auto* dictionary = entry.as<roamer::Dictionary>();
        const auto path =
            dictionary != nullptr ? dictionary->find(protocol::kPath) : roamer::Dictionary::const_iterator{};
        const auto* bytes =
            dictionary != nullptr && path != dictionary->end() ? path->second.as<roamer::Data>() : nullptr;
        if (bytes == nullptr) return refuse(message, {protocol::kInvalidValue, "a matter has no path"});
        named.insert({pathOf(*bytes), dictionary->contains(protocol::kIsError)});
    }
    answer(message, mAgent.setAside(named, aside));
}

} // namespace braid::agent
