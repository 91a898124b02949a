#include "remote_window.h"

#include <QJsonArray>

#include "window_protocol.h"

namespace platform
{

using namespace window_protocol;

RemoteWindow::RemoteWindow(std::shared_ptr<WindowProcess> process, LayoutOwner& owner)
    : mProcess(std::move(process)), mOwner(&owner), mButtonWidth(mProcess->report().buttonWidth)
{
    mFrame.value = mProcess->report().frame;
}

int RemoteWindow::set(const char* property, const QJsonValue& value)
{
    return mProcess ? mProcess->set(property, value) : 0;
}

void RemoteWindow::show()
{
    if (mIsVisible) return;
    mIsVisible = true;
    set(kVisible, true);
}

void RemoteWindow::close()
{
    frame();
    mIsVisible = false;
    mOwner = nullptr;
    mProcess.reset();
}

bool RemoteWindow::isVisible() const
{
    return mIsVisible && mProcess && mProcess->isRunning();
}

void RemoteWindow::activate()
{
    if (mIsVisible && mProcess && !mProcess->report().isActive) set(kActivate, true);
}

template <typename Value>
const Value& RemoteWindow::latest(Shared<Value>& shared, const Value& reported) const
{
    if (mProcess->report().applied >= shared.serial) shared.value = reported;
    return shared.value;
}

roamer::WindowFrame RemoteWindow::frame() const
{
    if (!mProcess) return mFrame.value;
    mProcess->receive();
    return latest(mFrame, mProcess->report().frame);
}

void RemoteWindow::setFrame(const roamer::WindowFrame& frame, bool animate)
{
    const QJsonArray numbers{static_cast<double>(frame.x), static_cast<double>(frame.y),
                             static_cast<double>(frame.width), static_cast<double>(frame.height)};
    set(kAnimatesFrame, animate);
    mFrame = {frame, set(kFrame, numbers)};
}

bool RemoteWindow::isMinimized() const
{
    return mProcess ? latest(mMinimized, mProcess->report().isMinimized) : mMinimized.value;
}

void RemoteWindow::setMinimized(bool minimized)
{
    mMinimized = {minimized, set(kMinimized, minimized)};
}

void RemoteWindow::setLevel(int level)
{
    if (level == mLevel) return;
    mLevel = level;
    set(kLevel, level);
}

std::optional<WindowProcess::Event> RemoteWindow::nextEvent()
{
    if (!mProcess) return std::nullopt;
    mProcess->flush();
    mProcess->receive();
    return mProcess->takeEvent();
}

namespace
{

using Shown = std::shared_ptr<RemoteWindow>;

QString text(const std::string& utf8)
{
    return QString::fromStdString(utf8);
}

class LayoutWindow final : public Window
{
public:
    explicit LayoutWindow(Shown window) : mWindow(std::move(window)) {}

    roamer::WindowFrame frame() const override { return mWindow->frame(); }
    void setFrame(const roamer::WindowFrame& frame, bool, bool animate) override { mWindow->setFrame(frame, animate); }
    void setMinimumSize(float width, float height) override { setSize(kMinimumSize, width, height); }
    void setMaximumSize(float width, float height) override { setSize(kMaximumSize, width, height); }
    void setTitle(const std::string& title) override { mWindow->set(kWindowTitle, text(title)); }
    void setLevel(int level) override { mWindow->setLevel(level); }
    bool isVisible() const override { return mWindow->isVisible(); }
    bool isMinimized() const override { return mWindow->isMinimized(); }
    void minimize() override { mWindow->setMinimized(true); }
    void deminimize() override { mWindow->setMinimized(false); }
    void orderFrontAndMakeKey() override
    {
        mWindow->show();
        mWindow->activate();
    }
    void close() override { mWindow->close(); }
    /// The display that the agent was given is where the window goes, whoever is or is not logged in there.
    void allowWithoutLogin() override {}

private:
    void setSize(const char* property, float width, float height)
    {
        mWindow->set(property, QJsonArray{static_cast<double>(width), static_cast<double>(height)});
    }

    Shown mWindow;
};

class LayoutButton final : public Control
{
public:
    explicit LayoutButton(Shown window) : mWindow(std::move(window)) {}

    bool isHidden() const override { return mIsHidden; }
    void setHidden(bool hidden) override { mWindow->set(kButtonHidden, mIsHidden = hidden); }
    bool isEnabled() const override { return mIsEnabled; }
    void setEnabled(bool enabled) override { mWindow->set(kButtonEnabled, mIsEnabled = enabled); }
    float width() const override { return mWindow->buttonWidth(); }
    std::string title() const override { return mTitle; }
    void setTitle(const std::string& title) override { mWindow->set(kButtonTitle, text(mTitle = title)); }

private:
    Shown mWindow;
    bool mIsHidden = false;
    bool mIsEnabled = true;
    std::string mTitle;
};

/// The layout's second button is not on the screen; only its key is there, which the window's program knows.
class UnseenButton final : public Control
{
public:
    bool isHidden() const override { return true; }
    void setHidden(bool) override {}
    bool isEnabled() const override { return true; }
    void setEnabled(bool) override {}
    float width() const override { return 0; }
    std::string title() const override { return {}; }
    void setTitle(const std::string&) override {}
};

class LayoutText final : public TextField
{
public:
    LayoutText(Shown window, const char* property) : mWindow(std::move(window)), mProperty(property) {}
    std::string text() const override { return mText; }
    void setText(const std::string& newText) override { mWindow->set(mProperty, platform::text(mText = newText)); }

private:
    Shown mWindow;
    const char* mProperty;
    std::string mText;
};

class LayoutBar final : public ProgressBar
{
public:
    explicit LayoutBar(Shown window) : mWindow(std::move(window)) {}

    void setRange(double low, double high) override
    {
        mLow = low;
        mHigh = high;
    }
    bool isIndeterminate() const override { return mIsIndeterminate; }
    void setIndeterminate(bool indeterminate) override
    {
        mWindow->set(kBarIndeterminate, mIsIndeterminate = indeterminate);
    }
    void startAnimation() override { setAnimated(true); }
    void stopAnimation() override { setAnimated(false); }
    double value() const override { return mValue; }
    void setValue(double value) override
    {
        mValue = value;
        mWindow->set(kBarValue, mHigh > mLow ? (value - mLow) / (mHigh - mLow) : 0.0);
    }

private:
    void setAnimated(bool animated)
    {
        if (animated == mIsAnimated) return;
        mWindow->set(kBarAnimated, mIsAnimated = animated);
    }

    Shown mWindow;
    double mLow = 0;
    double mHigh = 1;
    double mValue = 0;
    bool mIsIndeterminate = false;
    bool mIsAnimated = false;
};

class LayoutImage final : public ImageView
{
public:
    explicit LayoutImage(Shown window) : mWindow(std::move(window)) {}
    void setImage(const std::string* path) override { mWindow->set(kImage, path != nullptr ? text(*path) : QString()); }

private:
    Shown mWindow;
};

} // namespace

ProgressLayout remoteLayout(const std::shared_ptr<RemoteWindow>& window)
{
    ProgressLayout layout;
    layout.window = std::make_unique<LayoutWindow>(window);
    layout.cancelButton = std::make_unique<LayoutButton>(window);
    layout.cancelAllButton = std::make_unique<UnseenButton>();
    layout.image = std::make_unique<LayoutImage>(window);
    layout.topMessage = std::make_unique<LayoutText>(window, kTopMessage);
    layout.middleMessage = std::make_unique<LayoutText>(window, kMiddleMessage);
    layout.bottomMessage = std::make_unique<LayoutText>(window, kBottomMessage);
    layout.statusBar = std::make_unique<LayoutBar>(window);
    return layout;
}

} // namespace platform
