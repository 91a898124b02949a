#include <string>

#include <gtest/gtest.h>

#include "ui/frame_text.h"

using roamer::frameFromString;
using roamer::WindowFrame;

TEST(FrameText, ReadsBackWhatItWrote)
{
    const WindowFrame frames[] = {
        {}, {1, 2, 3, 4}, {-1440.5F, 0.1F, 1234567.F, 22.25F}, {1e-20F, -3e30F, 16777217.F, 0.333333343F}};
    for (const auto& frame : frames) {
        const auto text = roamer::stringFromFrame(frame);
        EXPECT_EQ(frameFromString(text), frame) << text;
    }
    EXPECT_EQ(roamer::stringFromFrame({-10, 20.5F, 400, 150}), "{{-10, 20.5}, {400, 150}}");
}

TEST(FrameText, EverythingElseIsNoFrame)
{
    EXPECT_EQ(frameFromString("  { {1,2} ,{3 , 4}}\n"), (WindowFrame{1, 2, 3, 4}));
    for (const char* text :
         {"", "{{1, 2}, {3, 4}", "{{1, 2}, {3, 4}}}", "{{1, 2}, {3, 4}} x", "{{1 2}, {3, 4}}", "{{1, 2}, {3, inf}}",
          "{{nan, 2}, {3, 4}}", "{{1, 2}, {3, 1e99}}", "{{1,5, 2}, {3, 4}}", "1 2 3 4", "{{, }, {, }}"})
        EXPECT_EQ(frameFromString(text), WindowFrame{}) << text;
}
