#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QJsonObject>
#include <QObject>
#include <QSocketNotifier>
#include <QTimer>
#include <memory>

#include "progress_window.h"

namespace windows
{

/// The window process's end of the talk with the agent; platform/linux/window_protocol.h has what is said.
class WindowServer final : public QObject
{
    Q_OBJECT

public:
    /// Borrows the two descriptors.
    WindowServer(int input, int output);

    void greet();
    /// Null until the agent asked for one.
    ProgressWindow* window() const { return mWindow.get(); }

Q_SIGNALS:
    /// The agent has no more to say.
    void finished();

private:
    void read();
    void handle(const QJsonObject& message);
    void load(const QString& layout);
    void reportSoon();
    void report();
    void send(const QJsonObject& message);
    void write();

    const int mOutputDescriptor;
    QSocketNotifier mInput;
    QSocketNotifier mOutput; ///< On while there is something left to write.
    QByteArray mRead;
    QByteArray mToWrite;
    QTimer mReport;
    QElapsedTimer mSinceReport;
    QJsonObject mReported;
    int mApplied = 0;
    std::unique_ptr<ProgressWindow> mWindow;
};

} // namespace windows
