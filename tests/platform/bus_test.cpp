// The agent's five messages on a message bus.

#include <gmock/gmock.h>

#include <regex>

#include "platform/failure.h"
#include "platform/linux/application.h"
#include "platform/linux/object_messaging.h"
#include "platform/linux/run_loop.h"
#include "tests/fakes/command_line.h"
#include "tests/fakes/private_bus.h"
#include "tests/fakes/recording_log.h"

namespace
{

using namespace std::chrono_literals;
using fakes::CommandResult;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* kName = "com.kestrel.roamer";

/// A server object that notes its messages.
class NotingServer final : public platform::Pavo_Server
{
public:
    std::vector<std::string> received;
    std::function<void()> onSync = [] {};

    void pavo_quit() override { received.emplace_back("quit"); }
    void pavo_refreshPreferences() override { received.emplace_back("refresh"); }
    void pavo_syncNow() override
    {
        received.emplace_back("sync");
        onSync();
    }
    std::int32_t pavo_doLogoutChecks(bool, bool*) override { return -61; }
    std::int32_t pavo_doLoginChecks(bool, bool*) override { return 5; }
};

class ObjectMessagingTest : public testing::Test
{
protected:
    ObjectMessagingTest()
    {
        connection->setRootObject(server);
        EXPECT_TRUE(connection->registerName(kName));
    }
    static CommandResult send(const std::string& member, const std::string& arguments = {})
    {
        return fakes::runCommand(
            "dbus-send --session --print-reply=literal --dest=com.kestrel.roamer /com/kestrel/roamer " + member + " " +
            arguments);
    }
    bool waitFor(const std::function<bool()>& condition)
    {
        for (int i = 0; i < 500 && !condition(); ++i)
            loop->runFor(10ms);
        return condition();
    }

    fakes::PrivateBus bus;
    fakes::RecordingLog log;
    std::unique_ptr<platform::Application> application = platform::makeApplication();
    std::unique_ptr<platform::RunLoop> loop = platform::makeRunLoop();
    bool busWasLost = false;
    std::unique_ptr<platform::ObjectMessaging> messaging = platform::makeObjectMessaging([this] { busWasLost = true; });
    NotingServer server;
    std::unique_ptr<platform::ServerConnection> connection = messaging->defaultConnection();
};

TEST_F(ObjectMessagingTest, ExportsExactlyTheFiveMessages)
{
    CommandResult seen, refused, wrongType;
    fakes::whileServing(*loop, [&] {
        seen = send("org.freedesktop.DBus.Introspectable.Introspect");
        refused = send("com.kestrel.roamer.applicationShouldTerminate");
        wrongType = send("com.kestrel.roamer.pavo_doLoginChecks", "string:yes");
    });
    const auto start = seen.output.find("<interface name=\"com.kestrel.roamer\">");
    ASSERT_NE(start, std::string::npos) << seen.output;
    const auto interface = seen.output.substr(start, seen.output.find("</interface>", start) - start);
    const std::regex member("<(method|signal|property) name=\"([^\"]*)");
    std::vector<std::string> members;
    for (std::sregex_iterator at(interface.begin(), interface.end(), member), end; at != end; ++at)
        members.push_back(at->str(2));
    EXPECT_THAT(members, testing::UnorderedElementsAre("pavo_quit", "pavo_refreshPreferences", "pavo_syncNow",
                                                       "pavo_doLogoutChecks", "pavo_doLoginChecks"));
    EXPECT_THAT(refused.output, HasSubstr("UnknownMethod"));
    EXPECT_NE(wrongType.status, 0);
    EXPECT_TRUE(server.received.empty());
}

TEST_F(ObjectMessagingTest, AOneWayMessageLetsNobodyWaitAndOthersAreServedMeanwhile)
{
    std::atomic<bool> senderIsBack = false;
    server.onSync = [&] { EXPECT_TRUE(waitFor([&] { return senderIsBack && server.received.size() > 1; })); };
    fakes::whileServing(*loop, [&] {
        send("com.kestrel.roamer.pavo_syncNow"); // though it asks for a reply
        senderIsBack = true;
        send("com.kestrel.roamer.pavo_refreshPreferences");
    });
    EXPECT_THAT(server.received, ElementsAre("sync", "refresh"));
}

TEST_F(ObjectMessagingTest, ATakenNameALostServerAndALostBusAreTold)
{
    const auto second = messaging->defaultConnection();
    second->setRootObject(server);
    EXPECT_FALSE(second->registerName(kName));
    EXPECT_EQ(log.countContaining("holds the name \"com.kestrel.roamer\""), 1);
    const auto proxy = messaging->lookUpPavoServer(kName);
    connection.reset();
    EXPECT_THROW(proxy->pavo_doLoginChecks(false, nullptr), platform::Failure);
    bus.stop();
    EXPECT_TRUE(waitFor([&] { return busWasLost; }));
    EXPECT_THROW(proxy->pavo_syncNow(), platform::Failure);
    EXPECT_EQ(messaging->defaultConnection(), nullptr);
    EXPECT_EQ(messaging->lookUpPavoServer(kName), nullptr);
}

} // namespace
