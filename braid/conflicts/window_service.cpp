#include "window_service.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>

#include "braid/protocol.h"

namespace braid::window
{

namespace
{

QString latin(const char* text)
{
    return QString::fromLatin1(text);
}

} // namespace

WindowService::WindowService(QDBusConnection bus) : mBus(std::move(bus)) {}

bool WindowService::wakeOther(bool withSetAside)
{
    if (!mBus.interface()->isServiceRegistered(latin(protocol::kWindowBusName))) return false;
    auto message = QDBusMessage::createMethodCall(latin(protocol::kWindowBusName), latin(protocol::kWindowObjectPath),
                                                  latin(protocol::kWindowInterface), latin(protocol::kWindowShow));
    message.setAutoStartService(false);
    message << withSetAside;
    return mBus.call(message).type() == QDBusMessage::ReplyMessage;
}

bool WindowService::takeName()
{
    return mBus.registerObject(latin(protocol::kWindowObjectPath), this, QDBusConnection::ExportAllSlots) &&
           mBus.registerService(latin(protocol::kWindowBusName));
}

void WindowService::giveUpName()
{
    mBus.unregisterService(latin(protocol::kWindowBusName));
}

} // namespace braid::window
