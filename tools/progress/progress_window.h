#pragma once

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonObject>
#include <QObject>
#include <QPropertyAnimation>
#include <functional>

#include "progress_layout.h"

namespace windows
{

/// The progress window on the screen: shows what the agent says, and tells what the person does.
///
/// Return and Esc press the button, so does Alt with its letter; Shift-Esc presses the one that nobody sees. The window
/// never closes by itself.
class ProgressWindow final : public QObject
{
    Q_OBJECT

public:
    explicit ProgressWindow(ProgressWidgets widgets);

    /// Properties of an update as platform/linux/window_protocol.h has them.
    void apply(const QJsonObject& update);

    /// Where it is; while it glides to a place, that place.
    QJsonArray frame() const;
    bool isMinimized() const;
    bool isActive() const;
    int buttonWidth() const;
    const ProgressWidgets& widgets() const { return mWidgets; }

Q_SIGNALS:
    /// kCancelEvent, kCancelAllEvent or kCloseEvent.
    void personDid(const char* event, Qt::KeyboardModifiers keys);
    /// Frame, minimising or activity changed.
    void changed();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void setImage(const QString& productPath);
    void setTitleLine(const QString& title);
    void setButtonTitle(const QString& title);
    void limitSize(const QSize& size);
    void moveTo(const QRect& rectangle, bool glide);
    void setLevel(int level);
    void setMinimized(bool minimized);
    void show();
    void activate();
    void pressed();
    void pressKey(int key, Qt::KeyboardModifiers keys);
    Qt::KeyboardModifiers keysOfPress() const;

    ProgressWidgets mWidgets;
    QSize mMinimumSize;
    QSize mMaximumSize{QWIDGETSIZE_MAX, QWIDGETSIZE_MAX};
    QPropertyAnimation mGlide;
    QElapsedTimer mSinceActivation;
    bool mPressedByLetter = false;
};

} // namespace windows
