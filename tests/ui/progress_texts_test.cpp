#include "ui/progress_texts.h"

#include <gtest/gtest.h>

#include "tests/fakes/account_rig.h"
#include "tests/fakes/fake_window_system.h"
#include "ui/frame_text.h"

namespace
{

using roamer::WindowFrame;

TEST(FrameText, ReadsBackWhatItWroteAndNothingElse)
{
    for (const auto& frame : {WindowFrame{-1440.5F, 0.1F, 1234567.F, 22.25F}, {1e-20F, -3e30F, 16777217.F, 0.3333F}})
        EXPECT_EQ(roamer::frameFromString(roamer::stringFromFrame(frame)), frame);
    EXPECT_EQ(roamer::stringFromFrame({-10, 20.5F, 400, 150}), "{{-10, 20.5}, {400, 150}}");
    EXPECT_EQ(roamer::frameFromString("  { {1,2} ,{3 , 4}}\n"), (WindowFrame{1, 2, 3, 4}));
    for (const char* text : {"", "{{1, 2}, {3, 4}", "{{1, 2}, {3, 4}} x", "{{1 2}, {3, 4}}", "{{1, 2}, {3, inf}}",
                             "{{nan, 2}, {3, 4}}", "{{1, 2}, {3, 1e99}}", "{{1,5, 2}, {3, 4}}", "1 2 3 4"})
        EXPECT_EQ(roamer::frameFromString(text), WindowFrame{}) << text;
}

class ProgressTexts : public testing::Test
{
protected:
    ProgressTexts()
    {
        state.mLocalizedStringsDict = {
            {"PAVO_PROG_PATH_HOME_PATH", "Home"},
            {"PAVO_PROG_STATUS_MESSAGE_BYTES", "%@ bytes"},
            {"PAVO_PROG_STATUS_MESSAGE_KILOBYTES", "%@ KB"},
            {"PAVO_PROG_STATUS_MESSAGE_MEGABYTES", "%@ MB"},
            {"PAVO_PROG_STATUS_MESSAGE_GIGABYTES", "%@ GB"},
        };
    }
    roamer::SharedState state;
    fakes::AccountRig rig{state.mUserRecord};
    fakes::FakeWindowSystem windows;
    fakes::FakeUserFormats formats;
    roamer::ProgressTexts texts{state, rig.preferences, rig.homes, *rig.fileSystem, windows, rig.bundles, formats};
};

TEST_F(ProgressTexts, Sizes)
{
    const std::pair<std::int64_t, const char*> expected[] = {
        {1'023, "1023 bytes"},
        {1'024, "1.00 KB"},
        {10'188, "9.95 KB"},
        {10'189, "10.0 KB"},
        {101'888, "100 KB"},
        {1'018'880, "1.00 MB"},
        {10'188'800, "9.9 MB"}, // the 32-bit quotient lies just
                                // below 9.95
        {1'018'880'000, "1.00 GB"},
        {-1, "18014398509 GB"}, // read as an unsigned number
    };
    for (const auto& [bytes, text] : expected)
        EXPECT_EQ(texts.getDisplayedSizeString(bytes), text) << bytes;
    formats.separator = ",";
    EXPECT_EQ(texts.getDisplayedSizeString(1'536), "1,50 KB");
}

TEST_F(ProgressTexts, DisplayPaths)
{
    const std::string home = rig.localHome;
    for (const char* path : {"/home/jo/Documents/plan.odt", "/home/jo/Documents/Tool.app/inside",
                             "/Volumes/share/jo/Documents/a", "/Volumes/other/stuff/a"})
        fakes::TempRoot::writeFile(rig.root.real(path), "");
    const struct {
        const char* name;
        std::string path;
        const char* expected;
    } cases[] = {
        {"a file", home + "/Documents/plan.odt", "Home/Documents/plan.odt"},
        {"in a package", home + "/Documents/Tool.app/inside", "Home/Documents/Tool.app"},
        {"in the mounted home", "/Volumes/share/jo/Documents", "Home/Documents/"},
        {"elsewhere on a volume", "/Volumes/other/stuff/a", "Home/stuff/a"},
        {"relative to the home", "Documents", "Home/Documents/"},
        {"not there yet", home + "/new", "Home/new"},
        {"empty", "", "Home/Library/"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(texts.getDisplayPath(17, &c.path), c.expected) << c.name;
    EXPECT_EQ(texts.getDisplayPath(16, nullptr), "Home/");
    state.mLocalizedStringsDict.erase("PAVO_PROG_PATH_HOME_PATH");
    EXPECT_EQ(texts.getDisplayPath(16, &cases[0].path), std::nullopt);
}

} // namespace
