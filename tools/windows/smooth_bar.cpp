#include "smooth_bar.h"

#include <QEvent>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

namespace windows
{

namespace
{

constexpr int kSteps = 1000; ///< What a screen reader gets to hear, in thousandths.

/// Gliding is over soon and may be fine; wandering can go on for hours and must be cheap.
constexpr int kGlideFrameMilliseconds = 16;
constexpr int kWanderFrameMilliseconds = 33;

constexpr double kGlideHalfLifeMilliseconds = 60;
constexpr double kClose = 0.0005;

constexpr double kWanderMilliseconds = 1900; ///< Once along the bar.
constexpr double kPiece = 0.3;               ///< The wandering piece's share of the bar.

/// Slow at both ends: 0 to 1 for 0 to 1.
double eased(double progress)
{
    return (1 - std::cos(progress * M_PI)) / 2;
}

} // namespace

SmoothBar::SmoothBar(QWidget* parent) : QProgressBar(parent)
{
    setRange(0, kSteps);
    setTextVisible(false);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(&mFrames, &QTimer::timeout, this, &SmoothBar::moveOn);
}

void SmoothBar::setFraction(double fraction)
{
    mTarget = std::clamp(fraction, 0.0, 1.0);
    if (!mIsIndeterminate) setValue(static_cast<int>(std::lround(mTarget * kSteps)));
    // Back to an earlier value is a new beginning, and not a way to go.
    if (mTarget < mShown) mShown = mTarget;
    update();
    runOrRest();
}

void SmoothBar::setIndeterminate(bool indeterminate)
{
    if (mIsIndeterminate == indeterminate) return;
    mIsIndeterminate = indeterminate;
    mShown = indeterminate ? 0 : mTarget;
    mWanderedMilliseconds = 0;
    setRange(0, indeterminate ? 0 : kSteps);
    setFraction(mTarget);
}

void SmoothBar::setAnimated(bool animated)
{
    mIsAnimated = animated;
    runOrRest();
}

bool SmoothBar::isMoving() const
{
    return mIsIndeterminate ? mIsAnimated : std::abs(mTarget - mShown) > kClose;
}

void SmoothBar::runOrRest()
{
    const bool canBeSeen = isVisible() && !window()->isMinimized();
    const int interval = mIsIndeterminate ? kWanderFrameMilliseconds : kGlideFrameMilliseconds;
    if (!isMoving() || !canBeSeen) {
        mFrames.stop();
        if (!mIsIndeterminate) mShown = mTarget;
    } else if (!mFrames.isActive() || mFrames.interval() != interval) {
        mSinceFrame.start();
        mFrames.start(interval);
    }
}

void SmoothBar::moveOn()
{
    const auto milliseconds = static_cast<double>(mSinceFrame.restart());
    if (mIsIndeterminate) {
        mWanderedMilliseconds = std::fmod(mWanderedMilliseconds + milliseconds, kWanderMilliseconds);
    } else {
        mShown = mTarget - (mTarget - mShown) * std::exp2(-milliseconds / kGlideHalfLifeMilliseconds);
    }
    update();
    runOrRest();
}

std::pair<double, double> SmoothBar::filledPart() const
{
    if (!mIsIndeterminate) return {0, mShown};
    const auto end = eased(mWanderedMilliseconds / kWanderMilliseconds) * (1 + kPiece);
    return {end - kPiece, end};
}

void SmoothBar::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);

    QRectF track(0, (height() - kThickness) / 2.0, width(), kThickness);
    const auto radius = track.height() / 2;
    auto ground = palette().color(QPalette::WindowText);
    ground.setAlphaF(0.14F);
    painter.setBrush(ground);
    painter.drawRoundedRect(track, radius, radius);

    auto [begin, end] = filledPart();
    if (layoutDirection() == Qt::RightToLeft) {
        std::tie(begin, end) = std::pair(1 - end, 1 - begin);
    }
    if (end - begin <= 0) return;
    // The track's shape cuts off what is not in it: a sliver at its round end, a piece that comes or goes.
    QPainterPath shape;
    shape.addRoundedRect(track, radius, radius);
    painter.setClipPath(shape);
    const QRectF filled(track.left() + begin * track.width(), track.top(), (end - begin) * track.width(),
                        track.height());
    painter.setBrush(palette().color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::Highlight));
    painter.drawRoundedRect(filled, std::min(radius, filled.width() / 2), radius);
}

void SmoothBar::showEvent(QShowEvent* event)
{
    QProgressBar::showEvent(event);
    window()->installEventFilter(this);
    runOrRest();
}

void SmoothBar::hideEvent(QHideEvent* event)
{
    QProgressBar::hideEvent(event);
    runOrRest();
}

bool SmoothBar::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::WindowStateChange) runOrRest();
    return QProgressBar::eventFilter(watched, event);
}

} // namespace windows
