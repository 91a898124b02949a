#include "braid_agent_world.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

#include <algorithm>
#include <csignal>
#include <map>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "braid/protocol.h"
#include "platform/linux/application.h"
#include "platform/linux/bus_connection.h"
#include "platform/linux/directory_service.h"
#include "platform/linux/property_list_codec.h"
#include "platform/linux/run_loop.h"
#include "platform/linux/sync_engine.h"

namespace
{

namespace protocol = braid::protocol;
using fakes::TempRoot;

int spawn(const std::vector<std::string>& command, const std::string& errorFile)
{
    std::vector<char*> vector;
    for (const auto& part : command)
        vector.push_back(const_cast<char*>(part.c_str()));
    vector.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 2, errorFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t pid = -1;
    const int error = ::posix_spawnp(&pid, vector[0], &actions, nullptr, vector.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) throw std::runtime_error("cannot start " + command[0]);
    return pid;
}

int statusOf(int pid)
{
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {}
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

QDBusMessage callBus(const QString& destination, const QString& path, const QString& interface, const QString& method,
                     const QVariantList& arguments = {})
{
    platform::BusConnection bus(platform::Bus::Session);
    auto message = QDBusMessage::createMethodCall(destination, path, interface, method);
    message.setAutoStartService(false);
    message.setArguments(arguments);
    return bus.connection().call(message);
}

} // namespace

BraidAgentWorld::BraidAgentWorld()
{
    std::filesystem::create_directories(local());
    std::filesystem::create_directories(network());
    writeAccount();
    linkEngine();
    startBus();
    mApplication = platform::makeApplication();
    mLoop = platform::makeRunLoop();
    mManager = platform::makeSyncManager(*mLoop);
}

BraidAgentWorld::~BraidAgentWorld()
{
    if (enginePid() != 0) endEngine(SIGKILL);
    mManager.reset();
    ::kill(mBusPid, SIGTERM);
    statusOf(mBusPid);
}

void BraidAgentWorld::writeAccount()
{
    const auto codec = platform::makePropertyListCodec();
    const auto user = platform::makeDirectoryService(*codec)->loginName();
    TempRoot::writeFile(mRoot.real("/Library/Directory/Local/Users/" + user + ".plist"),
                        "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
                        "<key>axAttrTypeStandard:NFSHomeDirectory</key><array><string>" +
                            local().string() + "</string></array></dict></plist>");
}

void BraidAgentWorld::linkEngine()
{
    const auto program = mRoot.real(protocol::kProgram);
    std::filesystem::create_directories(program.parent_path());
    std::filesystem::create_symlink(BRAID_AGENT_PROGRAM, program);
}

void BraidAgentWorld::startBus()
{
    const auto socket = mRoot.real("/bus");
    const auto config = mRoot.real("/bus.conf");
    TempRoot::writeFile(config, "<busconfig><type>session</type><listen>unix:path=" + socket.string() +
                                    "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
                                    "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
                                    "<allow own=\"*\"/></policy></busconfig>");
    mBusPid = spawn({"dbus-daemon", "--config-file=" + config.string(), "--nofork"}, mRoot.real("/bus.log"));
    for (int attempt = 0; attempt < 200 && !std::filesystem::exists(socket); ++attempt)
        ::usleep(50'000);
    ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + socket.string()).c_str(), 1);
}

bool BraidAgentWorld::waitFor(const std::function<bool()>& condition, double seconds)
{
    const auto end = mLoop->now() + platform::seconds(seconds);
    while (!condition()) {
        if (mLoop->now() > end) return false;
        mLoop->runFor(platform::seconds(0.02));
    }
    return true;
}

int BraidAgentWorld::enginePid()
{
    const auto reply = callBus(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                               QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetConnectionUnixProcessID"),
                               {QString::fromLatin1(protocol::kBusName)});
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0).toInt() : 0;
}

void BraidAgentWorld::endEngine(int signal)
{
    ::kill(enginePid(), signal);
    if (!waitFor([this] { return enginePid() == 0; }, 30)) throw std::runtime_error("the engine does not end");
}

BraidAgentWorld::Run BraidAgentWorld::runEngine(const std::vector<std::string>& arguments)
{
    std::vector<std::string> command{BRAID_AGENT_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const auto output = mRoot.real("/engine.error");
    const int status = statusOf(spawn(command, output));
    return {status, TempRoot::readFile(output)};
}

std::string BraidAgentWorld::introspect()
{
    const auto reply = callBus(QString::fromLatin1(protocol::kBusName), QString::fromLatin1(protocol::kObjectPath),
                               QStringLiteral("org.freedesktop.DBus.Introspectable"), QStringLiteral("Introspect"));
    return reply.arguments().value(0).toString().toStdString();
}

std::string treeOf(const std::filesystem::path& home)
{
    std::map<std::string, std::string> items;
    for (auto item = std::filesystem::recursive_directory_iterator(home); item != end(item); ++item) {
        if (item->path().filename() == ".Braid") {
            item.disable_recursion_pending();
            continue;
        }
        const auto path = item->path().lexically_relative(home).string();
        if (item->is_symlink()) {
            items[path] = "link " + std::filesystem::read_symlink(item->path()).string();
        } else if (item->is_directory()) {
            items[path] = "folder";
        } else {
            const auto content = TempRoot::readFile(item->path());
            items[path] =
                "file " + std::to_string(content.size()) + " " + std::to_string(std::hash<std::string>()(content));
        }
    }
    std::string text;
    for (const auto& [path, content] : items)
        text += path + ": " + content + "\n";
    return text;
}
