#include <gmock/gmock.h>

#include <csignal>
#include <ctime>

#include "windows_rig.h"

namespace
{

using ProgressWindow = tests::WindowsRig;
using roamer::WindowFrame;
using testing::EndsWith;
using testing::StartsWith;

/// A title that tells the person to begin: what is done in createProgress's own step stops nobody.
const std::string go = "Go";

TEST_F(ProgressWindow, ShowsWhatItIsTold)
{
    act(dump("first"));
    create(true);
    EXPECT_THAT(seen("first"), StartsWith("Home Sync|Starting|Home/|Wait|&Cancel|-1 of 0|"));
    progress->destroyProgress();

    act("cancelButton until:Copying until:250 " + dump("second"));
    create(false);
    EXPECT_TRUE(waitFor([&] { return progress->wasCancelled(); }));
    const std::string copying = "Copying", noPath, none;
    progress->updateProgress(0.25, &copying, &noPath, nullptr, &none, std::nullopt);
    EXPECT_THAT(seen("second"), StartsWith("Home Sync|Copying|Wait|250 of 1000|"));
}

TEST_F(ProgressWindow, TellsWhatThePersonDid)
{
    const struct {
        const char* acts;
        bool closeable, stops, cancelled, option, close;
    } cases[] = {
        {"cancelButton", true, true, true, false, false}, {"alt+cancelButton", true, true, true, true, false},
        {"escape", false, true, true, false, false},      {"alt+return", false, true, true, true, false},
        {"alt+c", false, true, true, false, false}, // the letter's Alt is no Option
        {"shift+escape", false, true, true, true, false}, {"close", true, true, false, false, true},
        {"close", false, false, false, false, false},     {"close cancelButton", false, true, true, false, false},
    };
    int number = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.acts);
        const auto done = "done" + std::to_string(++number);
        act("until:Go " + std::string(c.acts) + " " + dump(done));
        hasStopped = false;
        create(c.closeable);
        progress->updateProgress(roamer::kProgressUnchanged, &go, nullptr, nullptr, nullptr, std::nullopt);
        EXPECT_NE(seen(done), "");
        waitFor([&] { return hasStopped || !c.stops; });
        EXPECT_EQ(hasStopped, c.stops);
        EXPECT_EQ(progress->wasCancelled(), c.cancelled);
        EXPECT_EQ(progress->wasOptionCancelled(), c.option);
        EXPECT_EQ(progress->userRequestsClose(), c.close);
        progress->destroyProgress();
    }
}

TEST_F(ProgressWindow, OpensAndStaysWhereThePersonPutsIt)
{
    // The second screen lies to the right of the first one, and 100 lower.
    fakes::TempRoot::writeFile(root.path() / "screens", R"({"screens": [
        {"name": "one", "x": 0, "y": 0, "width": 1200, "height": 800, "logicalDpi": 96, "dpr": 1},
        {"name": "two", "x": 1200, "y": 100, "width": 1000, "height": 800, "logicalDpi": 96, "dpr": 1}]})");
    ::setenv("QT_QPA_PLATFORM", ("offscreen:configfile=" + (root.path() / "screens").string()).c_str(), 1);
    create(true);
    EXPECT_EQ(windows->screenFrames(), (std::vector<WindowFrame>{{0, 0, 1200, 800}, {1200, -100, 1000, 800}}));
    const auto laidOut = progress->destroyProgress();
    ASSERT_EQ(laidOut.width, 560);
    const float height = laidOut.height;

    const WindowFrame onTheSecond{1300, -90, 600, height};
    act(dump("second"));
    create(true, onTheSecond);
    EXPECT_THAT(seen("second"), EndsWith("|1300," + std::to_string(static_cast<int>(890 - height)) + " 600x" +
                                         std::to_string(static_cast<int>(height))));
    EXPECT_EQ(progress->destroyProgress(), onTheSecond);
    create(true, {100, -10, 560, height});
    EXPECT_EQ(progress->destroyProgress(), laidOut) << "below the first one";
    act("move:30,40");
    create(true);
    EXPECT_TRUE(waitFor([&] { return progress->window()->frame().x == 30; }));
    EXPECT_EQ(progress->destroyProgress(), (WindowFrame{30, 760 - height, 560, height}));
}

TEST_F(ProgressWindow, NarrowsByItsButtonAndWidensAgain)
{
    act(dump("before"));
    create(true);
    const auto whole = progress->window()->frame();
    progress->showHideCancelButton(false);
    const WindowFrame narrow{whole.x - 60, whole.y, whole.width - 120, whole.height};
    EXPECT_EQ(progress->window()->frame(), narrow);
    const auto settled = loop->now() + std::chrono::milliseconds(300);
    EXPECT_TRUE(waitFor([&] { return loop->now() > settled; }));
    EXPECT_EQ(progress->window()->frame(), narrow);
    progress->showHideCancelButton(true);
    EXPECT_EQ(progress->destroyProgress(), whole);
}

TEST_F(ProgressWindow, AStormOfUpdatesCostsLittleAndEndsWithTheLastOne)
{
    act("until:last " + dump("end"));
    create(true);
    int served = 0;
    const auto timer = loop->every(std::chrono::milliseconds(10), [&] { ++served; });
    const auto before = std::clock();
    for (int i = 0; i < 20'000; ++i) {
        const auto text = "file " + std::to_string(i);
        progress->updateProgress(i % 100 / 100.0, nullptr, &text, &text, nullptr, std::nullopt);
        if (i % 1000 != 0) continue;
        progress->runModal();
        loop->runFor(std::chrono::milliseconds(10));
    }
    EXPECT_GE(served, 10) << "others have their turn";
    EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC);
    const std::string last = "the last one";
    progress->updateProgress(1.0, nullptr, &last, nullptr, nullptr, std::nullopt);
    EXPECT_THAT(seen("end"), testing::HasSubstr("|the last one|"));
}

TEST_F(ProgressWindow, ALostDisplayIsAWindowThatNobodyTouches)
{
    act("");
    create(true);
    const auto frame = progress->window()->frame();
    waitFor([&] { return windows->isOptionKeyDown() || progress->window()->isVisible(); });
    ::kill(windowPid(), SIGKILL);
    EXPECT_TRUE(waitFor([&] { return !progress->window()->isVisible(); }));
    EXPECT_TRUE(progress->runModal());
    progress->updateProgress(0.5, &title, nullptr, nullptr, nullptr, true);
    progress->showHideCancelButton(false);
    EXPECT_TRUE(waitFor([] { return true; }) && progress->runModal());
    EXPECT_FALSE(hasStopped || progress->wasCancelled() || progress->userRequestsClose());
    EXPECT_EQ(progress->destroyProgress().height, frame.height);
}

TEST_F(ProgressWindow, WithoutADisplayEverythingGoesOn)
{
    for (const char* platform : {"", "xcb", "wayland"}) {
        SCOPED_TRACE(platform);
        const fakes::TempEnvironment refusing{{"QT_QPA_PLATFORM", platform}, {"DISPLAY", ":987"}};
        create(true);
        EXPECT_EQ(progress->window(), nullptr);
        EXPECT_TRUE(progress->runModal());
        EXPECT_FALSE(windows->isOptionKeyDown() || windows->isShiftKeyDown());
        progress->cancel();
        EXPECT_FALSE(progress->runModal()) << "a stop is obeyed";
        EXPECT_EQ(progress->destroyProgress(), WindowFrame{});
    }
}

} // namespace
