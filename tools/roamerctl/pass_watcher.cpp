#include "pass_watcher.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QTimer>

#include "braid/protocol.h"
#include "platform/linux/bus_values.h"
#include "platform/sync_engine.h"
#include "util/typed_reads.h"

namespace roamer::ctl
{

PassWatcher::PassWatcher() : mBus(platform::Bus::Session)
{
    namespace protocol = braid::protocol;
    mBus.connection().connect({}, protocol::kObjectPath, protocol::kInterface, protocol::kStatusChanged, this,
                              SLOT(takeStatus(qulonglong, QVariantMap)));
}

void PassWatcher::takeStatus(qulonglong, const QVariantMap& status)
{
    mStatus = platform::fromBusValues(status);
    const auto* state = objectForKey<std::int64_t>(mStatus, platform::kSyncSetStateKey);
    if (state == nullptr) return;
    if (*state != 0) {
        mHasBegun = true;
        mBusyStatus = mStatus;
        if (mOnStatus) mOnStatus(mStatus);
    } else if (mHasBegun) {
        mHasEnded = true;
    }
}

std::optional<Dictionary> PassWatcher::waitForPass(std::chrono::seconds patience,
                                                   const std::function<void(const Dictionary&)>& onStatus,
                                                   const std::function<bool()>& mayBegin)
{
    mOnStatus = onStatus;
    QElapsedTimer waited;
    waited.start();
    QTimer tick; // so that the wait for a signal ends now and then
    tick.start(std::chrono::milliseconds(500));
    const auto mayStillCome = [&] {
        const std::chrono::milliseconds elapsed(waited.elapsed());
        return mHasBegun ? mBus.hasOwner(braid::protocol::kBusName) : elapsed < patience && mayBegin();
    };
    while (!mHasEnded && mayStillCome())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    mOnStatus = nullptr;
    if (!mHasEnded) return std::nullopt;
    return mStatus;
}

std::optional<std::int64_t> PassWatcher::lastResult()
{
    namespace protocol = braid::protocol;
    const auto call = QDBusMessage::createMethodCall(protocol::kBusName, protocol::kObjectPath, protocol::kInterface,
                                                     protocol::kLastSyncResult);
    const auto reply = mBus.connection().call(call, QDBus::Block, 5000);
    if (reply.type() != QDBusMessage::ReplyMessage) return std::nullopt;
    return reply.arguments().value(0).toLongLong();
}

} // namespace roamer::ctl
