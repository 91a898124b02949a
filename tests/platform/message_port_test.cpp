#include "platform/linux/message_port.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "platform/linux/application.h"
#include "platform/linux/lobby_holds.h"
#include "platform/linux/lobby_requests.h"
#include "platform/linux/port_server.h"
#include "platform/linux/property_list_codec.h"
#include "platform/linux/run_loop.h"
#include "property_list_bytes.h"
#include "tests/fakes/command_line.h"
#include "tests/fakes/private_bus.h"
#include "util/lobby_notify.h"

namespace
{

using namespace std::chrono_literals;
using platform::PropertyListCodec;
using roamer::Data;
using roamer::Dictionary;
using Reply = std::optional<platform::MessagePort::Reply>;

class MessagePortTest : public testing::Test
{
protected:
    fakes::PrivateBus bus;
    std::unique_ptr<platform::Application> application = platform::makeApplication();
    std::unique_ptr<platform::RunLoop> loop = platform::makeRunLoop();
    std::unique_ptr<platform::MessagePort> port = platform::makeMessagePort();

    static std::unique_ptr<platform::PortServer> serve()
    {
        return platform::servePort(
            platform::PortServer::Place::SessionBus, "com.kestrel.test",
            [](std::int32_t, const Data& body) { return body; }, nullptr);
    }
};

TEST_F(MessagePortTest, TellsNobodyThereFromNobodyAnsweringAndAnAnswer)
{
    EXPECT_EQ(port->request("com.kestrel.test", 1, {}, 0s, 1s), std::nullopt);
    const auto server = serve();
    EXPECT_EQ(serve(), nullptr) << "the port is taken";
    Reply reply;
    // This thread does not run its loop, so that the port it serves stays silent.
    std::thread([&] { reply = port->request("com.kestrel.test", 1, {}, 0s, 1s); }).join();
    EXPECT_EQ(reply.value().result, platform::kMessagePortReceiveTimeout);
    EXPECT_FALSE(reply->data);
    const Data bytes{std::byte{0}, std::byte{'a'}, std::byte{0xff}};
    fakes::whileServing(*loop, [&] { reply = port->request("com.kestrel.test", -2, bytes, 0s, 20s); });
    EXPECT_EQ(reply.value().data, bytes);
}

TEST(LobbyRequests, AreAnsweredAndCountedWhateverTheyAre)
{
    const auto codec = platform::makePropertyListCodec();
    platform::LobbyRequests requests{*codec};
    const auto written = [&](const roamer::PropertyList& value) {
        return std::get<Data>(codec->serialise(value, PropertyListCodec::Format::Xml));
    };
    const auto error = [&](std::int32_t id, const Data& body) {
        const auto answer = std::get<roamer::PropertyList>(codec->parse(requests.answer(id, body)));
        return answer.as<Dictionary>()->at("Error").integerReading();
    };
    const auto tmp = written(Dictionary{{"MountURL", "file:///tmp/"}, {"Flags", 78408}});
    const auto at = written(Dictionary{{"MountAt", "/tmp"}});
    const struct {
        const char* name;
        std::int32_t id;
        Data body;
        int error;
    } cases[] = {
        {"nothing", 1000, {}, EINVAL},
        {"no dictionary", 1000, written(roamer::Array{"file:///tmp"}), EINVAL},
        {"a URL that is a number", 1000, written(Dictionary{{"MountURL", 5}}), EINVAL},
        {"a huge body", 1000, Data(1 << 20, std::byte{' '}), EMSGSIZE},
        {"an unknown message", 999, tmp, ENOSYS},
        {"a missing folder", 1000, written(Dictionary{{"MountURL", "file:///nowhere/at/all"}}), ENOENT},
        {"giving up what nobody holds", platform::kLobbyGiveUpMessage, at, ENOENT},
        {"one holds it", 1000, tmp, 0},
        {"a second one", 1000, tmp, 0},
        {"the first gives it up", platform::kLobbyGiveUpMessage, at, 0},
        {"it is still held", platform::kLobbyIsHeldMessage, at, 0},
        {"the last gives it up", platform::kLobbyGiveUpMessage, at, 0},
        {"nobody holds it", platform::kLobbyIsHeldMessage, at, ENOENT},
    };
    for (const auto& c : cases)
        EXPECT_EQ(error(c.id, c.body), c.error) << c.name;
}

/// The real program beside the test program.
TEST_F(MessagePortTest, LobbydMountsFileSharesAloneAndEndsWithItsBus)
{
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "lobbyd";
    std::FILE* out = ::popen(program.c_str(), "r");
    char line[200] = {};
    EXPECT_STREQ(std::fgets(line, sizeof line, out),
                 "lobbyd: serving \"com.kestrel.lobby.notify\" on the session bus\n");
    const auto codec = platform::makePropertyListCodec();
    roamer::LobbyNotify lobby(*port, *codec);
    std::int32_t status = 99;
    EXPECT_EQ(lobby.LbNotifyWithData("file://" + bus.folder(), std::nullopt, 78408, status), bus.folder());
    EXPECT_EQ(status, 0);
    EXPECT_EQ(lobby.LbNotifyWithData("nfs://server/homes", std::nullopt, 78408, status), std::nullopt);
    EXPECT_EQ(status, EPROTONOSUPPORT);
    EXPECT_EQ(fakes::runCommand(program + " --session").status, 1) << "the name is taken";
    EXPECT_EQ(fakes::runCommand(program + " --both").status, 2);
    EXPECT_EQ(fakes::runCommand(program + " --system").status, 1) << "there is no system bus here";
    bus.stop();
    EXPECT_EQ(::pclose(out), 0);
}

} // namespace
