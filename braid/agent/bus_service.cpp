#include "bus_service.h"

#include <cstring>

#include "braid/protocol.h"
#include "platform/linux/bus_values.h"
#include "util/debug_log.h"

namespace braid::agent
{

using platform::fromBusValues;
using platform::toBusValues;

BusService::BusService(SyncAgent& agent, platform::BusConnection& bus, QObject* parent)
    : QDBusAbstractAdaptor(parent), mAgent(agent), mBus(bus)
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

void BusService::answer(const QDBusMessage& message, const std::optional<SyncAgent::Refused>& refused)
{
    if (!refused) return;
    roamer::DebugLog(1, "bus: refused call=%s error=%s reason=\"%s\"", qPrintable(message.member()), refused->name,
                     refused->reason.c_str());
    message.setDelayedReply(true);
    mBus.connection().send(
        message.createErrorReply(QString::fromLatin1(protocol::kErrorPrefix) + QString::fromLatin1(refused->name),
                                 QString::fromStdString(refused->reason)));
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
    answer(message, mAgent.forgetSet());
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

} // namespace braid::agent
