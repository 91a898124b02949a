// The tests, and with an argument a real window program whose person acts from ROAMER_TEST_PRESS.

#include <gtest/gtest.h>

#include "platform/linux/user_notification.h"
#include "presser.h"
#include "tools/alert/alert_main.h"
#include "tools/progress/window_main.h"
#include "tools/progress/window_server.h"

int main(int argc, char** argv)
{
    if (argc < 2 || std::string(argv[1]).starts_with("--gtest")) {
        testing::InitGoogleTest(&argc, argv);
        return RUN_ALL_TESTS();
    }
    std::unique_ptr<tests::Presser> person;
    const auto script = qEnvironmentVariable("ROAMER_TEST_PRESS");
    if (std::string(argv[1]) == platform::kAlertProgramPath) {
        return windows::alertMain(1, argv, [&](QWidget& alert) {
            person = std::make_unique<tests::Presser>(script, [&alert] { return &alert; });
        });
    }
    return windows::windowMain(1, argv, [&](windows::WindowServer& server) {
        person = std::make_unique<tests::Presser>(script, [&server] {
            return server.window() != nullptr ? server.window()->widgets().window.get() : nullptr;
        });
    });
}
