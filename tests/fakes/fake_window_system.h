#pragma once

#include <utility>

#include "platform/window_system.h"

namespace fakes
{

/// A window system whose windows are tables. A test presses buttons through `owner` from `onStep` or between steps.
///
/// What a window shows outlives it, in `shown`: the last window's state.
class FakeWindowSystem final : public platform::WindowSystem
{
public:
    struct ControlState {
        bool hidden = false;
        bool enabled = true;
        std::string title;
    };
    struct BarState {
        double value = 0;
        bool indeterminate = false;
        bool animated = false;
    };
    struct WindowState {
        std::string layout;
        roamer::WindowFrame frame;
        bool visible = false, minimized = false, key = false, closed = false, withoutLogin = false;
        ControlState cancelButton;
        std::string top{"unset"}, middle{"unset"}, bottom{"unset"};
        BarState bar;
    };
    using State = std::shared_ptr<WindowState>;

    roamer::WindowFrame layoutFrame{100, 200, 400, 150};
    std::vector<roamer::WindowFrame> screens{{0, 0, 1440, 900}};
    bool optionKey = false;
    bool shiftKey = false;
    std::function<void()> onStep; ///< Runs inside every modal step: the person's doings.

    State shown = std::make_shared<WindowState>();
    platform::LayoutOwner* owner = nullptr; ///< Of the layout loaded last.
    int layoutsLoaded = 0;
    int steps = 0;
    int sessionsBegun = 0;
    int sessionsEnded = 0;

    platform::ProgressLayout loadWindowLayout(const std::string& name, platform::LayoutOwner& layoutOwner) override
    {
        owner = &layoutOwner;
        ++layoutsLoaded;
        shown = std::make_shared<WindowState>();
        shown->layout = name;
        shown->frame = layoutFrame;
        platform::ProgressLayout layout;
        layout.window = std::make_unique<FakeWindow>(shown);
        layout.cancelButton = std::make_unique<FakeControl>(shown, shown->cancelButton);
        layout.image = std::make_unique<FakeImage>();
        layout.topMessage = std::make_unique<FakeText>(shown, shown->top);
        layout.middleMessage = std::make_unique<FakeText>(shown, shown->middle);
        layout.bottomMessage = std::make_unique<FakeText>(shown, shown->bottom);
        layout.statusBar = std::make_unique<FakeBar>(shown, shown->bar);
        return layout;
    }
    std::unique_ptr<platform::ModalSession> beginModalSession(platform::Window*) override
    {
        ++sessionsBegun;
        mStopped = false;
        shown->visible = true;
        return std::make_unique<FakeSession>(*this);
    }
    void stopModalLoop() override { mStopped = true; }
    bool isOptionKeyDown() override { return optionKey; }
    bool isShiftKeyDown() override { return shiftKey; }
    void activateAgent() override {}
    void deactivateAgent() override {}
    std::vector<roamer::WindowFrame> screenFrames() override { return screens; }
    int normalWindowLevel() override { return 0; }

private:
    struct FakeSession final : platform::ModalSession {
        explicit FakeSession(FakeWindowSystem& windows) : system(windows) {}
        ~FakeSession() override { ++system.sessionsEnded; }
        bool runStep() override
        {
            ++system.steps;
            const auto act = system.onStep; // it may replace itself
            if (act) act();
            return !system.mStopped;
        }
        FakeWindowSystem& system;
    };

    struct FakeWindow final : platform::Window {
        explicit FakeWindow(State window) : state(std::move(window)) {}
        roamer::WindowFrame frame() const override { return state->frame; }
        void setFrame(const roamer::WindowFrame& frame, bool, bool) override { state->frame = frame; }
        void setMinimumSize(float, float) override {}
        void setMaximumSize(float, float) override {}
        void setTitle(const std::string&) override {}
        void setLevel(int) override {}
        bool isVisible() const override { return state->visible; }
        bool isMinimized() const override { return state->minimized; }
        void minimize() override { state->minimized = true; }
        void deminimize() override { state->minimized = false; }
        void orderFrontAndMakeKey() override { state->visible = state->key = true; }
        void close() override
        {
            state->visible = false;
            state->closed = true;
        }
        void allowWithoutLogin() override { state->withoutLogin = true; }
        State state;
    };

    struct FakeControl final : platform::Control {
        FakeControl(State window, ControlState& control) : keptWindow(std::move(window)), state(control) {}
        bool isHidden() const override { return state.hidden; }
        void setHidden(bool hidden) override { state.hidden = hidden; }
        bool isEnabled() const override { return state.enabled; }
        void setEnabled(bool enabled) override { state.enabled = enabled; }
        float width() const override { return 80; }
        std::string title() const override { return state.title; }
        void setTitle(const std::string& title) override { state.title = title; }
        State keptWindow; // keeps `state`
        ControlState& state;
    };

    struct FakeText final : platform::TextField {
        FakeText(State window, std::string& text) : keptWindow(std::move(window)), content(text) {}
        std::string text() const override { return content; }
        void setText(const std::string& text) override { content = text; }
        State keptWindow; // keeps `content`
        std::string& content;
    };

    struct FakeImage final : platform::ImageView {
        void setImage(const std::string*) override {}
    };

    struct FakeBar final : platform::ProgressBar {
        FakeBar(State window, BarState& state) : keptWindow(std::move(window)), bar(state) {}
        void setRange(double, double) override {}
        bool isIndeterminate() const override { return bar.indeterminate; }
        void setIndeterminate(bool indeterminate) override { bar.indeterminate = indeterminate; }
        void startAnimation() override { bar.animated = true; }
        void stopAnimation() override { bar.animated = false; }
        double value() const override { return bar.value; }
        void setValue(double value) override { bar.value = value; }
        State keptWindow; // keeps `bar`
        BarState& bar;
    };

    bool mStopped = false;
};

} // namespace fakes
