// The window and the real engine: what is closed in the one is settled in the other. That a pressed button is, a login
// shows in tests/integration.

#include <QDBusConnectionInterface>
#include <QTest>

#include <csignal>

#include "braid/conflicts/conflicts_window.h"
#include "platform/linux/bus_connection.h"
#include "platform/linux/run_loop.h"
#include "tests/conflicts/offscreen.h"
#include "tests/fakes/engine_rig.h"

namespace
{

using fakes::TempRoot;

class WindowAndEngine : public fakes::EngineRig
{
protected:
    WindowAndEngine() { beOffscreen(); }
    ~WindowAndEngine() override
    {
        auto bus = mBus.connection();
        ::kill(static_cast<pid_t>(bus.interface()->servicePid(QString::fromLatin1(braid::protocol::kBusName))),
               SIGTERM);
        EXPECT_TRUE(QTest::qWaitFor([this] { return !mManager->syncAgentIsRunning(); }));
    }
    static void pass(platform::PhdSyncSet& set)
    {
        set.startSync();
        EXPECT_TRUE(QTest::qWaitFor([&] { return set.state() == 0; }, 60'000));
    }

    platform::BusConnection mBus{platform::Bus::Session};
    std::unique_ptr<platform::RunLoop> mLoop = platform::makeRunLoop();
    std::unique_ptr<platform::SyncManager> mManager = platform::makeSyncManager(*mLoop);
};

TEST_F(WindowAndEngine, ClosingTheWindowLeavesNothingToWaitFor)
{
    const auto set = createSet(*mManager);
    TempRoot::writeFile(mLocal / "plan.txt", "before");
    pass(*set);
    TempRoot::writeFile(mLocal / "plan.txt", "changed here");
    TempRoot::writeFile(mNetwork / "plan.txt", "changed there too");
    pass(*set);
    EXPECT_EQ(set->info().at(platform::kSyncSetUIAppRunningKey), roamer::PropertyList(true))
        << "the engine's own window is up before the pass is idle";
    EXPECT_EQ(set->unresolvedConflictCount(), 1U);

    braid::window::EngineClient client(mBus.connection());
    braid::window::ConflictsWindow window(client, false);
    window.show();
    EXPECT_TRUE(QTest::qWaitFor([&] { return window.findChild<QPlainTextEdit*>()->isVisible(); }));
    window.close();
    EXPECT_EQ(set->unresolvedConflictCount(), 0U);
    pass(*set);
    EXPECT_EQ(set->unresolvedConflictCount(), 0U) << "nor does the next pass count it again";
    EXPECT_EQ(TempRoot::readFile(mLocal / "plan.txt"), "changed here");
}

} // namespace
