#include "pavo_adaptor.h"

namespace platform
{

void PavoAdaptor::oneWay(const QDBusMessage& message, void (Pavo_Server::*command)())
{
    // A sender that asked for a reply all the same gets it now: these commands let nobody wait for their work.
    message.setDelayedReply(true);
    if (message.isReplyRequired()) mConnection.send(message.createReply());
    if (mRoot != nullptr) (mRoot->*command)();
}

void PavoAdaptor::pavo_quit(const QDBusMessage& message)
{
    oneWay(message, &Pavo_Server::pavo_quit);
}

void PavoAdaptor::pavo_refreshPreferences(const QDBusMessage& message)
{
    oneWay(message, &Pavo_Server::pavo_refreshPreferences);
}

void PavoAdaptor::pavo_syncNow(const QDBusMessage& message)
{
    oneWay(message, &Pavo_Server::pavo_syncNow);
}

int PavoAdaptor::pavo_doLogoutChecks(bool firstTimeSync, bool& prefSyncCompleted)
{
    prefSyncCompleted = false;
    return mRoot != nullptr ? mRoot->pavo_doLogoutChecks(firstTimeSync, &prefSyncCompleted) : -1;
}

int PavoAdaptor::pavo_doLoginChecks(bool firstTimeSync, bool& prefSyncCompleted)
{
    prefSyncCompleted = false;
    return mRoot != nullptr ? mRoot->pavo_doLoginChecks(firstTimeSync, &prefSyncCompleted) : -1;
}

} // namespace platform
