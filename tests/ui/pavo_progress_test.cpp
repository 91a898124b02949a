#include <gtest/gtest.h>

#include "tests/fakes/fake_bundles.h"
#include "tests/fakes/fake_window_system.h"
#include "ui/pavo_progress.h"

namespace
{

using roamer::PavoProgress;
using roamer::WindowFrame;

class ProgressWindow : public testing::Test
{
protected:
    void create(bool closeable = true, bool keepInFront = false, WindowFrame position = {})
    {
        progress->createProgress(&title, &path, &message, &button, closeable, keepInFront, false, position);
    }
    bool update(double value, const std::string* newTitle = nullptr, const std::string* newPath = nullptr,
                const std::string* newMessage = nullptr, const std::string* newButton = nullptr)
    {
        return progress->updateProgress(value, newTitle, newPath, newMessage, newButton, std::nullopt);
    }
    auto& shown() { return *windows.shown; }

    fakes::FakeWindowSystem windows;
    fakes::FakeBundles bundles;
    std::unique_ptr<PavoProgress> progress = std::make_unique<PavoProgress>(windows, bundles);
    const std::string title = "Starting", path = "Home/", message = "Wait", button = "Cancel", none;
};

TEST_F(ProgressWindow, OpensWithoutTextsAndWithoutAButton)
{
    progress->createProgress(nullptr, nullptr, nullptr, nullptr, false, false, true, {});
    EXPECT_EQ(shown().layout, "PavoProgressNoClose");
    EXPECT_EQ(shown().top + shown().middle + shown().bottom, "");
    EXPECT_TRUE(shown().withoutLogin && shown().bar.indeterminate && shown().bar.animated);
    EXPECT_TRUE(shown().minimized && shown().cancelButton.hidden && !shown().cancelButton.enabled);
    EXPECT_EQ(windows.steps, 1);
}

TEST_F(ProgressWindow, UsesAPositionOnlyWhereTheWindowFits)
{
    // The second screen lies to the right of the first one, and lower.
    windows.screens = {{0, 0, 1440, 900}, {1440, -200, 1000, 800}};
    const struct {
        const char* name;
        WindowFrame position;
        bool used;
    } cases[] = {
        {"none", {}, false},
        {"well inside", {200, 300, 420, 150}, true},
        {"another height", {200, 300, 420, 151}, false},
        {"narrowest", {200, 300, 340, 150}, true},
        {"too narrow", {200, 300, 339, 150}, false},
        {"widest", {200, 300, 740, 150}, true},
        {"too wide", {200, 300, 741, 150}, false},
        {"at the low edges", {0, 0, 400, 150}, true},
        {"top just below the menu bar's strip", {0, 727, 400, 150}, true},
        {"top edge on the strip", {0, 728, 400, 150}, false},
        {"no strip on the second screen", {1500, 449, 400, 150}, true},
        {"top edge on the second screen's edge", {1500, 450, 400, 150}, false},
        {"right edge on the last screen's edge", {2040, 0, 400, 150}, false},
        {"corners on two screens", {1300, 100, 400, 150}, true},
        {"left of all screens", {-1, 100, 400, 150}, false},
    };
    for (const auto& c : cases) {
        create(true, false, c.position);
        EXPECT_EQ(shown().frame, c.used ? c.position : windows.layoutFrame) << c.name;
        EXPECT_EQ(shown().key, c.used) << c.name;
    }
}

TEST_F(ProgressWindow, BarFollowsTheValue)
{
    const struct {
        double value;
        bool movesBefore;
        double shownValue;
        bool moves;
    } cases[] = {
        {0.0, true, 0.0, false},  {0.25, true, 0.25, false},
        {1.7, false, 1.0, false}, {-3.0, false, 0.5, true}, // animate
        {-1.0, true, 0.5, true},                            // leave it
    };
    create();
    for (const auto& c : cases) {
        shown().bar = {.value = 0.5, .indeterminate = c.movesBefore, .animated = c.movesBefore};
        update(c.value);
        EXPECT_EQ(shown().bar.value, c.shownValue) << c.value;
        EXPECT_TRUE(shown().bar.indeterminate == c.moves && shown().bar.animated == c.moves) << c.value;
    }
    update(-2.0);
    EXPECT_TRUE(shown().bar.indeterminate && !shown().bar.animated) << "stopped";
}

TEST_F(ProgressWindow, CancelStopsTheSessionUntilItIsArmedAgainButOptionStaysRecorded)
{
    create();
    windows.onStep = [&] { windows.owner->cancel(); };
    EXPECT_FALSE(progress->runModal());
    EXPECT_TRUE(progress->wasCancelled() && !progress->wasOptionCancelled());
    EXPECT_FALSE(shown().cancelButton.enabled);
    EXPECT_TRUE(update(-1.0)) << "tells that it was cancelled before";

    windows.onStep = nullptr;
    progress->refreshProgress();
    EXPECT_TRUE(!progress->wasCancelled() && shown().cancelButton.enabled);
    EXPECT_TRUE(progress->runModal());
    windows.optionKey = true;
    progress->cancel();
    windows.optionKey = false;
    progress->refreshProgress();
    progress->cancel();
    EXPECT_TRUE(progress->wasOptionCancelled());

    PavoProgress other(windows, bundles);
    other.cancelAll();
    EXPECT_TRUE(other.wasCancelled() && other.wasOptionCancelled());
}

TEST_F(ProgressWindow, GoesAndSaysWhereItWasEvenInsideAStep)
{
    create();
    shown().frame = {7, 8, 410, 150};
    windows.onStep = [&] {
        EXPECT_EQ(progress->destroyProgress(), (WindowFrame{7, 8, 410, 150}));
        EXPECT_EQ(progress->destroyProgress(), WindowFrame{});
        progress.reset();
    };
    EXPECT_FALSE(progress->runModal());
    EXPECT_TRUE(shown().closed);
    EXPECT_EQ(windows.sessionsEnded, windows.sessionsBegun);
    EXPECT_EQ(PavoProgress::pavoProgress(), nullptr);
}

} // namespace
