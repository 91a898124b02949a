#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <QDBusVirtualObject>
#include <QThread>
#include <atomic>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace fakes
{

/// The login manager and the screen saver, as far as a program that keeps the machine awake sees them. Serves on a
/// thread of its own, so that the test's thread may wait for its answers.
class MockLoginManager final : public QDBusVirtualObject
{
public:
    struct Lock {
        std::string what, who, why, mode;
        int reading = -1; ///< The end of a pipe whose other end its holder has.
    };

    explicit MockLoginManager(const QString& address)
        : mConnection(QDBusConnection::connectToBus(address, QStringLiteral("mock-login-manager")))
    {
        mConnection.registerVirtualObject(QStringLiteral("/"), this, QDBusConnection::SubPath);
        moveToThread(&mThread);
        mThread.start();
        mConnection.registerService(QStringLiteral("org.freedesktop.login1"));
        mConnection.registerService(QStringLiteral("org.freedesktop.ScreenSaver"));
    }
    ~MockLoginManager() override
    {
        QDBusConnection::disconnectFromBus(QStringLiteral("mock-login-manager"));
        mThread.quit();
        mThread.wait();
        for (const auto& lock : mLocks)
            ::close(lock.reading);
    }

    std::atomic<bool> refusesBlock = false;
    std::atomic<int> activities = 0; ///< How often the person was said to be active.

    /// The locks of the mode that somebody still holds.
    std::vector<Lock> held(const std::string& mode)
    {
        const std::lock_guard guard(mMutex);
        std::vector<Lock> result;
        for (const auto& lock : mLocks) {
            pollfd question{lock.reading, POLLIN, 0};
            if (lock.mode == mode && ::poll(&question, 1, 0) == 0) result.push_back(lock);
        }
        return result;
    }

    void prepareForSleep(bool aboutToSleep)
    {
        auto signal = QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/login1"),
                                                 QStringLiteral("org.freedesktop.login1.Manager"),
                                                 QStringLiteral("PrepareForSleep"));
        mConnection.send(signal << aboutToSleep);
    }

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override
    {
        return bus.send(answer(message));
    }

private:
    QDBusMessage answer(const QDBusMessage& message)
    {
        if (message.member() == QStringLiteral("SimulateUserActivity")) {
            ++activities;
            return message.createReply();
        }
        const auto text = [&](int index) { return message.arguments().value(index).toString().toStdString(); };
        if (message.member() != QStringLiteral("Inhibit") || (refusesBlock && text(3) == "block")) {
            return message.createErrorReply(QDBusError::AccessDenied, QStringLiteral("not by you"));
        }
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) return message.createErrorReply(QDBusError::Failed, QStringLiteral("pipe"));
        const QDBusUnixFileDescriptor descriptor(ends[1]); // a copy, which goes with the reply
        ::close(ends[1]);
        const std::lock_guard guard(mMutex);
        mLocks.push_back({text(0), text(1), text(2), text(3), ends[0]});
        return message.createReply(QVariant::fromValue(descriptor));
    }

    std::mutex mMutex;
    std::vector<Lock> mLocks;
    QDBusConnection mConnection;
    QThread mThread;
};

} // namespace fakes
