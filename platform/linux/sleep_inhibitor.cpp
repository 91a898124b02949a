#include "sleep_inhibitor.h"

#include <QDBusMessage>

#include "util/debug_log.h"
#include "util/report.h"

namespace platform
{

namespace
{

constexpr auto kLoginService = "org.freedesktop.login1";
constexpr auto kLoginPath = "/org/freedesktop/login1";
constexpr auto kLoginInterface = "org.freedesktop.login1.Manager";
constexpr int kAnswerMilliseconds = 2000;

} // namespace

SleepInhibitor::SleepInhibitor(PowerService::Handler handler) : mHandler(std::move(handler)) {}

bool SleepInhibitor::start()
{
    if (!mBus.hasOwner(QString::fromLatin1(kLoginService))) return false;
    mDelay = inhibit(QStringLiteral("delay"));
    if (!mDelay.isValid()) return false;
    return mBus.connection().connect(QString::fromLatin1(kLoginService), QString::fromLatin1(kLoginPath),
                                     QString::fromLatin1(kLoginInterface), QStringLiteral("PrepareForSleep"), this,
                                     SLOT(prepareForSleep(bool)));
}

void SleepInhibitor::refreshVeto()
{
    const bool allowed = mHandler(PowerService::SleepMessage::CanSystemSleep) == PowerService::Answer::Allow;
    if (allowed) {
        mVeto = {};
        // A sleep that came in spite of the veto waits for nobody else any more.
        if (mSleepIsNear) mDelay = {};
    } else if (!mVeto.isValid()) {
        mVeto = inhibit(QStringLiteral("block"));
    }
}

void SleepInhibitor::prepareForSleep(bool aboutToSleep)
{
    mSleepIsNear = aboutToSleep;
    if (!aboutToSleep) {
        mDelay = inhibit(QStringLiteral("delay"));
        return;
    }
    // A sleep that was forced in spite of the veto comes when the login manager's patience ends; not before, as long
    // as the answer is no.
    if (mHandler(PowerService::SleepMessage::SystemWillSleep) == PowerService::Answer::Allow) mDelay = {};
}

QDBusUnixFileDescriptor SleepInhibitor::inhibit(const QString& mode)
{
    auto message = QDBusMessage::createMethodCall(QString::fromLatin1(kLoginService), QString::fromLatin1(kLoginPath),
                                                  QString::fromLatin1(kLoginInterface), QStringLiteral("Inhibit"));
    message << QStringLiteral("sleep") << QStringLiteral("Roamer") << QStringLiteral("The home folder is being synced")
            << mode;
    const QDBusMessage reply = mBus.connection().call(message, QDBus::Block, kAnswerMilliseconds);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        reportOnce("no \"" + mode.toStdString() + "\" lock against sleep: " + reply.errorMessage().toStdString());
        return {};
    }
    return reply.arguments().value(0).value<QDBusUnixFileDescriptor>();
}

void SleepInhibitor::reportOnce(const std::string& problem)
{
    const auto text = "PowerService: " + problem;
    roamer::DebugLog(1, "%s", text.c_str());
    if (!mHasReported) roamer::systemLogError(text);
    mHasReported = true;
}

} // namespace platform
