#pragma once

#include <QElapsedTimer>
#include <QJsonObject>
#include <QProcess>
#include <QTimer>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "values/window_frame.h"

namespace platform
{

struct ModifierKeys {
    bool option = false;
    bool shift = false;
};

/// The agent's end of one window process; window_protocol.h has what is said.
///
/// The process may end at any moment. Then what it reported last still stands, and nothing more comes of it.
class WindowProcess
{
public:
    /// What the process said last about its window.
    struct Report {
        int applied = 0; ///< The update that it takes into account.
        roamer::WindowFrame frame;
        float buttonWidth = 0;
        bool isMinimized = false;
        bool isActive = false;
        std::vector<roamer::WindowFrame> screens;
    };
    struct Event {
        std::string name;
        ModifierKeys keys;
    };

    /// Starts `program` and waits for its greeting; null when there is no display that it can draw on. Waits ten
    /// seconds at most.
    static std::shared_ptr<WindowProcess> start(const std::string& program);
    /// Lets the process go. It closes its window and ends, and is killed when it takes its time.
    ~WindowProcess();
    WindowProcess(const WindowProcess&) = delete;
    WindowProcess& operator=(const WindowProcess&) = delete;

    bool isRunning() const { return mProcess && mProcess->state() == QProcess::Running; }

    /// Waits for the answer. False when the layout cannot be loaded or the process is gone.
    bool load(const std::string& layout);
    /// Waits for the answer, a second at most.
    std::optional<ModifierKeys> modifierKeys();

    /// Notes the property's new value for the next update and returns that update's serial number.
    int set(const char* property, const QJsonValue& value);
    /// Sends what is noted, if the process is ready for it; else that happens when it is.
    void flush();
    /// Takes what the process has said so far. Does not wait.
    void receive();

    const Report& report() const { return mReport; }
    /// What the person did next, in order.
    std::optional<Event> takeEvent();

private:
    explicit WindowProcess(const std::string& program);
    template <typename Condition>
    bool waitUntil(const Condition& condition, int milliseconds);
    void send(const QJsonObject& message);
    void readLines();
    void handle(const QJsonObject& message);

    std::unique_ptr<QProcess> mProcess;
    QTimer mFlushSoon;
    QJsonObject mChanged;
    int mSent = 0; ///< Serial number of the last update.
    bool mGreeted = false;
    std::optional<bool> mLoaded;
    std::optional<ModifierKeys> mKeys;
    Report mReport;
    std::deque<Event> mEvents;
};

} // namespace platform
