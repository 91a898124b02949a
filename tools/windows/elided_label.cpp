#include "elided_label.h"

#include <QHelpEvent>
#include <QPainter>
#include <QTextOption>
#include <QToolTip>

namespace windows
{

namespace
{

/// How much of the text's colour the less prominent lines keep.
constexpr double kSecondaryStrength = 0.68;

QColor mixed(const QColor& colour, const QColor& ground, double strength)
{
    const auto channel = [strength](int of, int under) { return qRound(of * strength + under * (1 - strength)); };
    return {channel(colour.red(), ground.red()), channel(colour.green(), ground.green()),
            channel(colour.blue(), ground.blue())};
}

} // namespace

ElidedLabel::ElidedLabel(QWidget* parent) : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
}

QSize ElidedLabel::sizeHint() const
{
    // Of the font alone: a line with letters of another script must not make the window jump.
    return {0, fontMetrics().height() + 1};
}

QString ElidedLabel::shownText() const
{
    return fontMetrics().elidedText(text(), Qt::ElideMiddle, contentsRect().width());
}

void ElidedLabel::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setFont(font());
    const auto colour = palette().color(foregroundRole());
    painter.setPen(mIsSecondary ? mixed(colour, palette().color(backgroundRole()), kSecondaryStrength) : colour);

    const bool startsAtRight = layoutDirection() == Qt::RightToLeft;
    QTextOption option((startsAtRight ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter | Qt::AlignAbsolute);
    option.setTextDirection(text().isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
    option.setWrapMode(QTextOption::NoWrap);
    painter.drawText(QRectF(contentsRect()), shownText(), option);
}

bool ElidedLabel::event(QEvent* event)
{
    if (event->type() == QEvent::ToolTip) {
        const auto* help = static_cast<QHelpEvent*>(event);
        QToolTip::showText(help->globalPos(), shownText() != text() ? text() : QString(), this);
        return true;
    }
    return QLabel::event(event);
}

} // namespace windows
