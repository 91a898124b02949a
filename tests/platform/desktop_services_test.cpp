// What the agent asks of the desktop's other programs: the managed-client server's alerts, the settings program.

#include <gmock/gmock.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>

#include "platform/failure.h"
#include "platform/linux/application.h"
#include "platform/linux/object_messaging.h"
#include "platform/linux/run_loop.h"
#include "platform/linux/system_settings.h"
#include "tests/fakes/private_bus.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_environment.h"
#include "tests/fakes/temp_root.h"

namespace
{

using namespace std::chrono_literals;
using testing::ElementsAre;

constexpr const char* kVexd = "com.kestrel.vexd";

/// A managed-client server on a connection of its own: notes what it is asked, and answers with what it is told to.
class VexdDouble final : public QDBusVirtualObject
{
public:
    VexdDouble() : mBus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("vexd double")))
    {
        mBus.registerVirtualObject(QStringLiteral("/com/kestrel/vexd"), this);
        mBus.registerService(QLatin1String(kVexd));
    }
    ~VexdDouble() override { QDBusConnection::disconnectFromBus(QStringLiteral("vexd double")); }

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection&) override
    {
        std::string line = (message.interface() + u'.' + message.member()).toStdString();
        const auto texts = qdbus_cast<QMap<QString, QString>>(message.arguments().at(0));
        for (auto text = texts.begin(); text != texts.end(); ++text)
            line += " " + (text.key() + u'=' + text.value()).toStdString();
        for (const auto& more : message.arguments().mid(1))
            line += more.toBool() ? " true" : " false";
        asked.push_back(line);
        if (isGoing) mBus.unregisterService(QLatin1String(kVexd));
        return mBus.send(isGoing ? message.createErrorReply(QDBusError::Failed, QStringLiteral("no more"))
                                 : message.createReply(answer));
    }

    std::vector<std::string> asked;
    QVariantList answer;
    bool isGoing = false;

private:
    QDBusConnection mBus;
};

TEST(VexdProxy, SendsTheTextsThatThereAreAndReturnsTheAnswers)
{
    const fakes::PrivateBus bus;
    const fakes::RecordingLog log;
    const auto application = platform::makeApplication();
    const auto loop = platform::makeRunLoop();
    const auto messaging = platform::makeObjectMessaging([] {}, loop.get());
    EXPECT_EQ(messaging->lookUpVexdServer(kVexd), nullptr);

    VexdDouble server;
    const auto proxy = messaging->lookUpVexdServer(kVexd);
    ASSERT_NE(proxy, nullptr);
    const std::string title = "T", msg = "M", btn = "B", btnAlt = "A", btnOther = "O", cbStr = "C";
    bool checked = false;
    // The loop runs while the person thinks.
    int ticks = 0;
    const auto timer = loop->every(1ms, [&] { ++ticks; });

    proxy->vexAlertNotify({.title = &title, .msg = &msg, .btn = &btn});
    server.answer = {true};
    EXPECT_TRUE(proxy->vexAlertQuery({.title = &title, .msg = &msg, .btn = &btn, .btnAlt = &btnAlt}));
    server.answer = {2};
    EXPECT_EQ(proxy->vexAlertQueryWithOther({.title = &title, .btnOther = &btnOther}), 2);
    server.answer = {false, true};
    EXPECT_FALSE(proxy->vexAlertQueryCB({.title = &title, .cbStr = &cbStr}, true, &checked));
    EXPECT_TRUE(checked);
    server.answer = {3, false};
    EXPECT_EQ(proxy->vexAlertQueryCBWithOther({.title = &title, .cbStr = &cbStr}, &checked), 3);
    EXPECT_FALSE(checked);
    EXPECT_GT(ticks, 0);
    EXPECT_THAT(server.asked, ElementsAre("com.kestrel.vexd.vexAlertNotify btn=B msg=M title=T",
                                          "com.kestrel.vexd.vexAlertQuery btn=B btnAlt=A msg=M title=T",
                                          "com.kestrel.vexd.vexAlertQueryWithOther btnOther=O title=T",
                                          "com.kestrel.vexd.vexAlertQueryCB cbStr=C title=T true",
                                          "com.kestrel.vexd.vexAlertQueryCBWithOther cbStr=C title=T"));
    server.answer = {};
    EXPECT_THROW(proxy->vexAlertQuery({.title = &title}), platform::Failure) << "an answer without a value";
    server.isGoing = true;
    EXPECT_THROW(proxy->vexAlertQuery({.title = &title}), platform::Failure);
    EXPECT_THROW(proxy->vexAlertNotify({.title = &title}), platform::Failure) << "gone, and still addressed";
}

TEST(SystemSettings, StartsTheProgramOfTheDesktopThatRuns)
{
    const fakes::TempRoot root;
    const fakes::RecordingLog log;
    const auto started = root.path() / "started";
    for (const char* program : {"systemsettings5", "xfce4-settings-manager"}) {
        const auto path = root.path() / "bin" / program;
        fakes::TempRoot::writeFile(path, "#!/bin/sh\necho \"${0##*/} $*\" >'" + started.string() + "'\n");
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    }
    const auto settings = platform::makeSystemSettings();
    const auto reveal = [&](const char* desktop, const std::string& path) -> std::string {
        const fakes::TempEnvironment environment{{"XDG_CURRENT_DESKTOP", desktop}, {"PATH", path}};
        std::filesystem::remove(started);
        if (!settings->revealSettingsAnchor("com.kestrel.preferences.users", "mobilityPref")) return "none";
        const auto loop = platform::makeRunLoop();
        for (int i = 0; i < 500 && fakes::TempRoot::readFile(started).empty(); ++i)
            ::usleep(5000);
        return fakes::TempRoot::readFile(started);
    };
    const auto path = (root.path() / "bin").string();
    EXPECT_EQ(reveal("KDE", path), "systemsettings5 kcm_users\n");
    EXPECT_EQ(reveal("ubuntu:XFCE", path), "xfce4-settings-manager \n");
    EXPECT_EQ(reveal("GNOME", path), "systemsettings5 kcm_users\n") << "better than none";
    EXPECT_EQ(reveal("KDE", "/nowhere"), "none");
    EXPECT_EQ(log.countContaining("no settings program is known"), 1);
}

} // namespace
