#include "window_system.h"

#include <QJsonArray>
#include <QTimer>
#include <cstdlib>
#include <optional>

#include "platform/system_root.h"
#include "remote_window.h"
#include "util/debug_log.h"
#include "window_protocol.h"

namespace platform
{

namespace
{

using namespace window_protocol;

constexpr int kNormalLevel = 0;

/// How long a process that was started for the sake of the keyboard waits to be given a window.
constexpr int kSpareMilliseconds = 10'000;

bool environmentNamesADisplay()
{
    for (const char* name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"}) {
        const char* value = std::getenv(name);
        if (value != nullptr && *value != '\0') return true;
    }
    return false;
}

class RemoteWindowSystem final : public WindowSystem
{
public:
    RemoteWindowSystem()
    {
        mDropSpare.setSingleShot(true);
        QObject::connect(&mDropSpare, &QTimer::timeout, &mDropSpare, [this] { mSpare.reset(); });
    }

    ProgressLayout loadWindowLayout(const std::string& name, LayoutOwner& owner) override
    {
        auto process = spareProcess();
        mSpare.reset();
        if (!process || !process->load(name)) {
            roamer::DebugLog(2, "WindowSystem.loadWindowLayout: layout \"%s\" cannot be shown: %s", name.c_str(),
                             process ? "it cannot be loaded" : "no display");
            return {};
        }
        const auto window = std::make_shared<RemoteWindow>(std::move(process), owner);
        mWindow = window;
        return remoteLayout(window);
    }

    std::unique_ptr<ModalSession> beginModalSession(Window* window) override
    {
        const auto shown = window != nullptr ? mWindow.lock() : nullptr;
        if (shown) shown->show();
        return std::make_unique<Session>(*this, shown);
    }

    void stopModalLoop() override { ++mStopRequests; }

    bool isOptionKeyDown() override { return modifierKeys().option; }
    bool isShiftKeyDown() override { return modifierKeys().shift; }

    void activateAgent() override
    {
        if (const auto window = mWindow.lock()) window->activate();
    }
    /// The window manager passes the keyboard on when the window goes.
    void deactivateAgent() override {}

    std::vector<roamer::WindowFrame> screenFrames() override
    {
        const auto process = runningProcess();
        return process ? process->report().screens : std::vector<roamer::WindowFrame>();
    }
    int normalWindowLevel() override { return kNormalLevel; }

private:
    class Session final : public ModalSession
    {
    public:
        /// Counts the requests to stop, so that one that was made before the session began does not end it.
        Session(RemoteWindowSystem& system, std::shared_ptr<RemoteWindow> window)
            : mSystem(system), mWindow(std::move(window)), mAtBegin(system.mStopRequests)
        {
        }
        bool runStep() override
        {
            // What is delivered may end this session.
            auto& system = mSystem;
            const auto atBegin = mAtBegin;
            if (const auto window = mWindow) system.deliverEvents(*window);
            return system.mStopRequests == atBegin;
        }

    private:
        RemoteWindowSystem& mSystem;
        const std::shared_ptr<RemoteWindow> mWindow;
        const unsigned mAtBegin;
    };

    void deliverEvents(RemoteWindow& window)
    {
        auto event = window.nextEvent();
        while (event && window.owner() != nullptr) {
            // NOLINTNEXTLINE(bugprone-unchecked-optional-access): the line above looks.
            deliver(*event, *window.owner(), window);
            event = window.nextEvent();
        }
    }

    void deliver(const WindowProcess::Event& event, LayoutOwner& owner, RemoteWindow& window)
    {
        mEventKeys = event.keys;
        if (event.name == kCancelEvent) owner.cancel();
        if (event.name == kCancelAllEvent) owner.cancelAll();
        if (event.name == kCloseEvent && owner.windowShouldClose()) window.close();
        mEventKeys.reset();
    }

    /// The keys at the moment of the event that is being delivered, else those that are down now.
    ModifierKeys modifierKeys()
    {
        if (mEventKeys) return *mEventKeys;
        auto process = runningProcess();
        if (!process) process = spareProcess();
        return process ? process->modifierKeys().value_or(ModifierKeys()) : ModifierKeys();
    }

    std::shared_ptr<WindowProcess> runningProcess() const
    {
        const auto window = mWindow.lock();
        const auto process = window ? window->process() : nullptr;
        return process && process->isRunning() ? process : mSpare;
    }

    /// A process without a window, started when there is none yet.
    std::shared_ptr<WindowProcess> spareProcess()
    {
        if (mSpare && mSpare->isRunning()) return mSpare;
        mSpare = environmentNamesADisplay() ? WindowProcess::start(systemPath(kWindowProgramPath)) : nullptr;
        if (mSpare) mDropSpare.start(kSpareMilliseconds);
        return mSpare;
    }

    unsigned mStopRequests = 0;
    std::optional<ModifierKeys> mEventKeys;
    std::weak_ptr<RemoteWindow> mWindow; ///< The one that was loaded last.
    std::shared_ptr<WindowProcess> mSpare;
    QTimer mDropSpare;
};

} // namespace

std::unique_ptr<WindowSystem> makeWindowSystem()
{
    return std::make_unique<RemoteWindowSystem>();
}

} // namespace platform
