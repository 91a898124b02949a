#include "util/lobby_notify.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/linux/property_list_codec.h"
#include "tests/fakes/fake_message_port.h"
#include "tests/fakes/recording_log.h"

namespace
{

using platform::MessagePort;
using platform::PropertyListCodec;
using roamer::Dictionary;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class LobbyNotifyTest : public testing::Test
{
protected:
    fakes::RecordingLog log;
    fakes::FakeMessagePort port;
    std::unique_ptr<PropertyListCodec> codec = platform::makePropertyListCodec();
    roamer::LobbyNotify lobby{port, *codec};

    MessagePort::Reply replyWith(const roamer::PropertyList& value)
    {
        return {0, std::get<std::vector<std::byte>>(codec->serialise(value, PropertyListCodec::Format::Xml))};
    }
};

TEST_F(LobbyNotifyTest, SendsTheRequestDictionary)
{
    port.answer = [this](const auto&) { return replyWith(Dictionary{{"Error", 0}, {"MountAt", "/Volumes/homes"}}); };
    std::int32_t status = 99;
    EXPECT_EQ(lobby.LbNotifyWithData("nfs://server/homes", "/Volumes/mine", 78408, status), "/Volumes/homes");
    EXPECT_EQ(status, 0);
    ASSERT_EQ(port.requests.size(), 1U);
    const auto& request = port.requests.front();
    EXPECT_EQ(request.portName, "com.kestrel.lobby.notify");
    EXPECT_EQ(request.messageId, 1000);
    EXPECT_EQ(request.sendTimeout, std::chrono::seconds(0));
    EXPECT_EQ(request.replyTimeout, std::chrono::seconds(20));
    EXPECT_EQ(static_cast<char>(request.body.front()), '<') << "the text form";
    EXPECT_EQ(std::get<roamer::PropertyList>(codec->parse(request.body)),
              roamer::PropertyList(
                  Dictionary{{"MountURL", "nfs://server/homes"}, {"MountAt", "/Volumes/mine"}, {"Flags", 0x13248}}));

    lobby.LbNotifyWithData("nfs://server/homes", "", 0, status);
    lobby.LbNotifyWithData("nfs://server/homes", std::nullopt, 0, status);
    for (std::size_t i : {1U, 2U}) {
        const auto sent = std::get<roamer::PropertyList>(codec->parse(port.requests.at(i).body));
        EXPECT_FALSE(sent.as<Dictionary>()->contains("MountAt"));
    }
    EXPECT_THAT(log.system, IsEmpty());
}

struct ReplyCase {
    const char* name;
    roamer::PropertyList reply;
    std::int32_t status;
    std::optional<std::string> path;
};

TEST_F(LobbyNotifyTest, ReadsTheReply)
{
    const ReplyCase cases[] = {
        {"an error", Dictionary{{"Error", 64}}, 64, std::nullopt},
        {"a path beside an error is still returned", Dictionary{{"Error", -5045}, {"MountAt", "/x"}}, -5045, "/x"},
        {"no error code is no error", Dictionary{{"MountAt", "/x"}}, 0, "/x"},
        {"a path that is no text", Dictionary{{"Error", 0}, {"MountAt", 5}}, 0, std::nullopt},
        {"no dictionary", roamer::Array{1}, -3, std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        port.answer = [&](const auto&) { return replyWith(c.reply); };
        std::int32_t status = 99;
        EXPECT_EQ(lobby.LbNotifyWithData("file:///x", std::nullopt, 0, status), c.path);
        EXPECT_EQ(status, c.status);
    }
}

TEST_F(LobbyNotifyTest, SaysInTheSystemLogWhyThereWasNoReply)
{
    std::int32_t status = 99;
    EXPECT_EQ(lobby.LbNotifyWithData("file:///x", std::nullopt, 0, status), std::nullopt);
    EXPECT_EQ(status, -3) << "nobody owns the port";
    EXPECT_THAT(log.system, ElementsAre(HasSubstr("com.kestrel.lobby.notify")));

    port.answer = [](const auto&) { return MessagePort::Reply{platform::kMessagePortReceiveTimeout, std::nullopt}; };
    EXPECT_EQ(lobby.LbNotifyWithData("file:///x", std::nullopt, 0, status), std::nullopt);
    EXPECT_EQ(status, platform::kMessagePortReceiveTimeout);
    ASSERT_EQ(log.system.size(), 2U);
    EXPECT_THAT(log.system.back(), HasSubstr("-2"));

    port.answer = [](const auto&) { return MessagePort::Reply{0, std::vector<std::byte>{std::byte{'<'}}}; };
    EXPECT_EQ(lobby.LbNotifyWithData("file:///x", std::nullopt, 0, status), std::nullopt);
    EXPECT_NE(status, 0) << "a reply that cannot be read is no success";
}

TEST_F(LobbyNotifyTest, LeavesTheStatusAloneWhenTheRequestCannotBeWritten)
{
    std::int32_t status = 99;
    EXPECT_EQ(lobby.LbNotifyWithData("file:///\xff", std::nullopt, 0, status), std::nullopt);
    EXPECT_EQ(status, 99);
    EXPECT_THAT(port.requests, IsEmpty());
}

} // namespace
