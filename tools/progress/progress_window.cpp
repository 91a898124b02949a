#include "progress_window.h"

#include <QApplication>
#include <QCloseEvent>
#include <QIcon>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QWindow>

#include "platform/linux/window_protocol.h"
#include "screen_frames.h"
#include "tools/windows/button_letter.h"
#include "tools/windows/look.h"

namespace windows
{

namespace
{

using namespace platform::window_protocol;

constexpr int kGlideMilliseconds = 160;

/// The agent asks again and again while it is not in front. A window manager may have its reasons not to obey.
constexpr int kActivationPauseMilliseconds = 1000;

QSize sizeOf(const QJsonValue& value)
{
    const auto numbers = value.toArray();
    return {qRound(numbers.at(0).toDouble()), qRound(numbers.at(1).toDouble())};
}

} // namespace

ProgressWindow::ProgressWindow(ProgressWidgets widgets) : mWidgets(std::move(widgets))
{
    mGlide.setTargetObject(mWidgets.window.get());
    mGlide.setPropertyName("geometry");
    mGlide.setDuration(kGlideMilliseconds);
    mGlide.setEasingCurve(QEasingCurve::OutCubic);
    connect(&mGlide, &QPropertyAnimation::finished, this, &ProgressWindow::changed);

    mWidgets.window->installEventFilter(this);
    mWidgets.cancelButton->installEventFilter(this);
    connect(mWidgets.cancelButton, &QPushButton::clicked, this, &ProgressWindow::pressed);
    connect(mWidgets.cancelAllButton, &QPushButton::clicked, this,
            [this] { Q_EMIT personDid(kCancelAllEvent, Qt::NoModifier); });
}

void ProgressWindow::apply(const QJsonObject& update)
{
    const auto with = [&update](const char* property, const auto& act) {
        if (const auto value = update.find(QLatin1String(property)); value != update.end()) act(*value);
    };
    with(kWindowTitle, [&](const auto& value) { mWidgets.window->setWindowTitle(value.toString()); });
    with(kImage, [&](const auto& value) { setImage(value.toString()); });
    with(kTopMessage, [&](const auto& value) { setTitleLine(value.toString()); });
    with(kMiddleMessage, [&](const auto& value) { mWidgets.middleMessage->setText(value.toString()); });
    with(kBottomMessage, [&](const auto& value) { mWidgets.bottomMessage->setText(value.toString()); });
    with(kButtonTitle, [&](const auto& value) { setButtonTitle(value.toString()); });
    with(kButtonEnabled, [&](const auto& value) { mWidgets.cancelButton->setEnabled(value.toBool()); });
    with(kButtonHidden, [&](const auto& value) { mWidgets.cancelButton->setHidden(value.toBool()); });
    with(kBarIndeterminate, [&](const auto& value) { mWidgets.statusBar->setIndeterminate(value.toBool()); });
    with(kBarAnimated, [&](const auto& value) { mWidgets.statusBar->setAnimated(value.toBool()); });
    with(kBarValue, [&](const auto& value) { mWidgets.statusBar->setFraction(value.toDouble()); });
    with(kMinimumSize, [&](const auto& value) { mMinimumSize = sizeOf(value); });
    with(kMaximumSize, [&](const auto& value) { mMaximumSize = sizeOf(value); });
    limitSize(mWidgets.window->size());
    with(kFrame, [&](const auto& value) { moveTo(rectangleOf(value.toArray()), update[kAnimatesFrame].toBool()); });
    with(kLevel, [&](const auto& value) { setLevel(value.toInt()); });
    with(kMinimized, [&](const auto& value) { setMinimized(value.toBool()); });
    with(kVisible, [&](const auto&) { show(); });
    with(kActivate, [&](const auto&) { activate(); });
}

QJsonArray ProgressWindow::frame() const
{
    const bool glides = mGlide.state() == QAbstractAnimation::Running;
    return frameOf(glides ? mGlide.endValue().toRect() : mWidgets.window->geometry());
}

bool ProgressWindow::isMinimized() const
{
    return mWidgets.window->isMinimized();
}

bool ProgressWindow::isActive() const
{
    return mWidgets.window->isActiveWindow();
}

int ProgressWindow::buttonWidth() const
{
    return mWidgets.cancelButton->minimumWidth();
}

void ProgressWindow::setImage(const QString& productPath)
{
    const auto icon = iconAt(productPath);
    mWidgets.window->setWindowIcon(icon);
    auto& label = *mWidgets.image;
    label.setPixmap(icon.pixmap(label.minimumSize(), label.devicePixelRatio()));
}

void ProgressWindow::setTitleLine(const QString& title)
{
    mWidgets.topMessage->setText(title);
    // What the bar is about, for those who hear the window.
    mWidgets.statusBar->setAccessibleName(title);
}

void ProgressWindow::setButtonTitle(const QString& title)
{
    auto& button = *mWidgets.cancelButton;
    button.setText(withLetter(title));
    button.setAccessibleName(title);
    button.setToolTip(button.sizeHint().width() > button.width() ? title : QString());
}

/// The limits are for the person; the agent may go beyond them, to this size.
void ProgressWindow::limitSize(const QSize& size)
{
    mWidgets.window->setMinimumSize(mMinimumSize.boundedTo(size));
    mWidgets.window->setMaximumSize(mMaximumSize.expandedTo(size));
}

void ProgressWindow::moveTo(const QRect& rectangle, bool glide)
{
    auto& window = *mWidgets.window;
    mGlide.stop();
    limitSize(rectangle.size());
    // A style without animations is a person who wants none.
    if (!glide || window.style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, &window) <= 0) {
        window.setGeometry(rectangle);
        return;
    }
    // On its way it is as large as at its beginning, and as at its end.
    window.setMinimumSize(window.minimumSize().boundedTo(window.size()));
    window.setMaximumSize(window.maximumSize().expandedTo(window.size()));
    mGlide.setStartValue(window.geometry());
    mGlide.setEndValue(rectangle);
    mGlide.start();
}

void ProgressWindow::setLevel(int level)
{
    auto& window = *mWidgets.window;
    const bool stays = level > 0;
    // On the platform's window: the widget's own flags can only be changed by taking it off the screen.
    window.winId();
    window.windowHandle()->setFlag(Qt::WindowStaysOnTopHint, stays);
    window.overrideWindowFlags(window.windowFlags().setFlag(Qt::WindowStaysOnTopHint, stays));
}

void ProgressWindow::setMinimized(bool minimized)
{
    auto& window = *mWidgets.window;
    window.setWindowState(minimized ? window.windowState() | Qt::WindowMinimized
                                    : window.windowState() & ~Qt::WindowMinimized);
}

void ProgressWindow::show()
{
    mWidgets.window->show();
    mWidgets.cancelButton->setFocus();
}

void ProgressWindow::activate()
{
    if (isActive() || (mSinceActivation.isValid() && mSinceActivation.elapsed() < kActivationPauseMilliseconds)) return;
    mSinceActivation.start();
    mWidgets.window->raise();
    mWidgets.window->activateWindow();
}

void ProgressWindow::pressed()
{
    // Until the agent arms it again: a second press could mean the next thing that the button stands for.
    mWidgets.cancelButton->setEnabled(false);
    Q_EMIT personDid(kCancelEvent, keysOfPress());
    mPressedByLetter = false;
}

Qt::KeyboardModifiers ProgressWindow::keysOfPress() const
{
    // Alt that belongs to the letter is no wish of its own.
    const auto keys = QGuiApplication::keyboardModifiers();
    return mPressedByLetter ? keys & ~Qt::AltModifier : keys;
}

void ProgressWindow::pressKey(int key, Qt::KeyboardModifiers keys)
{
    const bool isEscape = key == Qt::Key_Escape;
    if (!isEscape && key != Qt::Key_Return && key != Qt::Key_Enter) return;
    if (mWidgets.cancelButton->isHidden()) return;
    auto* button = isEscape && keys.testFlag(Qt::ShiftModifier) ? mWidgets.cancelAllButton : mWidgets.cancelButton;
    if (mWidgets.cancelButton->isEnabled()) button->click();
}

bool ProgressWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == mWidgets.cancelButton) {
        if (event->type() == QEvent::Shortcut) mPressedByLetter = true;
        return false;
    }
    switch (event->type()) {
    case QEvent::Close:
        event->ignore();
        Q_EMIT personDid(kCloseEvent, QGuiApplication::keyboardModifiers());
        return true;
    case QEvent::KeyPress: {
        const auto* key = static_cast<QKeyEvent*>(event);
        pressKey(key->key(), key->modifiers());
        return false;
    }
    case QEvent::Move:
    case QEvent::Resize:
    case QEvent::WindowStateChange:
    case QEvent::WindowActivate:
    case QEvent::WindowDeactivate:
        Q_EMIT changed();
        return false;
    default:
        return false;
    }
}

} // namespace windows
