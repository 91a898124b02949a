#include "object_messaging.h"

#include <QDBusConnectionInterface>
#include <climits>

#include "bus_connection.h"
#include "bus_watch.h"
#include "pavo_adaptor.h"
#include "platform/failure.h"
#include "util/debug_log.h"
#include "vexd_proxy.h"

namespace platform
{

namespace
{

// QtDBus takes -1 for its own 25 seconds; the checks take as long as a whole sync.
constexpr int kNoTimeLimit = INT_MAX;

class PavoConnection final : public ServerConnection
{
public:
    explicit PavoConnection(std::function<void()> busLost)
        : mBus(Bus::Session), mWatch(mBus.connection(), std::move(busLost))
    {
    }

    ~PavoConnection() override
    {
        if (mAdaptor != nullptr) mAdaptor->detach();
        // At once: the connection itself lives on until its last message is dealt with.
        if (!mService.isEmpty()) mBus.connection().unregisterService(mService);
        mBus.connection().unregisterObject(QString::fromLatin1(kPavoObjectPath));
        // This may run inside one of the object's own messages.
        if (mObject != nullptr) mObject->deleteLater();
    }

    bool isConnected() const { return mBus.isConnected(); }

    void setRootObject(Pavo_Server& root) override
    {
        mObject = new QObject;
        mAdaptor = new PavoAdaptor(mObject, root, mBus.connection());
    }

    bool registerName(const std::string& name) override
    {
        // The object first: whoever sees the name may call at once.
        auto& bus = mBus.connection();
        if (mObject == nullptr || !bus.registerObject(QString::fromLatin1(kPavoObjectPath), mObject)) return false;
        const QString service = QString::fromStdString(name);
        if (bus.registerService(service)) {
            mService = service;
            return true;
        }
        bus.unregisterObject(QString::fromLatin1(kPavoObjectPath));
        const QDBusReply<uint> holder = bus.interface()->servicePid(service);
        if (holder.isValid()) {
            roamer::DebugLog(1, "ObjectMessaging: process %u holds the name \"%s\"", holder.value(), name.c_str());
        }
        return false;
    }

private:
    BusConnection mBus;
    BusWatch mWatch;
    QString mService; ///< Empty until it is registered.
    QObject* mObject = nullptr;
    PavoAdaptor* mAdaptor = nullptr;
};

class PavoProxy final : public Pavo_Server
{
public:
    PavoProxy(std::shared_ptr<BusConnection> bus, const std::string& name)
        : mBus(std::move(bus)), mName(QString::fromStdString(name))
    {
    }

    void pavo_quit() override { send("pavo_quit"); }
    void pavo_refreshPreferences() override { send("pavo_refreshPreferences"); }
    void pavo_syncNow() override { send("pavo_syncNow"); }
    std::int32_t pavo_doLogoutChecks(bool firstTimeSync, bool* prefSyncCompleted) override
    {
        return ask("pavo_doLogoutChecks", firstTimeSync, prefSyncCompleted);
    }
    std::int32_t pavo_doLoginChecks(bool firstTimeSync, bool* prefSyncCompleted) override
    {
        return ask("pavo_doLoginChecks", firstTimeSync, prefSyncCompleted);
    }

private:
    QDBusMessage messageFor(const char* member) const
    {
        auto message = QDBusMessage::createMethodCall(mName, QString::fromLatin1(kPavoObjectPath),
                                                      QString::fromLatin1(kPavoInterface), QString::fromLatin1(member));
        message.setAutoStartService(false);
        return message;
    }

    void send(const char* member)
    {
        if (!mBus->connection().send(messageFor(member)) || !mBus->flush()) {
            throw Failure("MessageNotSent", std::string(member) + " could not be handed to the message bus");
        }
    }

    std::int32_t ask(const char* member, bool firstTimeSync, bool* prefSyncCompleted)
    {
        auto message = messageFor(member);
        message << firstTimeSync;
        const QDBusMessage reply = mBus->connection().call(message, QDBus::Block, kNoTimeLimit);
        const auto values = reply.arguments();
        if (reply.type() != QDBusMessage::ReplyMessage || values.size() != 2) {
            throw Failure("MessageNotAnswered", std::string(member) + ": " + reply.errorMessage().toStdString());
        }
        if (prefSyncCompleted != nullptr) *prefSyncCompleted = values.at(1).toBool();
        return values.at(0).toInt();
    }

    std::shared_ptr<BusConnection> mBus;
    QString mName;
};

class BusMessaging final : public ObjectMessaging
{
public:
    BusMessaging(std::function<void()> busLost, RunLoop* runLoop) : mBusLost(std::move(busLost)), mRunLoop(runLoop) {}

    std::unique_ptr<ServerConnection> defaultConnection() override
    {
        auto connection = std::make_unique<PavoConnection>(mBusLost);
        if (!connection->isConnected()) return nullptr;
        return connection;
    }

    std::unique_ptr<Pavo_Server> lookUpPavoServer(const std::string& name) override
    {
        auto bus = std::make_shared<BusConnection>(Bus::Session);
        if (!bus->hasOwner(QString::fromStdString(name))) return nullptr;
        return std::make_unique<PavoProxy>(std::move(bus), name);
    }

    std::unique_ptr<VEXD_Server> lookUpVexdServer(const std::string& name) override
    {
        if (mRunLoop == nullptr) return nullptr;
        auto bus = std::make_shared<BusConnection>(Bus::Session);
        if (!bus->hasOwner(QString::fromStdString(name))) return nullptr;
        return makeVexdProxy(*mRunLoop, std::move(bus), name);
    }

private:
    std::function<void()> mBusLost;
    RunLoop* mRunLoop;
};

} // namespace

std::unique_ptr<ObjectMessaging> makeObjectMessaging(std::function<void()> busLost, RunLoop* runLoop)
{
    return std::make_unique<BusMessaging>(std::move(busLost), runLoop);
}

} // namespace platform
