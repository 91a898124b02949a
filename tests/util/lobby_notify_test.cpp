#include "util/lobby_notify.h"

#include <gtest/gtest.h>

#include "platform/linux/property_list_codec.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/small_services.h"

namespace
{

using platform::MessagePort;
using roamer::Data;
using roamer::Dictionary;
using roamer::PropertyList;

TEST(LobbyNotify, SendsTheRequestAndReadsTheReplyIfThereIsOne)
{
    const fakes::RecordingLog log;
    fakes::FakeMessagePort port;
    const auto codec = platform::makePropertyListCodec();
    roamer::LobbyNotify lobby{port, *codec};
    const auto reply = [&](const PropertyList& value) -> MessagePort::Reply {
        return {0, std::get<Data>(codec->serialise(value, platform::PropertyListCodec::Format::Xml))};
    };
    std::int32_t status = 99;
    EXPECT_EQ(lobby.LbNotifyWithData("file:///x", std::nullopt, 0, status), std::nullopt);
    EXPECT_EQ(status, -3) << "nobody owns the port";
    EXPECT_NE(log.system.back().find("com.kestrel.lobby.notify"), std::string::npos);

    status = 0;
    lobby.LbNotifyWithData("smb://server/\x01", std::nullopt, 0, status);
    EXPECT_EQ(status, -3) << "what cannot be asked for is not mounted";

    const struct {
        const char* name;
        MessagePort::Reply reply;
        std::int32_t status;
        std::optional<std::string> path;
    } cases[] = {
        {"an error", reply(Dictionary{{"Error", 64}}), 64, std::nullopt},
        {"a path beside an error", reply(Dictionary{{"Error", -5045}, {"MountAt", "/x"}}), -5045, "/x"},
        {"no error code is no error", reply(Dictionary{{"MountAt", "/x"}}), 0, "/x"},
        {"a path that is no text", reply(Dictionary{{"Error", 0}, {"MountAt", 5}}), 0, std::nullopt},
        {"no dictionary", reply(roamer::Array{1}), -3, std::nullopt},
        {"silence", {platform::kMessagePortReceiveTimeout, std::nullopt}, platform::kMessagePortReceiveTimeout, {}},
    };
    for (const auto& c : cases) {
        port.answer = [&](const auto&) { return c.reply; };
        EXPECT_EQ(lobby.LbNotifyWithData("nfs://server/homes", "/Volumes/mine", 78408, status), c.path) << c.name;
        EXPECT_EQ(status, c.status) << c.name;
    }

    const auto& sent = port.requests.front();
    EXPECT_EQ(sent.portName + std::to_string(sent.messageId), "com.kestrel.lobby.notify1000");
    EXPECT_EQ(sent.replyTimeout, std::chrono::seconds(20));
    const Dictionary full{{"MountURL", "nfs://server/homes"}, {"MountAt", "/Volumes/mine"}, {"Flags", 0x13248}};
    EXPECT_EQ(std::get<PropertyList>(codec->parse(sent.body)), PropertyList(full));
}

} // namespace
