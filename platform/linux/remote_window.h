#pragma once

#include <memory>
#include <optional>

#include "platform/window_system.h"
#include "window_process.h"

namespace platform
{

/// One progress window as the agent knows it: what it set, and what the process that draws it reported.
///
/// What the agent set counts until the process has applied it; from then on the person's changes count. Outlives its
/// process: without one, everything stays as it was last known.
class RemoteWindow
{
public:
    /// Borrows the owner until `close`.
    RemoteWindow(std::shared_ptr<WindowProcess> process, LayoutOwner& owner);

    /// Null once the window was closed.
    std::shared_ptr<WindowProcess> process() const { return mProcess; }
    LayoutOwner* owner() const { return mOwner; }

    void show();
    void close();
    bool isVisible() const;
    void activate();

    roamer::WindowFrame frame() const;
    void setFrame(const roamer::WindowFrame& frame, bool animate);
    bool isMinimized() const;
    void setMinimized(bool minimized);
    void setLevel(int level);
    float buttonWidth() const { return mButtonWidth; }

    /// Returns the serial number of the update that will tell the process.
    int set(const char* property, const QJsonValue& value);
    /// Exchanges what there is to exchange with the process, and returns what the person did next.
    std::optional<WindowProcess::Event> nextEvent();

private:
    /// A value that both sides change.
    template <typename Value>
    struct Shared {
        Value value{};
        int serial = 0; ///< Of the update that carries it to the process.
    };
    template <typename Value>
    const Value& latest(Shared<Value>& shared, const Value& reported) const;

    std::shared_ptr<WindowProcess> mProcess;
    LayoutOwner* mOwner;
    float mButtonWidth;
    bool mIsVisible = false;
    int mLevel = 0;
    mutable Shared<roamer::WindowFrame> mFrame;
    mutable Shared<bool> mMinimized;
};

/// The window and its controls as the layout's members.
ProgressLayout remoteLayout(const std::shared_ptr<RemoteWindow>& window);

} // namespace platform
