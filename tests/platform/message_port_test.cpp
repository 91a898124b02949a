#include "platform/linux/message_port.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

#include "command_line.h"
#include "platform/linux/application.h"
#include "platform/linux/lobby_holds.h"
#include "platform/linux/lobby_requests.h"
#include "platform/linux/port_server.h"
#include "platform/linux/property_list_codec.h"
#include "platform/linux/run_loop.h"
#include "tests/fakes/private_bus.h"
#include "util/lobby_notify.h"

namespace
{

using namespace std::chrono_literals;
using platform::PropertyListCodec;
using roamer::Dictionary;
using testing::HasSubstr;

std::vector<std::byte> bytesOf(const std::string& text)
{
    const auto* first = reinterpret_cast<const std::byte*>(text.data());
    return {first, first + text.size()};
}

class MessagePortTest : public testing::Test
{
protected:
    fakes::PrivateBus bus;
    std::unique_ptr<platform::Application> application = platform::makeApplication();
    std::unique_ptr<platform::RunLoop> loop = platform::makeRunLoop();
    std::unique_ptr<PropertyListCodec> codec = platform::makePropertyListCodec();
    std::unique_ptr<platform::MessagePort> port = platform::makeMessagePort();

    std::unique_ptr<platform::PortServer> serve(platform::PortServer::Handler handler)
    {
        return platform::servePort(platform::PortServer::Place::SessionBus, "com.kestrel.test", std::move(handler),
                                   nullptr);
    }
};

TEST_F(MessagePortTest, CarriesAnyBytesFromAnyThreadAndBack)
{
    std::string everyByte;
    for (int i = 0; i < 256; ++i)
        everyByte += static_cast<char>(i);
    const auto server = serve([](std::int32_t id, std::vector<std::byte> body) {
        body.push_back(static_cast<std::byte>(id));
        return body;
    });
    ASSERT_NE(server, nullptr);
    std::optional<platform::MessagePort::Reply> reply, empty;
    whileServing(*loop, [&] {
        reply = port->request("com.kestrel.test", -2, bytesOf(everyByte), 0s, 20s);
        empty = port->request("com.kestrel.test", 7, {}, 0s, 20s);
    });
    ASSERT_TRUE(reply && reply->data && empty && empty->data);
    EXPECT_EQ(reply->result, 0);
    EXPECT_EQ(*reply->data, bytesOf(everyByte + '\xfe'));
    EXPECT_EQ(*empty->data, bytesOf("\x07"));
}

TEST_F(MessagePortTest, TellsNobodyThereFromNobodyAnswering)
{
    EXPECT_EQ(port->request("com.kestrel.test", 1, {}, 0s, 1s), std::nullopt);
    // This thread does not run its loop, so that the port it serves stays silent.
    const auto server = serve([](std::int32_t, const auto& body) { return body; });
    ASSERT_NE(server, nullptr);
    std::optional<platform::MessagePort::Reply> reply;
    std::thread client([&] { reply = port->request("com.kestrel.test", 1, {}, 0s, 1s); });
    client.join();
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->result, platform::kMessagePortReceiveTimeout);
    EXPECT_FALSE(reply->data);
    EXPECT_EQ(serve([](std::int32_t, const auto& body) { return body; }), nullptr) << "the port is taken";
}

class LobbyRequestsTest : public testing::Test
{
protected:
    std::unique_ptr<PropertyListCodec> codec = platform::makePropertyListCodec();
    platform::LobbyRequests requests{*codec};

    Dictionary answerTo(std::int32_t id, const std::vector<std::byte>& body)
    {
        const auto parsed = codec->parse(requests.answer(id, body));
        return *std::get<roamer::PropertyList>(parsed).as<Dictionary>();
    }
    Dictionary answerTo(std::int32_t id, const Dictionary& request)
    {
        return answerTo(id,
                        std::get<std::vector<std::byte>>(codec->serialise(request, PropertyListCodec::Format::Xml)));
    }
};

struct BadRequest {
    const char* name;
    std::int32_t id;
    std::vector<std::byte> body;
    int error;
};

TEST_F(LobbyRequestsTest, AnswersBadRequestsWithAnError)
{
    const auto written = [this](const roamer::PropertyList& value) {
        return std::get<std::vector<std::byte>>(codec->serialise(value, PropertyListCodec::Format::Xml));
    };
    const BadRequest cases[] = {
        {"nothing", 1000, {}, EINVAL},
        {"no property list", 1000, bytesOf("<plist><dict>"), EINVAL},
        {"no dictionary", 1000, written(roamer::Array{"file:///tmp"}), EINVAL},
        {"no URL", 1000, written(Dictionary{{"Flags", 1}}), EINVAL},
        {"a URL that is a number", 1000, written(Dictionary{{"MountURL", 5}}), EINVAL},
        {"a huge body", 1000, bytesOf(std::string(1 << 20, ' ')), EMSGSIZE},
        {"an unknown message", 999, written(Dictionary{{"MountURL", "file:///tmp"}}), ENOSYS},
        {"another kind of share", 1000, written(Dictionary{{"MountURL", "nfs://server/homes"}}), EPROTONOSUPPORT},
        {"no kind at all", 1000, written(Dictionary{{"MountURL", "/tmp"}}), EPROTONOSUPPORT},
        {"a missing folder", 1000, written(Dictionary{{"MountURL", "file:///nowhere/at/all"}}), ENOENT},
        {"giving up what nobody holds", platform::kLobbyGiveUpMessage, written(Dictionary{{"MountAt", "/tmp"}}),
         ENOENT},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto answer = answerTo(c.id, c.body);
        EXPECT_EQ(answer, (Dictionary{{"Error", c.error}}));
    }
}

TEST_F(LobbyRequestsTest, HoldsAFolderUntilEverybodyHasGivenItUp)
{
    const Dictionary request{{"MountURL", "file:///tmp/"}, {"Flags", 78408}};
    const Dictionary path{{"MountAt", "/tmp"}};
    const auto code = [this, &path](std::int32_t id) { return *answerTo(id, path).at("Error").integerReading(); };
    EXPECT_EQ(code(platform::kLobbyIsHeldMessage), ENOENT);
    EXPECT_EQ(answerTo(1000, request), (Dictionary{{"Error", 0}, {"MountAt", "/tmp"}}));
    answerTo(1000, request);
    EXPECT_EQ(code(platform::kLobbyGiveUpMessage), 0);
    EXPECT_EQ(code(platform::kLobbyIsHeldMessage), 0);
    EXPECT_EQ(code(platform::kLobbyGiveUpMessage), 0);
    EXPECT_EQ(code(platform::kLobbyIsHeldMessage), ENOENT);
    EXPECT_TRUE(std::filesystem::is_directory("/tmp")) << "nothing was unmounted or removed";
}

/// The real program beside the test program.
class LobbydTest : public MessagePortTest
{
protected:
    std::string program = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "lobbyd";
    pid_t daemon = -1;

    void TearDown() override
    {
        if (daemon <= 0) return;
        ::kill(daemon, SIGTERM);
        ::waitpid(daemon, nullptr, 0);
    }

    /// Comes back when it says that it serves; the line.
    std::string start()
    {
        int out[2];
        if (::pipe2(out, O_CLOEXEC) != 0) return {};
        daemon = ::fork();
        if (daemon == 0) {
            ::dup2(out[1], STDOUT_FILENO);
            ::execl(program.c_str(), "lobbyd", nullptr);
            ::_exit(127);
        }
        ::close(out[1]);
        char line[200] = {};
        const auto count = ::read(out[0], line, sizeof line);
        ::close(out[0]);
        return {line, static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
    }
};

TEST_F(LobbydTest, MountsFileSharesForTheAgentsRequest)
{
    EXPECT_EQ(start(), "lobbyd: serving \"com.kestrel.lobby.notify\" on the session bus\n");
    roamer::LobbyNotify lobby(*port, *codec);
    std::int32_t status = 99;
    EXPECT_EQ(lobby.LbNotifyWithData("file://" + bus.folder(), std::nullopt, 78408, status), bus.folder());
    EXPECT_EQ(status, 0);
    EXPECT_EQ(lobby.LbNotifyWithData("nfs://server/homes", std::nullopt, 78408, status), std::nullopt);
    EXPECT_EQ(status, EPROTONOSUPPORT);

    const auto second = runCommand(program + " --session");
    EXPECT_EQ(second.status, 1);
    EXPECT_THAT(second.output, HasSubstr("com.kestrel.lobby.notify"));
    bus.stop();
    int ended = -1;
    EXPECT_EQ(::waitpid(daemon, &ended, 0), daemon);
    EXPECT_TRUE(WIFEXITED(ended) && WEXITSTATUS(ended) == 0) << "it ends with its bus";
    daemon = -1;
}

TEST_F(LobbydTest, SaysWhatIsWrongWithItsArguments)
{
    for (const char* arguments : {" --both", " --session --system", " session"})
        EXPECT_EQ(runCommand(program + arguments).status, 2) << arguments;
    EXPECT_EQ(runCommand(program + " --system").status, 1) << "there is no system bus here";
}

} // namespace
