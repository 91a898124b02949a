#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "home/preference_keys.h"
#include "platform/failure.h"
#include "texts_rig.h"
#include "ui/localized_text.h"
#include "ui/progress_words.h"

using roamer::WindowFrame;

namespace
{

struct ProgressTexts : testing::Test, ui_test::TextsRig {
};

} // namespace

TEST(FillFormat, PutsValuesIntoPlaceholders)
{
    struct Case {
        const char* format;
        std::vector<std::string> values;
        const char* expected;
    };
    const Case cases[] = {
        {"%@ of %@ (%@%%)", {"1", "2", "50"}, "1 of 2 (50%)"},
        {"%2$@ before %1$@", {"a", "b"}, "b before a"},
        {"%@", {"%@ stays"}, "%@ stays"},
        {"%@%@", {"one"}, "one"},
        {"%3$@|", {"one"}, "|"},
        {"no values", {"a"}, "no values"},
        {"100% %0$@ %d %", {"a"}, "100% %0$@ %d %"},
    };
    for (const auto& c : cases) {
        const std::string format = c.format;
        EXPECT_EQ(roamer::fillFormat(&format, "KEY", c.values), c.expected);
    }
    try {
        roamer::fillFormat(nullptr, "KEY", {});
        FAIL() << "a missing format must raise";
    } catch (const platform::Failure& failure) {
        EXPECT_EQ(failure.name(), platform::kInvalidArgument);
        EXPECT_NE(failure.reason().find("KEY"), std::string::npos);
    }
}

TEST(ProgressWords, JobAndPlaceOfEverySyncType)
{
    // P, L, O, B, A: preference, login, logout, background, all; small letters lie below the library folder.
    const std::string expected = "PpLBPpLBBpOBBpOBBpBpA";
    std::string actual;
    for (int type = 0; type <= roamer::kAllSyncParts; ++type) {
        const auto* words = roamer::findSyncTypeWords(type);
        const std::string job = std::string(words->jobKey).substr(std::string("PAVO_PROG_TITLE_JOB_").size());
        const char letter = job == "LOGOUT" ? 'O' : job.front();
        actual += words->isBelowLibrary ? static_cast<char>(letter - 'A' + 'a') : letter;
    }
    EXPECT_EQ(actual, expected);
    EXPECT_STREQ(roamer::findSyncTypeWords(20)->jobKey, "PAVO_PROG_TITLE_JOB_All");
    EXPECT_EQ(roamer::findSyncTypeWords(21), nullptr);
    EXPECT_EQ(roamer::findSyncTypeWords(-1), nullptr);
}

TEST(ProgressWords, StateKeys)
{
    const std::pair<int, const char*> expected[] = {
        {-1, "FINISHING"}, {0, "FINISHING"}, {1, "STARTING"},   {2, "UPDATING"}, {3, "CHECKING"},  {4, "PROCESSING"},
        {5, "CLEANING"},   {6, "FINISHING"}, {7, "CANCELLING"}, {8, "SKIPPING"}, {9, "FINISHING"},
    };
    for (const auto& [state, word] : expected)
        EXPECT_EQ(roamer::syncStateKey(state), "PAVO_PROG_TITLE_SYNCSTATE_" + std::string(word)) << state;
}

TEST_F(ProgressTexts, Titles)
{
    EXPECT_EQ(texts.getProgressTitle(1, 1, 1, 1), "Starting");
    EXPECT_EQ(texts.getProgressTitle(1, 1, 1, 0), "Starting");
    EXPECT_EQ(texts.getProgressTitle(1, 1, 5, 3), "Starting preferences, part 3 of 3");
    EXPECT_EQ(texts.getProgressTitle(8, 1, 2, 3), "Starting background, part 2 of 3");
    EXPECT_EQ(texts.getProgressTitle(1, 2, 1, 1), std::nullopt) << "the state's word is missing";
    EXPECT_EQ(texts.getProgressSyncType(21), std::nullopt);

    state.mLocalizedStringsDict.erase("PAVO_PROG_TITLE_WITH_PARTS");
    EXPECT_THROW(texts.getProgressTitle(1, 1, 1, 2), platform::Failure);
    EXPECT_EQ(texts.getProgressTitle(1, 1, 1, 1), "Starting");
}

TEST_F(ProgressTexts, Sizes)
{
    const std::pair<std::int64_t, const char*> expected[] = {
        {0, "0 bytes"},
        {1'023, "1023 bytes"},
        {1'024, "1.00 KB"},
        {10'188, "9.95 KB"},
        {10'189, "10.0 KB"},
        {101'887, "99.5 KB"},
        {101'888, "100 KB"},
        {1'018'879, "995 KB"},
        {1'018'880, "1.00 MB"},
        {10'188'799, "9.95 MB"},
        {10'188'800, "9.9 MB"}, // the 32-bit quotient lies just
                                // below 9.95
        {101'888'000, "100 MB"},
        {1'018'879'999, "995 MB"},
        {1'018'880'000, "1.00 GB"},
        {101'888'000'000, "100 GB"},
        {-1, "18014398509 GB"}, // read as an unsigned number
    };
    for (const auto& [bytes, text] : expected)
        EXPECT_EQ(texts.getDisplayedSizeString(bytes), text) << bytes;
    EXPECT_TRUE(log.has(2, "Pavo.getDisplayedSizeString: sizeAsNumber=\"1024\", result=\"1.00 KB\""));

    formats.separator = ",";
    EXPECT_EQ(texts.getDisplayedSizeString(1'536), "1,50 KB");
    state.mLocalizedStringsDict.erase("PAVO_PROG_STATUS_MESSAGE_KILOBYTES");
    EXPECT_THROW(texts.getDisplayedSizeString(1'536), platform::Failure);
}

TEST_F(ProgressTexts, BasePaths)
{
    fileSystem.displayNames[home + "/Library"] = "Bibliothek";
    EXPECT_EQ(texts.getDisplayedBasePath(16), "Home/");
    EXPECT_EQ(texts.getDisplayedBasePath(20), "Home/");
    EXPECT_EQ(texts.getDisplayedBasePath(17), "Home/Bibliothek/");
    fileSystem.displayNames.clear();
    EXPECT_EQ(texts.getDisplayedBasePath(17), "Home/Library/");
    EXPECT_EQ(texts.getDisplayedBasePath(21), std::nullopt);
    state.mLocalizedStringsDict["PAVO_PROG_PATH_HOME_PATH"] = "~/";
    EXPECT_EQ(texts.getDisplayedBasePath(16), "~/");
    state.mLocalizedStringsDict.erase("PAVO_PROG_PATH_HOME_PATH");
    EXPECT_EQ(texts.getDisplayedBasePath(16), std::nullopt);
    const std::string path = home + "/Documents";
    EXPECT_EQ(texts.getDisplayPath(16, &path), std::nullopt);
}

TEST_F(ProgressTexts, DisplayPaths)
{
    fileSystem.directories = {home + "/Documents", originalHome + "/Documents", "/Volumes/share/users/jo/Documents",
                              "/Volumes/other/stuff"};
    fileSystem.displayNames[home + "/Documents"] = "Dokumente";
    fileSystem.files = {home + "/Documents/plan.odt", "/Volumes/other/stuff/a"};
    fileSystem.packages = {home + "/Documents/Tool.app"};
    fileSystem.files.insert(home + "/Documents/Tool.app/inside");

    struct Case {
        const char* name;
        std::string path;
        const char* expected;
    };
    const Case cases[] = {
        {"a folder", home + "/Documents", "Home/Dokumente/"},
        {"a file", home + "/Documents/plan.odt", "Home/Dokumente/plan.odt"},
        {"a package", home + "/Documents/Tool.app", "Home/Dokumente/Tool.app"},
        {"in a package", home + "/Documents/Tool.app/inside", "Home/Dokumente/Tool.app"},
        {"in the original home", originalHome + "/Documents", "Home/Documents/"},
        {"in the mounted home", "/Volumes/share/users/jo/Documents", "Home/Documents/"},
        {"elsewhere on a volume", "/Volumes/other/stuff/a", "Home/stuff/a"},
        {"relative to the home", "Documents", "Home/Dokumente/"},
        {"nothing known there", home + "/gone", "Home/Library/"},
        {"the home", home, "Home/Library/"},
        {"empty", "", "Home/Library/"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(texts.getDisplayPath(17, &c.path), c.expected);
    }
    EXPECT_TRUE(
        log.has(2, "Pavo.getDisplayPath: originalCurPath=\"Documents\", curPath=\"Home/Dokumente/\", fullPath=\"" +
                       home + "/Documents\""));
    EXPECT_TRUE(log.has(2, "Pavo.getDisplayPath: originalCurPath=\"/Volumes/other/stuff/a\", curPath=\"Home/stuff/a\", "
                           "fullPath=\"/Volumes/other/stuff/a\""));
    EXPECT_EQ(texts.getDisplayPath(16, nullptr), "Home/");
    state.mUserRecord.reset();
    EXPECT_EQ(texts.getDisplayPath(17, nullptr), "Home/Library/");
}

TEST_F(ProgressTexts, WindowComesUpOnceAndIsResetAfterwards)
{
    const std::string message = "Connecting";
    texts.displaySyncProgress(17, 1, 1, false, true, true, true, &message);
    EXPECT_EQ(shown().layout, "PavoProgressNoClose");
    EXPECT_EQ(shown().top + "|" + shown().middle + "|" + shown().bottom, "Starting|Home/Library/|Connecting");
    EXPECT_EQ(shown().cancelButton.title, "Cancel");
    EXPECT_EQ(shown().level, 1);
    EXPECT_TRUE(log.has(2,
                        "Pavo.displaySyncProgress: title=\"Starting\", path=\"Home/Library/\", message=\"Connecting\" "
                        "button=\"Cancel\" showStopButton=1"));
    EXPECT_TRUE(log.has(2, "Pavo.displaySyncProgress progress supposedly up."));

    state.mProgress->cancel();
    state.mProgress->updateProgress(0.5, nullptr, nullptr, nullptr, nullptr, std::nullopt);
    texts.displaySyncProgress(16, 2, 2, true, false, true, false, nullptr);
    EXPECT_EQ(windows.layoutsLoaded, 1);
    EXPECT_EQ(shown().top + "|" + shown().middle + "|" + shown().bottom, "Starting background, part 2 of 2|Home/|");
    EXPECT_EQ(shown().cancelButton.title, "Skip");
    EXPECT_TRUE(shown().bar.indeterminate && shown().bar.animated);
    EXPECT_FALSE(state.mProgress->wasCancelled());
    EXPECT_TRUE(log.has(2, "PavoProgress.enableClose:TRUE"));

    texts.displaySyncProgress(16, 1, 1, false, false, false, false, nullptr);
    EXPECT_TRUE(shown().cancelButton.hidden);
}

TEST_F(ProgressTexts, WindowComesBackWhereItWasLeft)
{
    texts.displaySyncProgress(16, 1, 1, true, false, true, true, nullptr);
    EXPECT_TRUE(log.has(2,
                        "Pavo.displaySyncProgress: positionString = \"(null)\", progressPosition.origin.x = 0.000000, "
                        "progressPosition.origin.y = 0.000000, progressPosition.size.width = 0.000000, "
                        "progressPosition.size.height =0.000000"));
    shown().frame = {12.5F, 34, 500, 150};
    EXPECT_EQ(texts.takeDownSyncProgress(), (WindowFrame{12.5F, 34, 500, 150}));
    EXPECT_EQ(state.mProgress, nullptr);
    EXPECT_FALSE(state.mPavoBlockProgressTimer);
    EXPECT_TRUE(log.has(2, "Pavo.takeDownSyncProgress: positionString = \"{{12.5, 34}, {500, 150}}\", "
                           "progressPosition.origin.x = 12.500000, progressPosition.origin.y = 34.000000, "
                           "progressPosition.size.width = 500.000000, progressPosition.size.height =150.000000"));
    preferences.invalidateRoamerPrefCache();
    texts.displaySyncProgress(16, 1, 1, true, false, true, true, nullptr);
    EXPECT_EQ(shown().frame, (WindowFrame{12.5F, 34, 500, 150}));
    texts.takeDownSyncProgress();

    const WindowFrame given{50, 60, 400, 150};
    texts.displaySyncProgress(16, 1, 1, true, false, true, true, nullptr, given);
    EXPECT_EQ(shown().frame, given) << "a given position wins";
    texts.takeDownSyncProgress();

    preferences.setRoamerValue(roamer::PropertyList(5), roamer::kSyncStatusPosition);
    texts.displaySyncProgress(16, 1, 1, true, false, true, true, nullptr);
    EXPECT_EQ(shown().frame, windows.layoutFrame) << "a position of another type is none";
}

TEST_F(ProgressTexts, OnlyAWindowWithACloseBoxLeavesItsPlace)
{
    preferences.setRoamerValue(roamer::PropertyList("kept"), roamer::kSyncStatusPosition);
    EXPECT_EQ(texts.takeDownSyncProgress(), WindowFrame{});
    EXPECT_EQ(log.countContaining("takeDownSyncProgress"), 0);
    texts.displaySyncProgress(16, 1, 1, false, false, true, true, nullptr);
    texts.takeDownSyncProgress();
    EXPECT_EQ(preferences.getRoamerValue(roamer::kSyncStatusPosition), roamer::PropertyList("kept"));
    EXPECT_TRUE(log.has(2, "Pavo.takeDownSyncProgress progress coming down."));
    EXPECT_TRUE(log.has(2, "Pavo.takeDownSyncProgress: progressPosition.origin.x = 100.000000, "
                           "progressPosition.origin.y = 200.000000, progressPosition.size.width = 400.000000, "
                           "progressPosition.size.height =150.000000"));
}
