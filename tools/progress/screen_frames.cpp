#include "screen_frames.h"

#include <QGuiApplication>
#include <QScreen>

namespace windows
{

namespace
{

/// The lower left corner of the first screen, in the toolkit's coordinates.
QPoint origin()
{
    const auto* first = QGuiApplication::primaryScreen();
    if (first == nullptr) return {};
    const auto screen = first->geometry();
    return {screen.x(), screen.y() + screen.height()};
}

} // namespace

QJsonArray frameOf(const QRect& rectangle)
{
    const auto zero = origin();
    return {rectangle.x() - zero.x(), zero.y() - (rectangle.y() + rectangle.height()), rectangle.width(),
            rectangle.height()};
}

QRect rectangleOf(const QJsonArray& frame)
{
    const auto zero = origin();
    const auto number = [&](int index) { return qRound(frame.at(index).toDouble()); };
    return {zero.x() + number(0), zero.y() - number(1) - number(3), number(2), number(3)};
}

QJsonArray screenFrames()
{
    QJsonArray frames;
    const auto* first = QGuiApplication::primaryScreen();
    if (first != nullptr) frames.append(frameOf(first->geometry()));
    for (const auto* screen : QGuiApplication::screens())
        if (screen != first) frames.append(frameOf(screen->geometry()));
    return frames;
}

} // namespace windows
