#pragma once

#include <QElapsedTimer>
#include <QProgressBar>
#include <QTimer>

namespace windows
{

/// A flat progress bar that glides to each new value, and lets a piece wander along while no value is known.
///
/// It draws itself only while it can be seen and something moves.
class SmoothBar final : public QProgressBar
{
    Q_OBJECT

public:
    explicit SmoothBar(QWidget* parent = nullptr);

    /// 0.0 to 1.0
    void setFraction(double fraction);
    void setIndeterminate(bool indeterminate);
    /// Whether the piece wanders. Means nothing while a value is shown.
    void setAnimated(bool animated);

    QSize sizeHint() const override { return {100, kThickness}; }
    QSize minimumSizeHint() const override { return {20, kThickness}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    static constexpr int kThickness = 8;

    void moveOn();
    void runOrRest();
    bool isMoving() const;
    /// Where the coloured part begins and ends, as fractions of the bar from where the language begins. May reach beyond
    /// the bar.
    std::pair<double, double> filledPart() const;

    QTimer mFrames;
    QElapsedTimer mSinceFrame;
    double mTarget = 0;
    double mShown = 0;
    double mWanderedMilliseconds = 0;
    bool mIsIndeterminate = false;
    bool mIsAnimated = false;
};

} // namespace windows
