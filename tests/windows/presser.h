#pragma once

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QWidget>
#include <functional>

namespace tests
{

/// The person at the screen: does one thing after the other, each as soon as the window lets it.
///
/// "cancelButton" clicks the button of that name, "close" the window's close box, "escape", "return" and "c" press
/// keys; "alt+" and "shift+" hold a key meanwhile. "move:X,Y" drags the window. "until:TEXT" waits for a text,
/// "dump:FILE" notes what can be seen.
class Presser final : public QObject
{
public:
    Presser(const QString& script, std::function<QWidget*()> window)
        : mSteps(script.split(u' ', Qt::SkipEmptyParts)), mWindow(std::move(window))
    {
        connect(&mTimer, &QTimer::timeout, this, &Presser::next);
        mTimer.start(5);
    }

private:
    void next()
    {
        auto* window = mSteps.isEmpty() ? nullptr : mWindow();
        if (window != nullptr && window->isVisible() && act(*window, mSteps.constFirst())) mSteps.removeFirst();
    }

    static bool act(QWidget& window, QString step)
    {
        Qt::KeyboardModifiers keys;
        if (step.startsWith(u"alt+")) keys |= Qt::AltModifier;
        if (step.startsWith(u"shift+")) keys |= Qt::ShiftModifier;
        step.remove(0, step.indexOf(u'+') + 1);
        auto* handle = window.windowHandle();
        if (step == u"close") return handle->close(), true;
        if (step.startsWith(u"move:")) {
            const auto place = step.mid(5).split(u',');
            return handle->setPosition(place.at(0).toInt(), place.at(1).toInt()), true;
        }
        if (step.startsWith(u"until:")) return seen(window).contains(step.mid(6));
        if (step.startsWith(u"dump:")) return dump(window, step.mid(5));
        if (auto* button = window.findChild<QAbstractButton*>(step)) {
            if (!button->isVisible() || !button->isEnabled()) return false;
            // Near its beginning: a checkbox takes clicks only where it shows something.
            const QPoint place = button->mapTo(&window, QPoint(10, button->height() / 2));
            QTest::mouseClick(handle, Qt::LeftButton, keys, place);
            return true;
        }
        const auto* button = window.findChild<QPushButton*>(QStringLiteral("cancelButton"));
        if (button != nullptr && (!button->isVisible() || !button->isEnabled())) return false;
        const auto key = step == u"escape" ? Qt::Key_Escape : step == u"return" ? Qt::Key_Return : Qt::Key_C;
        QTest::keyClick(handle, key, keys);
        return true;
    }

    static QString seen(const QWidget& window)
    {
        const auto place = window.geometry();
        QString seen = window.windowTitle();
        for (const auto* label : window.findChildren<QLabel*>())
            if (!label->text().isEmpty()) seen += u'|' + label->text();
        for (const auto* button : window.findChildren<QPushButton*>())
            if (button->isVisible()) seen += u'|' + button->text();
        for (const auto* bar : window.findChildren<QProgressBar*>())
            seen += QStringLiteral("|%1 of %2").arg(bar->value()).arg(bar->maximum());
        seen += QStringLiteral("|%1,%2 %3x%4").arg(place.x()).arg(place.y()).arg(place.width()).arg(place.height());
        return seen;
    }

    static bool dump(const QWidget& window, const QString& path)
    {
        QFile file(path + QStringLiteral(".part"));
        return file.open(QIODevice::WriteOnly) && file.write(seen(window).toUtf8()) >= 0 && file.rename(path);
    }

    QStringList mSteps;
    std::function<QWidget*()> mWindow;
    QTimer mTimer;
};

} // namespace tests
