#include "platform/linux/object_messaging.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <vector>

#include "command_line.h"
#include "platform/failure.h"
#include "platform/linux/application.h"
#include "platform/linux/run_loop.h"
#include "tests/fakes/private_bus.h"
#include "tests/fakes/recording_log.h"

namespace
{

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char* kName = "com.kestrel.roamer";

/// A server object that notes its messages.
class NotingServer final : public platform::Pavo_Server
{
public:
    std::vector<std::string> received;
    std::function<void()> whileInCheck;
    std::function<void()> whileInSyncNow;

    void pavo_quit() override { received.emplace_back("quit"); }
    void pavo_refreshPreferences() override { received.emplace_back("refresh"); }
    void pavo_syncNow() override
    {
        received.emplace_back("sync");
        if (whileInSyncNow) whileInSyncNow();
    }
    std::int32_t pavo_doLogoutChecks(bool firstTimeSync, bool* prefSyncCompleted) override
    {
        received.emplace_back(firstTimeSync ? "logout first" : "logout");
        *prefSyncCompleted = false;
        return -61;
    }
    std::int32_t pavo_doLoginChecks(bool firstTimeSync, bool* prefSyncCompleted) override
    {
        received.emplace_back(firstTimeSync ? "login first" : "login");
        if (whileInCheck) whileInCheck();
        *prefSyncCompleted = true;
        return 5;
    }
};

class ObjectMessagingTest : public testing::Test
{
protected:
    fakes::PrivateBus bus;
    fakes::RecordingLog log;
    std::unique_ptr<platform::Application> application = platform::makeApplication();
    std::unique_ptr<platform::RunLoop> loop = platform::makeRunLoop();
    bool busWasLost = false;
    std::unique_ptr<platform::ObjectMessaging> messaging = platform::makeObjectMessaging([this] { busWasLost = true; });
    NotingServer server;
    std::unique_ptr<platform::ServerConnection> connection;

    void serve()
    {
        connection = messaging->defaultConnection();
        ASSERT_NE(connection, nullptr);
        connection->setRootObject(server);
        ASSERT_TRUE(connection->registerName(kName));
    }

    /// The arguments are dbus-send's.
    CommandResult send(const std::string& member, const std::string& arguments, const std::string& options = {})
    {
        CommandResult result;
        whileServing(*loop, [&] {
            result = runCommand("dbus-send --session --dest=com.kestrel.roamer " + options + " /com/kestrel/roamer " +
                                member + " " + arguments);
        });
        return result;
    }
};

TEST_F(ObjectMessagingTest, ShowsExactlyTheFiveMessages)
{
    serve();
    const auto seen = send("org.freedesktop.DBus.Introspectable.Introspect", "", "--print-reply=literal");
    ASSERT_EQ(seen.status, 0) << seen.output;
    const auto start = seen.output.find("<interface name=\"com.kestrel.roamer\">");
    ASSERT_NE(start, std::string::npos) << seen.output;
    const auto interface = seen.output.substr(start, seen.output.find("</interface>", start) - start);
    std::vector<std::string> methods;
    for (std::size_t at = 0; (at = interface.find("<method name=\"", at)) != std::string::npos;) {
        at += 14;
        methods.push_back(interface.substr(at, interface.find('"', at) - at));
    }
    EXPECT_THAT(methods, testing::UnorderedElementsAre("pavo_quit", "pavo_refreshPreferences", "pavo_syncNow",
                                                       "pavo_doLogoutChecks", "pavo_doLoginChecks"));
    EXPECT_THAT(interface, Not(HasSubstr("<signal")));
    EXPECT_THAT(interface, Not(HasSubstr("<property")));
}

TEST_F(ObjectMessagingTest, TheBusLibraryRefusesEverythingElse)
{
    serve();
    for (const char* member : {"com.kestrel.roamer.syncNow", "com.kestrel.roamer.detach",
                               "com.kestrel.roamer.deleteLater", "com.kestrel.roamer.applicationShouldTerminate"}) {
        const auto refused = send(member, "", "--print-reply");
        EXPECT_NE(refused.status, 0) << member;
        EXPECT_THAT(refused.output, HasSubstr("UnknownMethod")) << member;
    }
    const auto wrongType = send("com.kestrel.roamer.pavo_doLoginChecks", "string:yes", "--print-reply");
    EXPECT_NE(wrongType.status, 0);
    EXPECT_THAT(server.received, IsEmpty());
}

TEST_F(ObjectMessagingTest, ChecksAnswerWithStatusAndFlag)
{
    serve();
    const auto login = send("com.kestrel.roamer.pavo_doLoginChecks", "boolean:true", "--print-reply");
    EXPECT_THAT(login.output, HasSubstr("int32 5"));
    EXPECT_THAT(login.output, HasSubstr("boolean true"));
    const auto logout = send("com.kestrel.roamer.pavo_doLogoutChecks", "boolean:false", "--print-reply");
    EXPECT_THAT(logout.output, HasSubstr("int32 -61"));
    EXPECT_THAT(logout.output, HasSubstr("boolean false"));
    EXPECT_THAT(server.received, ElementsAre("login first", "logout"));
}

TEST_F(ObjectMessagingTest, AOneWayMessageLetsNobodyWait)
{
    serve();
    std::atomic<bool> senderIsBack = false;
    bool wasBackDuringTheWork = false;
    server.whileInSyncNow = [&] {
        const auto start = loop->now();
        while (!senderIsBack && loop->now() - start < 5s)
            loop->runFor(5ms);
        wasBackDuringTheWork = senderIsBack;
    };
    whileServing(*loop, [&] {
        // Even one that asks for a reply.
        runCommand("dbus-send --session --print-reply --dest=com.kestrel.roamer /com/kestrel/roamer "
                   "com.kestrel.roamer.pavo_syncNow");
        senderIsBack = true;
    });
    EXPECT_THAT(server.received, ElementsAre("sync"));
    EXPECT_TRUE(wasBackDuringTheWork);
}

TEST_F(ObjectMessagingTest, MessagesArriveWhileAMessageIsBeingWorkedOn)
{
    serve();
    server.whileInCheck = [&] {
        const auto start = loop->now();
        while (server.received.size() < 2 && loop->now() - start < 5s)
            loop->runFor(5ms);
    };
    whileServing(*loop, [] {
        std::thread first([] {
            runCommand("dbus-send --session --print-reply --dest=com.kestrel.roamer /com/kestrel/roamer "
                       "com.kestrel.roamer.pavo_doLoginChecks boolean:false");
        });
        std::this_thread::sleep_for(50ms);
        runCommand("dbus-send --session --print-reply --dest=com.kestrel.roamer /com/kestrel/roamer "
                   "com.kestrel.roamer.pavo_refreshPreferences");
        first.join();
    });
    EXPECT_EQ(server.received.size(), 2U);
}

TEST_F(ObjectMessagingTest, TheProxySpeaksAllFive)
{
    serve();
    std::int32_t login = 0, logout = 0;
    bool flag = false;
    whileServing(*loop, [&] {
        const auto client = platform::makeObjectMessaging(nullptr);
        const auto proxy = client->lookUpPavoServer(kName);
        ASSERT_NE(proxy, nullptr);
        proxy->pavo_syncNow();
        proxy->pavo_refreshPreferences();
        login = proxy->pavo_doLoginChecks(true, &flag);
        logout = proxy->pavo_doLogoutChecks(false, nullptr);
        proxy->pavo_quit();
    });
    loop->runFor(50ms);
    EXPECT_EQ(login, 5);
    EXPECT_TRUE(flag);
    EXPECT_EQ(logout, -61);
    EXPECT_THAT(server.received, ElementsAre("sync", "refresh", "login first", "logout", "quit"));
}

TEST_F(ObjectMessagingTest, OneProcessHoldsTheNameAndTheOtherIsTold)
{
    EXPECT_EQ(messaging->lookUpPavoServer(kName), nullptr) << "nobody yet, and nothing was started";
    serve();
    auto second = messaging->defaultConnection();
    ASSERT_NE(second, nullptr);
    second->setRootObject(server);
    EXPECT_FALSE(second->registerName(kName));
    EXPECT_EQ(log.countContaining("holds the name \"com.kestrel.roamer\""), 1);

    connection.reset();
    EXPECT_EQ(messaging->lookUpPavoServer(kName), nullptr) << "no queue behind the name";
    EXPECT_TRUE(second->registerName(kName));
}

TEST_F(ObjectMessagingTest, ALostServerRaisesAndALostBusIsTold)
{
    serve();
    const auto proxy = messaging->lookUpPavoServer(kName);
    ASSERT_NE(proxy, nullptr);
    connection.reset();
    bool flag = true;
    EXPECT_THROW(proxy->pavo_doLoginChecks(false, &flag), platform::Failure);

    connection = messaging->defaultConnection();
    bus.stop();
    const auto start = loop->now();
    while (!busWasLost && loop->now() - start < 5s)
        loop->runFor(10ms);
    EXPECT_TRUE(busWasLost);
    EXPECT_THROW(proxy->pavo_syncNow(), platform::Failure);
    EXPECT_EQ(messaging->defaultConnection(), nullptr);
    EXPECT_EQ(messaging->lookUpPavoServer(kName), nullptr);
}

} // namespace
