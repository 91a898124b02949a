#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "values/window_frame.h"

namespace platform
{

class Control
{
public:
    virtual ~Control() = default;
    virtual bool isHidden() const = 0;
    virtual void setHidden(bool hidden) = 0;
    virtual bool isEnabled() const = 0;
    virtual void setEnabled(bool enabled) = 0;
    virtual float width() const = 0;
    virtual std::string title() const = 0;
    virtual void setTitle(const std::string& title) = 0;
};

class TextField
{
public:
    virtual ~TextField() = default;
    virtual std::string text() const = 0;
    virtual void setText(const std::string& text) = 0;
};

class ProgressBar
{
public:
    virtual ~ProgressBar() = default;
    virtual void setRange(double low, double high) = 0;
    virtual bool isIndeterminate() const = 0;
    virtual void setIndeterminate(bool indeterminate) = 0;
    virtual void startAnimation() = 0;
    virtual void stopAnimation() = 0;
    virtual double value() const = 0;
    virtual void setValue(double value) = 0;
};

class ImageView
{
public:
    virtual ~ImageView() = default;
    /// A product path; null: no picture.
    virtual void setImage(const std::string* path) = 0;
};

class Window
{
public:
    virtual ~Window() = default;
    virtual roamer::WindowFrame frame() const = 0;
    virtual void setFrame(const roamer::WindowFrame& frame, bool redraw, bool animate) = 0;
    virtual void setMinimumSize(float width, float height) = 0;
    virtual void setMaximumSize(float width, float height) = 0;
    virtual void setTitle(const std::string& title) = 0;
    virtual void setLevel(int level) = 0;
    virtual bool isVisible() const = 0;
    virtual bool isMinimized() const = 0;
    virtual void minimize() = 0;
    virtual void deminimize() = 0;
    virtual void orderFrontAndMakeKey() = 0;
    virtual void close() = 0;
    /// Shows also while nobody is logged in.
    virtual void allowWithoutLogin() = 0;
};

/// What a layout calls. Borrowed by the layout until its window is closed.
class LayoutOwner
{
public:
    virtual ~LayoutOwner() = default;
    virtual void awakeFromNib() = 0;
    virtual void cancel() = 0;
    virtual void cancelAll() = 0;
    /// The close box: whether the window may close by itself.
    virtual bool windowShouldClose() = 0;
};

/// A progress window and its controls, loaded from a layout. The owner of the pointer owns them all.
struct ProgressLayout {
    std::unique_ptr<Window> window;
    std::unique_ptr<Control> cancelButton;
    std::unique_ptr<Control> cancelAllButton;
    std::unique_ptr<ImageView> image;
    std::unique_ptr<TextField> topMessage;
    std::unique_ptr<TextField> middleMessage;
    std::unique_ptr<TextField> bottomMessage;
    std::unique_ptr<ProgressBar> statusBar;
};

/// A window's modal session that is stepped and never blocks. Ends when it goes.
class ModalSession
{
public:
    virtual ~ModalSession() = default;
    /// Handles the pending events; false once the session was stopped.
    virtual bool runStep() = 0;
};

class WindowSystem
{
public:
    virtual ~WindowSystem() = default;

    /// Loads the named layout ("PavoProgress", "PavoProgressNoClose") for `owner`. All members are set, or none when it
    /// cannot be loaded, as without a display. The caller calls the owner's awakeFromNib once it has taken the
    /// controls.
    virtual ProgressLayout loadWindowLayout(const std::string& name, LayoutOwner& owner) = 0;

    /// A session for `window`; with a null window (no display) its steps always continue until stopModalLoop.
    virtual std::unique_ptr<ModalSession> beginModalSession(Window* window) = 0;
    /// Makes the next step of the running session return false.
    virtual void stopModalLoop() = 0;

    virtual bool isOptionKeyDown() = 0;
    virtual bool isShiftKeyDown() = 0;
    virtual void activateAgent() = 0;
    virtual void deactivateAgent() = 0;
    /// The first one carries the menu bar.
    virtual std::vector<roamer::WindowFrame> screenFrames() = 0;
    virtual int normalWindowLevel() = 0;
};

} // namespace platform
