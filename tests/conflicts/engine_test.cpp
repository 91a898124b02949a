// The window and the real engine: what is decided in the one is settled in the other.

#include <gtest/gtest.h>

#include <QDBusConnectionInterface>
#include <QPushButton>
#include <QTest>

#include <algorithm>
#include <csignal>

#include <unistd.h>

#include "braid/conflicts/conflicts_window.h"
#include "braid/protocol.h"
#include "platform/linux/bus_connection.h"
#include "platform/linux/directory_service.h"
#include "platform/linux/property_list_codec.h"
#include "platform/linux/run_loop.h"
#include "platform/linux/sync_engine.h"
#include "tests/conflicts/offscreen.h"
#include "tests/fakes/private_bus.h"
#include "tests/fakes/temp_root.h"

namespace
{

namespace protocol = braid::protocol;
using namespace braid::window;
using fakes::TempRoot;

class WindowAndEngine : public testing::Test
{
protected:
    WindowAndEngine()
    {
        beOffscreen();
        speak(Language::English);
        std::filesystem::create_directories(mLocal);
        std::filesystem::create_directories(mNetwork);
        const auto codec = platform::makePropertyListCodec();
        TempRoot::writeFile(mRoot.real("/Library/Directory/Local/Users/" +
                                       platform::makeDirectoryService(*codec)->loginName() + ".plist"),
                            "<plist><dict><key>axAttrTypeStandard:NFSHomeDirectory</key><array><string>" +
                                mLocal.string() + "</string></array></dict></plist>");
        const auto programs = mRoot.real(protocol::kProgram).parent_path();
        std::filesystem::create_directories(programs);
        for (const char* program : {"BraidAgent", "BraidConflicts"})
            std::filesystem::create_symlink(std::filesystem::path(BRAID_PROGRAMS) / program, programs / program);
    }
    ~WindowAndEngine() override
    {
        auto bus = mBus.connection();
        ::kill(static_cast<pid_t>(bus.interface()->servicePid(QString::fromLatin1(protocol::kBusName))), SIGTERM);
        EXPECT_TRUE(QTest::qWaitFor([this] { return !mManager->syncAgentIsRunning(); }));
    }
    /// Two homes in step but for one file that was changed on both sides.
    std::shared_ptr<platform::PhdSyncSet> makeConflict()
    {
        auto set = mManager->createPHDSyncSet("Roamer_Mirror", std::nullopt, std::nullopt);
        set->setRemoteHomePath(mNetwork.string());
        for (auto* peer : {&set->localPeer(), &set->remotePeer()}) {
            peer->setInclusionSets({{}});
            peer->setExclusionSets({{}});
        }
        set->setDefaultSyncOptions({{{platform::kSyncOptionExclusionInclusionSetIndexKey, 0}}});
        TempRoot::writeFile(mLocal / "plan.txt", "before");
        pass(*set);
        TempRoot::writeFile(mLocal / "plan.txt", "changed here");
        TempRoot::writeFile(mNetwork / "plan.txt", "changed there too");
        pass(*set);
        return set;
    }
    static void pass(platform::PhdSyncSet& set)
    {
        set.startSync();
        EXPECT_TRUE(QTest::qWaitFor([&] { return set.state() == 0; }, 60'000));
    }
    static bool windowIsUp(platform::PhdSyncSet& set)
    {
        return set.info().at(platform::kSyncSetUIAppRunningKey) == roamer::PropertyList(true);
    }

    TempRoot mRoot;
    fakes::PrivateBus mPrivateBus;
    const std::filesystem::path mLocal = mRoot.real("/homes/jo"), mNetwork = mRoot.real("/share/jo");
    platform::BusConnection mBus{platform::Bus::Session};
    std::unique_ptr<platform::RunLoop> mLoop = platform::makeRunLoop();
    std::unique_ptr<platform::SyncManager> mManager = platform::makeSyncManager(*mLoop);
};

TEST_F(WindowAndEngine, APressedButtonSettlesTheConflictAndTheCountFalls)
{
    const auto set = makeConflict();
    EXPECT_TRUE(windowIsUp(*set)) << "the engine's own one, before the pass is idle";
    EXPECT_EQ(set->unresolvedConflictCount(), 1U);

    EngineClient client(mBus.connection());
    ConflictsWindow window(client, false);
    window.show();
    QPushButton* button = nullptr;
    EXPECT_TRUE(QTest::qWaitFor([&] {
        const auto all = window.findChildren<QPushButton*>();
        const auto found = std::ranges::find_if(
            all, [](auto* item) { return item->isVisible() && item->text() == words(Text::KeepNetwork); });
        return (button = found == all.end() ? nullptr : *found) != nullptr;
    }));
    ASSERT_NE(button, nullptr);
    QTest::mouseClick(button, Qt::LeftButton);
    EXPECT_TRUE(QTest::qWaitFor([&] { return set->unresolvedConflictCount() == 0; }, 60'000));
    EXPECT_EQ(TempRoot::readFile(mLocal / "plan.txt"), "changed there too");
}

TEST_F(WindowAndEngine, ClosingTheWindowLeavesNothingToWaitFor)
{
    const auto set = makeConflict();
    EngineClient client(mBus.connection());
    ConflictsWindow window(client, false);
    window.show();
    EXPECT_TRUE(QTest::qWaitFor([&] { return window.findChild<QPlainTextEdit*>()->isVisible(); }));
    window.close();
    EXPECT_EQ(set->unresolvedConflictCount(), 0U);
    pass(*set);
    EXPECT_EQ(set->unresolvedConflictCount(), 0U) << "nor does the next pass count it again";
    EXPECT_EQ(TempRoot::readFile(mLocal / "plan.txt"), "changed here");
}

} // namespace
