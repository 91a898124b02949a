#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/window_system.h"

namespace fakes
{

/// A window system whose windows are tables. A test presses buttons through `owner` from `onStep` or between steps.
///
/// What a window shows outlives it, in `shown`: the last window's state. Without a display (hasDisplay false) layouts
/// fail to load and steps go on until stopModalLoop.
class FakeWindowSystem final : public platform::WindowSystem
{
public:
    struct ControlState {
        bool hidden = false;
        bool enabled = true;
        float width = 80;
        std::string title;
    };
    struct BarState {
        double low = -1;
        double high = -1;
        double value = 0;
        bool indeterminate = false;
        bool animated = false;
        int valueChanges = 0;
    };
    struct FrameChange {
        roamer::WindowFrame frame;
        bool redraw;
        bool animate;
    };
    struct WindowState {
        std::string layout;
        roamer::WindowFrame frame;
        std::vector<FrameChange> frameChanges;
        std::pair<float, float> minimum;
        std::pair<float, float> maximum;
        std::string title;
        int level = 0;
        bool visible = false;
        bool minimized = false;
        bool key = false;
        bool closed = false;
        bool withoutLogin = false;
        ControlState cancelButton;
        ControlState cancelAllButton;
        std::string imagePath;
        std::string top{"unset"}, middle{"unset"}, bottom{"unset"};
        int textChanges = 0;
        BarState bar;
    };

    bool hasDisplay = true;
    roamer::WindowFrame layoutFrame{100, 200, 400, 150};
    std::vector<roamer::WindowFrame> screens{{0, 0, 1440, 900}};
    bool optionKey = false;
    bool shiftKey = false;
    std::function<void()> onStep; ///< Runs inside every modal step: the person's doings.

    std::shared_ptr<WindowState> shown = std::make_shared<WindowState>();
    platform::LayoutOwner* owner = nullptr; ///< Of the layout loaded last, whether or not that worked.
    int layoutsLoaded = 0;
    int activations = 0;
    int deactivations = 0;
    int steps = 0;
    int sessionsBegun = 0;
    int sessionsEnded = 0;

    platform::ProgressLayout loadWindowLayout(const std::string& name, platform::LayoutOwner& layoutOwner) override
    {
        owner = &layoutOwner;
        if (!hasDisplay) return {};
        ++layoutsLoaded;
        shown = std::make_shared<WindowState>();
        shown->layout = name;
        shown->frame = layoutFrame;
        platform::ProgressLayout layout;
        layout.window = std::make_unique<FakeWindow>(shown);
        layout.cancelButton = std::make_unique<FakeControl>(shown, shown->cancelButton);
        layout.cancelAllButton = std::make_unique<FakeControl>(shown, shown->cancelAllButton);
        layout.image = std::make_unique<FakeImage>(shown);
        layout.topMessage = std::make_unique<FakeText>(shown, shown->top);
        layout.middleMessage = std::make_unique<FakeText>(shown, shown->middle);
        layout.bottomMessage = std::make_unique<FakeText>(shown, shown->bottom);
        layout.statusBar = std::make_unique<FakeBar>(shown);
        return layout;
    }
    std::unique_ptr<platform::ModalSession> beginModalSession(platform::Window*) override
    {
        ++sessionsBegun;
        mStopped = false;
        if (hasDisplay) shown->visible = true;
        return std::make_unique<FakeSession>(*this);
    }
    void stopModalLoop() override { mStopped = true; }
    bool isOptionKeyDown() override { return optionKey; }
    bool isShiftKeyDown() override { return shiftKey; }
    void activateAgent() override { ++activations; }
    void deactivateAgent() override { ++deactivations; }
    std::vector<roamer::WindowFrame> screenFrames() override { return screens; }
    int normalWindowLevel() override { return 0; }

private:
    class FakeSession final : public platform::ModalSession
    {
    public:
        explicit FakeSession(FakeWindowSystem& system) : mSystem(system) {}
        ~FakeSession() override { ++mSystem.sessionsEnded; }
        bool runStep() override
        {
            ++mSystem.steps;
            const auto act = mSystem.onStep; // it may replace itself
            if (act) act();
            return !mSystem.mStopped;
        }

    private:
        FakeWindowSystem& mSystem;
    };

    class FakeWindow final : public platform::Window
    {
    public:
        explicit FakeWindow(std::shared_ptr<WindowState> state) : mState(std::move(state)) {}
        roamer::WindowFrame frame() const override { return mState->frame; }
        void setFrame(const roamer::WindowFrame& frame, bool redraw, bool animate) override
        {
            mState->frame = frame;
            mState->frameChanges.push_back({frame, redraw, animate});
        }
        void setMinimumSize(float width, float height) override { mState->minimum = {width, height}; }
        void setMaximumSize(float width, float height) override { mState->maximum = {width, height}; }
        void setTitle(const std::string& title) override { mState->title = title; }
        void setLevel(int level) override { mState->level = level; }
        bool isVisible() const override { return mState->visible; }
        bool isMinimized() const override { return mState->minimized; }
        void minimize() override { mState->minimized = true; }
        void deminimize() override { mState->minimized = false; }
        void orderFrontAndMakeKey() override { mState->visible = mState->key = true; }
        void close() override
        {
            mState->visible = false;
            mState->closed = true;
        }
        void allowWithoutLogin() override { mState->withoutLogin = true; }

    private:
        std::shared_ptr<WindowState> mState;
    };

    class FakeControl final : public platform::Control
    {
    public:
        FakeControl(std::shared_ptr<WindowState> window, ControlState& state)
            : mWindow(std::move(window)), mState(state)
        {
        }
        bool isHidden() const override { return mState.hidden; }
        void setHidden(bool hidden) override { mState.hidden = hidden; }
        bool isEnabled() const override { return mState.enabled; }
        void setEnabled(bool enabled) override { mState.enabled = enabled; }
        float width() const override { return mState.width; }
        std::string title() const override { return mState.title; }
        void setTitle(const std::string& title) override { mState.title = title; }

    private:
        std::shared_ptr<WindowState> mWindow; // keeps mState
        ControlState& mState;
    };

    class FakeText final : public platform::TextField
    {
    public:
        FakeText(std::shared_ptr<WindowState> window, std::string& text) : mWindow(std::move(window)), mText(text) {}
        std::string text() const override { return mText; }
        void setText(const std::string& text) override
        {
            mText = text;
            ++mWindow->textChanges;
        }

    private:
        std::shared_ptr<WindowState> mWindow;
        std::string& mText;
    };

    class FakeImage final : public platform::ImageView
    {
    public:
        explicit FakeImage(std::shared_ptr<WindowState> window) : mWindow(std::move(window)) {}
        void setImage(const std::string* path) override { mWindow->imagePath = path != nullptr ? *path : ""; }

    private:
        std::shared_ptr<WindowState> mWindow;
    };

    class FakeBar final : public platform::ProgressBar
    {
    public:
        explicit FakeBar(std::shared_ptr<WindowState> window) : mWindow(std::move(window)) {}
        void setRange(double low, double high) override
        {
            mWindow->bar.low = low;
            mWindow->bar.high = high;
        }
        bool isIndeterminate() const override { return mWindow->bar.indeterminate; }
        void setIndeterminate(bool indeterminate) override { mWindow->bar.indeterminate = indeterminate; }
        void startAnimation() override { mWindow->bar.animated = true; }
        void stopAnimation() override { mWindow->bar.animated = false; }
        double value() const override { return mWindow->bar.value; }
        void setValue(double value) override
        {
            mWindow->bar.value = value;
            ++mWindow->bar.valueChanges;
        }

    private:
        std::shared_ptr<WindowState> mWindow;
    };

    bool mStopped = false;
};

} // namespace fakes
