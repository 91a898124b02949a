#pragma once

#include <gtest/gtest.h>

#include "platform/linux/application.h"
#include "platform/linux/bundle.h"
#include "platform/linux/property_list_codec.h"
#include "platform/linux/run_loop.h"
#include "platform/linux/user_notification.h"
#include "platform/linux/window_system.h"
#include "tests/fakes/recording_log.h"
#include "tests/fakes/temp_environment.h"
#include "tests/fakes/temp_root.h"
#include "ui/pavo_progress.h"

namespace tests
{

/// The agent's progress window on real window processes, whose person does what `act` says.
class WindowsRig : public testing::Test
{
protected:
    WindowsRig()
    {
        const auto resources = root.real("/System/Library/Hearth/Custodia.app/Contents/Resources");
        std::filesystem::create_directories(resources.parent_path());
        std::filesystem::create_directory_symlink(ROAMER_SOURCE_DIR "/resources/Custodia.app/Contents/Resources",
                                                  resources);
        const auto self = std::filesystem::read_symlink("/proc/self/exe").string();
        for (const char* place : {platform::kWindowProgramPath, platform::kAlertProgramPath}) {
            fakes::TempRoot::writeFile(root.real(place), "#!/bin/sh\necho $$ >'" + root.real("/pid").string() +
                                                             "'\nexec '" + self + "' " + place + "\n");
            std::filesystem::permissions(root.real(place), std::filesystem::perms::owner_all);
        }
    }

    static void act(const std::string& script) { ::setenv("ROAMER_TEST_PRESS", script.c_str(), 1); }
    void create(bool closeable, roamer::WindowFrame position = {})
    {
        progress = std::make_unique<roamer::PavoProgress>(*windows, *bundles);
        progress->createProgress(&title, &path, &message, &button, closeable, true, false, position);
    }
    /// Whether it became true within some seconds. The window is stepped meanwhile; a step that ends is noted.
    bool waitFor(const std::function<bool()>& condition)
    {
        for (int i = 0; i < 1000 && !condition(); ++i) {
            hasStopped = !progress->runModal() || hasStopped;
            loop->runFor(std::chrono::milliseconds(5));
        }
        return condition();
    }
    /// What the person saw when it came to "dump:" of the file of that name.
    std::string seen(const std::string& name)
    {
        waitFor([&] { return std::filesystem::exists(root.path() / name); });
        return fakes::TempRoot::readFile(root.path() / name);
    }
    std::string dump(const std::string& name) const { return "dump:" + (root.path() / name).string(); }
    /// Of the window or alert that was started last.
    int windowPid() const { return std::stoi(fakes::TempRoot::readFile(root.real("/pid"))); }

    fakes::TempRoot root;
    fakes::RecordingLog log;
    fakes::TempEnvironment environment{{"QT_QPA_PLATFORM", "offscreen"},
                                       {"LANGUAGE", "en"},
                                       {"LC_ALL", "C.UTF-8"},
                                       {"DISPLAY", ""},
                                       {"WAYLAND_DISPLAY", ""}};
    std::unique_ptr<platform::Application> application = platform::makeApplication();
    std::unique_ptr<platform::RunLoop> loop = platform::makeRunLoop();
    std::unique_ptr<platform::PropertyListCodec> codec = platform::makePropertyListCodec();
    std::unique_ptr<platform::Bundles> bundles = platform::makeBundles(*codec);
    std::unique_ptr<platform::WindowSystem> windows = platform::makeWindowSystem();
    std::unique_ptr<roamer::PavoProgress> progress;
    const std::string title = "Starting", path = "Home/", message = "Wait", button = "Cancel";
    bool hasStopped = false;
};

} // namespace tests
