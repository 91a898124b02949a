#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/application.h"
#include "platform/run_loop.h"
#include "platform/sync_engine.h"
#include "tests/fakes/temp_root.h"

/// A message bus, a system root, an account with two homes, and the real client of BraidAgent: all private to one test.
class BraidAgentWorld
{
public:
    BraidAgentWorld();
    ~BraidAgentWorld();

    std::filesystem::path local() const { return mRoot.real("/homes/local"); }
    std::filesystem::path network() const { return mRoot.real("/share/jo ü"); }
    std::string shareURL() const { return "file://" + mRoot.real("/share").string(); }

    platform::SyncManager& manager() { return *mManager; }
    platform::RunLoop& loop() { return *mLoop; }

    /// Runs the loop until the condition holds; false when it does not within the time.
    bool waitFor(const std::function<bool()>& condition, double seconds);

    /// The engine's process id as the bus knows it; 0 when none runs.
    int enginePid();
    /// Sends the signal and waits until its name is gone from the bus.
    void endEngine(int signal);

    /// Runs BraidAgent with these arguments to its end; its exit status and what it wrote to standard error.
    struct Run {
        int status;
        std::string error;
    };
    Run runEngine(const std::vector<std::string>& arguments);

    /// One answer of the bus to a question about the engine's object: the text of the introspection.
    std::string introspect();

private:
    void writeAccount();
    void linkEngine();
    void startBus();

    fakes::TempRoot mRoot;
    int mBusPid = -1;
    std::unique_ptr<platform::Application> mApplication;
    std::unique_ptr<platform::RunLoop> mLoop;
    std::unique_ptr<platform::SyncManager> mManager;
};

/// Relative path → kind and content of everything in the home but the engine's own marker folder.
std::string treeOf(const std::filesystem::path& home);
