#include "pavo_progress.h"

#include <algorithm>

#include "util/debug_log.h"

namespace roamer
{

namespace
{

PavoProgress* sharedController = nullptr;

constexpr float kMenuBarHeight = 22.0F;

/// How far the layout's width may be changed.
constexpr double kNarrowest = 0.85;
constexpr double kWidest = 1.85;

struct WidthLimits {
    explicit WidthLimits(float width)
        : least(static_cast<float>(kNarrowest * static_cast<double>(width))),
          most(static_cast<float>(kWidest * static_cast<double>(width)))
    {
    }
    float least;
    float most;
};

void applyLimits(platform::Window& window, const WidthLimits& limits, float height)
{
    window.setMinimumSize(limits.least, height);
    window.setMaximumSize(limits.most, height);
}

/// The low edges belong to the frame, the high edges do not.
bool contains(const WindowFrame& frame, float x, float y)
{
    return frame.x <= x && x < frame.x + frame.width && frame.y <= y && y < frame.y + frame.height;
}

/// `when` stands before the frame's values: "" for the frame as it is, else what was done to it.
void logValidRect(const char* when, const WindowFrame& frame)
{
    DebugLog(2,
             "PavoProgress.createProgress: %svalidRect.origin.x=%f, validRect.origin.y=%f, validRect.size.width=%f, "
             "validRect.size.height=%f",
             when, static_cast<double>(frame.x), static_cast<double>(frame.y), static_cast<double>(frame.width),
             static_cast<double>(frame.height));
}

std::string orEmpty(const std::string* text)
{
    return text != nullptr ? *text : std::string();
}

void setTextIfDifferent(platform::TextField& field, const std::string& text)
{
    if (field.text() != text) field.setText(text);
}

const char* truthWord(bool value)
{
    return value ? "TRUE" : "FALSE";
}

} // namespace

PavoProgress::PavoProgress(platform::WindowSystem& windowSystem, platform::Bundles& bundles)
    : mWindowSystem(windowSystem), mBundles(bundles), mAlive(std::make_shared<bool>(true))
{
    sharedController = this;
}

PavoProgress::~PavoProgress()
{
    if (sharedController == this) sharedController = nullptr;
}

PavoProgress* PavoProgress::pavoProgress()
{
    return sharedController;
}

void PavoProgress::createProgress(const std::string* title, const std::string* path, const std::string* message,
                                  const std::string* button, bool closeable, bool keepInFront, bool minimized,
                                  WindowFrame position)
{
    mCloseable = mHasCloseBox = closeable;
    mKeepInFront = keepInFront;
    loadLayout();
    DebugLog(2,
             "PavoProgress.createProgress: title=\"%s\", message=\"%s\", buttonText=\"%s\", closeable=%d, minimized=%d",
             logText(title), logText(message), logText(button), closeable, minimized);
    DebugLog(2,
             "PavoProgress.createProgress: position.origin.x=%f, position.origin.y=%f, position.size.width=%f, "
             "position.size.height=%f",
             static_cast<double>(position.x), static_cast<double>(position.y), static_cast<double>(position.width),
             static_cast<double>(position.height));
    if (window() != nullptr) {
        showTexts(title, path, message, button);
        mLayout.statusBar->setIndeterminate(true);
        mLayout.statusBar->startAnimation();
        if (minimized) window()->minimize();
        placeWindow(position);
    }
    mWindowSystem.activateAgent();
    runModal();
}

void PavoProgress::loadLayout()
{
    const std::string name = mHasCloseBox ? "PavoProgress" : "PavoProgressNoClose";
    mLayout = mWindowSystem.loadWindowLayout(name, *this);
    const bool loaded = window() != nullptr;
    if (loaded) awakeFromNib();
    DebugLog(2, "PavoProgress.createProgress: layout \"%s\" loaded=%d, window=%d, visible=%d", name.c_str(), loaded,
             loaded, loaded && window()->isVisible());
}

void PavoProgress::awakeFromNib()
{
    if (window() == nullptr) return;
    window()->allowWithoutLogin();
    DebugLog(2, "PavoProgress.awakeFromNib: visible=%d", window()->isVisible());

    const std::string titleKey = "PAVO_PROG_WINDOW_TITLE";
    std::string title;
    std::optional<std::string> icon;
    if (const auto bundle = mBundles.bundleWithPath(platform::kCustodiaBundlePath)) {
        title = bundle->localizedString(titleKey, "localizable");
        icon = bundle->pathForResource("mobility_64", "tiff");
    }
    // The bundle answers with the key when it has no text, but nobody wants to read that on a window.
    window()->setTitle(title != titleKey ? title : std::string());
    mLayout.image->setImage(icon ? &*icon : nullptr);

    mLayout.statusBar->setRange(0.0, 1.0);
    for (auto* line : {mLayout.topMessage.get(), mLayout.middleMessage.get(), mLayout.bottomMessage.get()})
        line->setText({});
    mShouldClosed = false;
}

void PavoProgress::showTexts(const std::string* title, const std::string* path, const std::string* message,
                             const std::string* button)
{
    mLayout.topMessage->setText(orEmpty(title));
    mLayout.middleMessage->setText(orEmpty(path));
    mLayout.bottomMessage->setText(orEmpty(message));
    showHideCancelButton(!orEmpty(button).empty());
    mLayout.cancelButton->setTitle(orEmpty(button));
}

void PavoProgress::placeWindow(const WindowFrame& position)
{
    const auto laidOut = window()->frame();
    const WidthLimits limits(laidOut.width);
    applyLimits(*window(), limits, laidOut.height);

    // A frame of another height comes from another version's layout; "no position" is refused here as well.
    if (position.height != laidOut.height) return;
    // NOLINTNEXTLINE(readability-simplify-boolean-expr): a width that is not a number fails this form only.
    if (!(limits.least <= position.width && position.width <= limits.most)) return;
    if (!isOnScreens(position)) return;

    window()->setFrame(position, false, false);
    applyLimits(*window(), limits, laidOut.height);
    window()->orderFrontAndMakeKey();
}

bool PavoProgress::isOnScreens(const WindowFrame& position)
{
    const float right = position.x + position.width;
    const float top = position.y + position.height;
    DebugLog(2,
             "PavoProgress.createProgress: testPointOne.x=%f, testPointOne.y=%f, testPointTwo.x=%f, "
             "testPointTwo.y=%f",
             static_cast<double>(position.x), static_cast<double>(position.y), static_cast<double>(right),
             static_cast<double>(top));
    bool foundOne = false;
    bool foundTwo = false;
    bool isFirst = true;
    for (auto valid : mWindowSystem.screenFrames()) {
        logValidRect("", valid);
        if (isFirst) {
            valid.height -= kMenuBarHeight;
            logValidRect("after menu bar adjustment: ", valid);
            isFirst = false;
        }
        foundOne = foundOne || contains(valid, position.x, position.y);
        foundTwo = foundTwo || contains(valid, right, top);
        if (foundOne && foundTwo) return true;
    }
    return false;
}

bool PavoProgress::updateProgress(double value, const std::string* title, const std::string* path,
                                  const std::string* message, const std::string* button,
                                  std::optional<bool> relaxKeepInFront)
{
    DebugLog(2, "PavoProgress.updateProgress: value=%f, title=\"%s\", path=\"%s\", message=\"%s\", button=\"%s\"",
             value, logText(title), logText(path), logText(message), logText(button));
    const bool wasCancelledBefore = mWasCancelled;
    if (relaxKeepInFront) mRelaxKeepInFront = *relaxKeepInFront;
    if (window() == nullptr) return wasCancelledBefore;

    if (title != nullptr && !title->empty()) setTextIfDifferent(*mLayout.topMessage, *title);
    if (path != nullptr) setTextIfDifferent(*mLayout.middleMessage, *path);
    if (message != nullptr) setTextIfDifferent(*mLayout.bottomMessage, *message);
    if (button != nullptr) updateButton(*button);
    updateBar(value);
    return wasCancelledBefore;
}

void PavoProgress::updateButton(const std::string& button)
{
    if (!button.empty() && mLayout.cancelButton->title() != button) mLayout.cancelButton->setTitle(button);
    showHideCancelButton(!button.empty());
}

void PavoProgress::updateBar(double value)
{
    auto& bar = *mLayout.statusBar;
    if (value >= 0.0) {
        const double shown = std::min(value, 1.0);
        if (bar.isIndeterminate()) {
            bar.setIndeterminate(false);
            bar.stopAnimation();
        }
        if (bar.value() != shown) bar.setValue(shown);
    } else if (value == kProgressStopAnimation) {
        if (bar.isIndeterminate()) bar.stopAnimation();
    } else if (value == kProgressAnimate) {
        if (!bar.isIndeterminate()) bar.setIndeterminate(true);
        bar.startAnimation();
    }
}

void PavoProgress::showHideCancelButton(bool show)
{
    if (window() == nullptr) return;
    auto& button = *mLayout.cancelButton;
    if (button.isHidden() != show) return;
    button.setEnabled(show);
    button.setHidden(!show);

    const float delta = show ? button.width() : -button.width();
    auto frame = window()->frame();
    frame.width += delta;
    frame.x += 0.5F * delta;
    const bool visible = window()->isVisible();
    if (frame.width > 0.0F) window()->setFrame(frame, show && visible, visible);
}

bool PavoProgress::runModal()
{
    if (mSession == nullptr) mSession = mWindowSystem.beginModalSession(window());
    // What the step delivers may end this session, or be a nested command that takes the whole window down.
    const auto session = mSession;
    const std::weak_ptr<bool> alive = mAlive;
    const bool continues = session->runStep();
    if (alive.expired()) return false;

    if (mKeepInFront) {
        if (window() != nullptr) window()->setLevel(mWindowSystem.normalWindowLevel() + 1);
        if (!mRelaxKeepInFront) mWindowSystem.activateAgent();
    }
    if (!continues) endModal();
    return continues;
}

void PavoProgress::endModal()
{
    mSession.reset();
}

void PavoProgress::cancel()
{
    DebugLog(2, "PavoProgress.cancel");
    mWasCancelled = true;
    mOptionCancelled = mOptionCancelled || mWindowSystem.isOptionKeyDown();
    if (mLayout.cancelButton) mLayout.cancelButton->setEnabled(false);
    mWindowSystem.stopModalLoop();
}

void PavoProgress::cancelAll()
{
    DebugLog(2, "PavoProgress.cancelAll");
    mOptionCancelled = true;
    cancel();
}

bool PavoProgress::windowShouldClose()
{
    DebugLog(2, "PavoProgress.windowShouldClose");
    if (mCloseable) {
        mShouldClosed = true;
        mWindowSystem.stopModalLoop();
    }
    DebugLog(2, "PavoProgress.windowShouldClose: mShouldClosed=%s", truthWord(mShouldClosed));
    return false;
}

void PavoProgress::enableClose(bool closeable)
{
    mCloseable = closeable;
    DebugLog(2, "PavoProgress.enableClose:%s", truthWord(closeable));
}

void PavoProgress::refreshProgress()
{
    if (window() == nullptr || !mWasCancelled) return;
    if (!mLayout.cancelButton->isEnabled()) mLayout.cancelButton->setEnabled(true);
    mWasCancelled = false;
}

WindowFrame PavoProgress::destroyProgress()
{
    DebugLog(2, "PavoProgress.destroyProgress");
    endModal();
    if (window() == nullptr) return {};
    const auto frame = window()->frame();
    window()->close();
    mLayout = {};
    mWindowSystem.deactivateAgent();
    return frame;
}

} // namespace roamer
