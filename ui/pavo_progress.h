#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/bundle.h"
#include "platform/window_system.h"
#include "values/window_frame.h"

namespace roamer
{

/// Values of updateProgress besides the fractions 0.0 to 1.0. Every other negative value leaves the bar as it is.
inline constexpr double kProgressUnchanged = -1.0;
inline constexpr double kProgressStopAnimation = -2.0;
inline constexpr double kProgressAnimate = -3.0;

/// A text that may be missing, as the controller takes it. Valid as long as the text is.
inline const std::string* pointerTo(const std::optional<std::string>& text)
{
    return text ? &*text : nullptr;
}

/// The controller of the one progress window: title, path, message, bar, cancel button, and a close box if asked for.
///
/// It has no loop of its own. Its owner calls runModal again and again from the loop in which it waits, and reads the
/// flags once a step returned false. Everything that arrives meanwhile, a nested command too, arrives inside such a
/// step: the controller may be taken down under it, so read the owner's pointer again after each one.
///
/// Without a display there is no window: texts go nowhere, no flag is ever set, and steps go on.
class PavoProgress final : public platform::LayoutOwner
{
public:
    /// Becomes the shared controller. Borrows both services.
    PavoProgress(platform::WindowSystem& windowSystem, platform::Bundles& bundles);
    ~PavoProgress() override;
    PavoProgress(const PavoProgress&) = delete;
    PavoProgress& operator=(const PavoProgress&) = delete;

    /// The controller made last, null when it is gone.
    static PavoProgress* pavoProgress();

    /// Opens the window and runs the first modal step. Null texts show as empty; without button text there is no cancel
    /// button. `position` is used when the window fits there and both its corners are on screens; all zero for none.
    void createProgress(const std::string* title, const std::string* path, const std::string* message,
                        const std::string* button, bool closeable, bool keepInFront, bool minimized,
                        WindowFrame position);

    /// Null leaves a text, the button or the flag as it is. An empty title does too; an empty path or message clears
    /// its line, an empty button text hides the button. Returns whether cancel was pressed before this call.
    bool updateProgress(double value, const std::string* title, const std::string* path, const std::string* message,
                        const std::string* button, std::optional<bool> relaxKeepInFront);

    /// One step of the modal session, which it begins when none runs. False once the session has been stopped.
    bool runModal();
    void endModal();

    /// Arms the cancel button again. A cancel with Option stays recorded.
    void refreshProgress();

    /// Closes the window for good and returns where it was; all zero when there was none.
    WindowFrame destroyProgress();

    /// The window grows or shrinks by the button's width.
    void showHideCancelButton(bool show);
    /// Whether clicks on the close box are honoured. The box itself stays.
    void enableClose(bool closeable);

    bool wasCancelled() const { return mWasCancelled; }
    bool wasOptionCancelled() const { return mOptionCancelled; }
    bool userRequestsClose() const { return mShouldClosed; }
    bool hasCloseBox() const { return mHasCloseBox; }
    /// Null before creation, after destroyProgress and without a display. Valid until destroyProgress.
    platform::Window* window() const { return mLayout.window.get(); }

    // What the layout calls.
    void awakeFromNib() override;
    void cancel() override;
    void cancelAll() override;
    bool windowShouldClose() override;

private:
    void loadLayout();
    void showTexts(const std::string* title, const std::string* path, const std::string* message,
                   const std::string* button);
    void placeWindow(const WindowFrame& position);
    bool isOnScreens(const WindowFrame& position);
    void updateButton(const std::string& button);
    void updateBar(double value);

    platform::WindowSystem& mWindowSystem;
    platform::Bundles& mBundles;
    bool mWasCancelled = false;
    bool mOptionCancelled = false;
    bool mShouldClosed = false;
    bool mCloseable = false;
    bool mHasCloseBox = false;
    bool mKeepInFront = false;
    bool mRelaxKeepInFront = false;
    platform::ProgressLayout mLayout;
    std::shared_ptr<platform::ModalSession> mSession; ///< Shared with a step that is running.
    std::shared_ptr<bool> mAlive;                     ///< Tells a running step that the controller is gone.
};

} // namespace roamer
