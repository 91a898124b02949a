#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/fakes/fake_bundles.h"
#include "tests/fakes/fake_window_system.h"
#include "tests/fakes/recording_log.h"
#include "ui/pavo_progress.h"

using roamer::PavoProgress;
using roamer::WindowFrame;

namespace
{

struct ProgressWindow : testing::Test {
    fakes::RecordingLog log;
    fakes::FakeWindowSystem windows;
    fakes::FakeBundles bundles;
    std::unique_ptr<PavoProgress> progress;

    ProgressWindow()
    {
        auto& custodia = bundles.bundles[platform::kCustodiaBundlePath];
        custodia.dictionaries["English/localizable.strings"] = {{"PAVO_PROG_WINDOW_TITLE", "Home Sync"}};
        custodia.dictionaries["mobility_64.tiff"] = {};
        progress = std::make_unique<PavoProgress>(windows, bundles);
    }
    void create(bool closeable = true, bool keepInFront = false, WindowFrame position = {}, bool minimized = false)
    {
        progress->createProgress(&title, &path, &message, &button, closeable, keepInFront, minimized, position);
    }
    bool update(double value, const std::string* newTitle = nullptr, const std::string* newPath = nullptr,
                const std::string* newMessage = nullptr, const std::string* newButton = nullptr)
    {
        return progress->updateProgress(value, newTitle, newPath, newMessage, newButton, std::nullopt);
    }
    auto& shown() { return *windows.shown; }

    const std::string title = "Starting", path = "Home/", message = "Wait", button = "Cancel", none;
};

} // namespace

TEST_F(ProgressWindow, OpensWithTextsAndTakesItsFirstStep)
{
    create(true, false, {}, true);
    EXPECT_EQ(shown().layout, "PavoProgress");
    EXPECT_EQ(shown().title, "Home Sync");
    EXPECT_EQ(shown().imagePath, std::string(platform::kCustodiaBundlePath) + "/Contents/Resources/mobility_64.tiff");
    EXPECT_EQ(shown().top + "|" + shown().middle + "|" + shown().bottom, "Starting|Home/|Wait");
    EXPECT_EQ(shown().cancelButton.title, "Cancel");
    EXPECT_FALSE(shown().cancelButton.hidden);
    EXPECT_TRUE(shown().withoutLogin);
    EXPECT_TRUE(shown().minimized);
    EXPECT_TRUE(shown().bar.indeterminate && shown().bar.animated);
    EXPECT_EQ(shown().bar.low, 0.0);
    EXPECT_EQ(shown().bar.high, 1.0);
    EXPECT_EQ(windows.steps, 1);
    EXPECT_EQ(windows.activations, 1);
    EXPECT_TRUE(progress->hasCloseBox());
    EXPECT_EQ(shown().minimum, std::pair(static_cast<float>(0.85 * 400), 150.0F));
    EXPECT_EQ(shown().maximum, std::pair(static_cast<float>(1.85 * 400), 150.0F));
    EXPECT_TRUE(log.has(2, "PavoProgress.createProgress: title=\"Starting\", message=\"Wait\", buttonText=\"Cancel\", "
                           "closeable=1, minimized=1"));
    EXPECT_TRUE(log.has(2, "PavoProgress.createProgress: position.origin.x=0.000000, position.origin.y=0.000000, "
                           "position.size.width=0.000000, position.size.height=0.000000"));
}

TEST_F(ProgressWindow, MissingTextsAndResourcesShowAsNothing)
{
    bundles.bundles[platform::kCustodiaBundlePath].dictionaries.clear();
    progress->createProgress(nullptr, nullptr, nullptr, nullptr, false, false, false, {});
    EXPECT_EQ(shown().layout, "PavoProgressNoClose");
    EXPECT_EQ(shown().title + shown().top + shown().middle + shown().bottom + shown().imagePath, "");
    EXPECT_TRUE(shown().cancelButton.hidden);
    EXPECT_FALSE(shown().cancelButton.enabled);
    EXPECT_FALSE(progress->hasCloseBox());
    EXPECT_EQ(shown().frame, (WindowFrame{60, 200, 320, 150})) << "narrower by the button, moved by half of it";
}

TEST_F(ProgressWindow, UsesAPositionOnlyWhereTheWindowFits)
{
    struct Case {
        const char* name;
        WindowFrame position;
        bool used;
    };
    // The second screen lies to the right of the first one, and lower.
    windows.screens = {{0, 0, 1440, 900}, {1440, -200, 1000, 800}};
    const Case cases[] = {
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
        SCOPED_TRACE(c.name);
        create(true, false, c.position);
        EXPECT_EQ(shown().frame, c.used ? c.position : windows.layoutFrame);
        EXPECT_EQ(shown().key, c.used);
        if (!c.used) continue;
        EXPECT_FALSE(shown().frameChanges.back().redraw);
        EXPECT_FALSE(shown().frameChanges.back().animate);
    }
    EXPECT_TRUE(log.has(2, "PavoProgress.createProgress: testPointOne.x=1500.000000, testPointOne.y=449.000000, "
                           "testPointTwo.x=1900.000000, testPointTwo.y=599.000000"));
    EXPECT_TRUE(log.has(2,
                        "PavoProgress.createProgress: validRect.origin.x=1440.000000, validRect.origin.y=-200.000000, "
                        "validRect.size.width=1000.000000, validRect.size.height=800.000000"));
    EXPECT_TRUE(log.has(2, "PavoProgress.createProgress: after menu bar adjustment: validRect.origin.x=0.000000, "
                           "validRect.origin.y=0.000000, validRect.size.width=1440.000000, "
                           "validRect.size.height=878.000000"));
}

TEST_F(ProgressWindow, UpdatesOnlyTheTextsThatAreGiven)
{
    create();
    const int changesBefore = shown().textChanges;
    const std::string changed = "Other";
    update(-1.0);
    update(-1.0, &none, &path, &message, &button);
    EXPECT_EQ(shown().textChanges, changesBefore) << "null, equal or, for the title, empty";
    update(-1.0, &changed, &none, &none);
    EXPECT_EQ(shown().top + "|" + shown().middle + "|" + shown().bottom, "Other||");
    EXPECT_TRUE(log.has(2, "PavoProgress.updateProgress: value=-1.000000, title=\"Other\", path=\"\", message=\"\", "
                           "button=\"(null)\""));
}

TEST_F(ProgressWindow, BarFollowsTheValue)
{
    struct Case {
        const char* name;
        double value;
        bool indeterminateBefore;
        double shownValue;
        bool indeterminate;
        bool animated;
    };
    const Case cases[] = {
        {"empty", 0.0, true, 0.0, false, false},
        {"some", 0.25, true, 0.25, false, false},
        {"more than all", 1.7, false, 1.0, false, false},
        {"animate", -3.0, false, 0.5, true, true},
        {"animate again", -3.0, true, 0.5, true, true},
        {"stop", -2.0, true, 0.5, true, false},
        {"stop what does not move", -2.0, false, 0.5, false, false},
        {"leave", -1.0, true, 0.5, true, true},
        {"leave, too", -2.5, true, 0.5, true, true},
    };
    create();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        shown().bar = {.value = 0.5, .indeterminate = c.indeterminateBefore, .animated = c.indeterminateBefore};
        update(c.value);
        EXPECT_EQ(shown().bar.value, c.shownValue);
        EXPECT_EQ(shown().bar.indeterminate, c.indeterminate);
        EXPECT_EQ(shown().bar.animated, c.animated);
    }
    update(0.5);
    const int changes = shown().bar.valueChanges;
    update(0.5);
    EXPECT_EQ(shown().bar.valueChanges, changes) << "no redraw for the same value";
}

TEST_F(ProgressWindow, ButtonComesAndGoesWithItsText)
{
    create();
    const std::string skip = "Skip";
    update(-1.0, nullptr, nullptr, nullptr, &none);
    EXPECT_TRUE(shown().cancelButton.hidden);
    EXPECT_FALSE(shown().cancelButton.enabled);
    EXPECT_EQ(shown().frame, (WindowFrame{60, 200, 320, 150}));
    EXPECT_FALSE(shown().frameChanges.back().redraw);
    EXPECT_TRUE(shown().frameChanges.back().animate);
    update(-1.0, nullptr, nullptr, nullptr, &skip);
    EXPECT_EQ(shown().cancelButton.title, "Skip");
    EXPECT_TRUE(shown().cancelButton.enabled);
    EXPECT_EQ(shown().frame, windows.layoutFrame);
    EXPECT_TRUE(shown().frameChanges.back().redraw && shown().frameChanges.back().animate);

    shown().cancelButton.width = 400;
    progress->showHideCancelButton(false);
    EXPECT_EQ(shown().frame, windows.layoutFrame) << "never a window without width";
}

TEST_F(ProgressWindow, CancelStopsTheSessionUntilItIsArmedAgain)
{
    create();
    windows.onStep = [&] { windows.owner->cancel(); };
    EXPECT_FALSE(progress->runModal());
    EXPECT_EQ(windows.sessionsEnded, 1);
    EXPECT_TRUE(progress->wasCancelled());
    EXPECT_FALSE(progress->wasOptionCancelled());
    EXPECT_FALSE(shown().cancelButton.enabled);
    EXPECT_TRUE(update(-1.0)) << "tells that it was cancelled before";

    windows.onStep = nullptr;
    progress->refreshProgress();
    EXPECT_FALSE(progress->wasCancelled());
    EXPECT_TRUE(shown().cancelButton.enabled);
    EXPECT_TRUE(progress->runModal());
    EXPECT_EQ(windows.sessionsBegun, 2);
    EXPECT_FALSE(update(-1.0));
}

TEST_F(ProgressWindow, CancelWithOptionStaysRecorded)
{
    create();
    windows.optionKey = true;
    progress->cancel();
    windows.optionKey = false;
    progress->refreshProgress();
    progress->cancel();
    EXPECT_TRUE(progress->wasCancelled() && progress->wasOptionCancelled());

    PavoProgress other(windows, bundles);
    other.createProgress(&title, &path, &message, &button, true, false, false, {});
    other.cancelAll();
    EXPECT_TRUE(other.wasCancelled() && other.wasOptionCancelled());
    EXPECT_TRUE(log.has(2, "PavoProgress.cancelAll"));
    EXPECT_TRUE(log.has(2, "PavoProgress.cancel"));
}

TEST_F(ProgressWindow, CloseBoxIsHonouredOnlyWhileAllowed)
{
    create(true);
    progress->enableClose(false);
    EXPECT_FALSE(progress->windowShouldClose());
    EXPECT_FALSE(progress->userRequestsClose());
    EXPECT_TRUE(progress->runModal());
    EXPECT_TRUE(log.has(2, "PavoProgress.windowShouldClose: mShouldClosed=FALSE"));

    progress->enableClose(true);
    EXPECT_FALSE(progress->windowShouldClose()) << "it never closes by itself";
    EXPECT_TRUE(progress->userRequestsClose());
    EXPECT_FALSE(progress->runModal());
    EXPECT_FALSE(progress->wasCancelled());
    EXPECT_TRUE(progress->hasCloseBox());
    EXPECT_TRUE(log.has(2, "PavoProgress.enableClose:FALSE"));
    EXPECT_TRUE(log.has(2, "PavoProgress.windowShouldClose: mShouldClosed=TRUE"));
}

TEST_F(ProgressWindow, StaysInFrontUnlessRelaxed)
{
    create(true, true);
    EXPECT_EQ(shown().level, 1);
    EXPECT_EQ(windows.activations, 2) << "once opened, once for the step";
    shown().level = 0;
    progress->updateProgress(-1.0, nullptr, nullptr, nullptr, nullptr, true);
    progress->runModal();
    EXPECT_EQ(shown().level, 1);
    EXPECT_EQ(windows.activations, 2);
    progress->updateProgress(-1.0, nullptr, nullptr, nullptr, nullptr, false);
    progress->runModal();
    EXPECT_EQ(windows.activations, 3);
}

TEST_F(ProgressWindow, GoesAndSaysWhereItWas)
{
    create();
    shown().frame = {7, 8, 410, 150};
    EXPECT_EQ(progress->destroyProgress(), (WindowFrame{7, 8, 410, 150}));
    EXPECT_TRUE(shown().closed);
    EXPECT_EQ(windows.deactivations, 1);
    EXPECT_EQ(windows.sessionsEnded, windows.sessionsBegun);
    EXPECT_EQ(progress->window(), nullptr);
    EXPECT_EQ(progress->destroyProgress(), WindowFrame{});
    EXPECT_FALSE(update(0.5, &title));
}

TEST_F(ProgressWindow, WithoutADisplayOnlyTheFlagsWork)
{
    windows.hasDisplay = false;
    create(true, true, {200, 300, 420, 150});
    EXPECT_EQ(progress->window(), nullptr);
    EXPECT_TRUE(progress->hasCloseBox());
    EXPECT_TRUE(progress->runModal());
    progress->updateProgress(0.5, &title, &path, &message, &none, true);
    const int activations = windows.activations;
    EXPECT_TRUE(progress->runModal());
    EXPECT_EQ(windows.activations, activations) << "relaxing is recorded all the same";
    progress->cancel();
    progress->refreshProgress();
    EXPECT_TRUE(progress->wasCancelled()) << "there is nothing to arm";
    EXPECT_FALSE(progress->runModal());
    EXPECT_EQ(progress->destroyProgress(), WindowFrame{});
}

TEST_F(ProgressWindow, SharedControllerIsNeverADeadOne)
{
    EXPECT_EQ(PavoProgress::pavoProgress(), progress.get());
    {
        PavoProgress later(windows, bundles);
        EXPECT_EQ(PavoProgress::pavoProgress(), &later);
        progress.reset();
        EXPECT_EQ(PavoProgress::pavoProgress(), &later);
    }
    EXPECT_EQ(PavoProgress::pavoProgress(), nullptr);
}

TEST_F(ProgressWindow, ANestedCommandMayTakeItDownInsideAStep)
{
    create(true, true);
    windows.onStep = [&] {
        progress->destroyProgress();
        progress.reset();
    };
    EXPECT_FALSE(progress->runModal());
    EXPECT_EQ(progress, nullptr);
    EXPECT_EQ(windows.sessionsEnded, 1);
}
