#include "item_delegate.h"

#include <QApplication>
#include <QPainter>
#include <QPainterPath>

#include "item_model.h"

namespace braid::window
{

namespace
{

constexpr int kMargin = 10;
constexpr int kGap = 10;
constexpr int kSign = 22;
constexpr int kLineGap = 2;
constexpr double kFaint = 0.65;

const QColor kConflictColour(0xe0, 0x8a, 0x1e);
const QColor kErrorColour(0xd6, 0x3d, 0x3d);
const QColor kAsideColour(0x8a, 0x8a, 0x90);

QFont nameFont(const QFont& base)
{
    QFont font = base;
    font.setWeight(QFont::DemiBold);
    return font;
}

QFont smallFont(const QFont& base)
{
    QFont font = base;
    if (font.pointSizeF() > 0) font.setPointSizeF(font.pointSizeF() * 0.9);
    return font;
}

} // namespace

void paintSign(QPainter& painter, const QRectF& place, bool isError, bool isSetAside)
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(isSetAside ? kAsideColour : isError ? kErrorColour : kConflictColour);
    painter.drawRoundedRect(place, place.width() * 0.28, place.width() * 0.28);
    QPen pen(Qt::white, place.width() * 0.09, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    const auto at = [&](double x, double y) {
        return QPointF(place.left() + x * place.width(), place.top() + y * place.height());
    };
    if (isError) {
        painter.drawLine(at(0.5, 0.24), at(0.5, 0.56));
        painter.drawPoint(at(0.5, 0.75));
    } else {
        // Two arrows that pass each other.
        painter.drawLine(at(0.26, 0.38), at(0.72, 0.38));
        painter.drawPolyline(QPolygonF{at(0.60, 0.25), at(0.73, 0.38), at(0.60, 0.51)});
        painter.drawLine(at(0.28, 0.66), at(0.74, 0.66));
        painter.drawPolyline(QPolygonF{at(0.40, 0.53), at(0.27, 0.66), at(0.40, 0.79)});
    }
    painter.restore();
}

void ItemDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QStyleOptionViewItem view = option;
    initStyleOption(&view, index);
    view.text.clear();
    const auto* style = view.widget != nullptr ? view.widget->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &view, painter, view.widget);

    const auto direction = view.direction;
    const QRect inner = view.rect.adjusted(kMargin, 0, -kMargin, 0);
    const QRect sign(inner.left(), inner.center().y() - kSign / 2, kSign, kSign);
    const bool isFaded = index.data(ItemModel::IsSetAsideRole).toBool() || index.data(ItemModel::IsBusyRole).toBool();
    paintSign(*painter, QStyle::visualRect(direction, inner, sign), index.data(ItemModel::IsErrorRole).toBool(),
              index.data(ItemModel::IsSetAsideRole).toBool());

    const QFont big = nameFont(view.font), small = smallFont(view.font);
    const QFontMetrics bigMetrics(big), smallMetrics(small);
    const int height = bigMetrics.height() + kLineGap + smallMetrics.height();
    QRect name(inner.left() + kSign + kGap, inner.center().y() - height / 2, inner.width() - kSign - kGap,
               bigMetrics.height());
    QRect below(name.left(), name.bottom() + 1 + kLineGap, name.width(), smallMetrics.height());
    name = QStyle::visualRect(direction, inner, name);
    below = QStyle::visualRect(direction, inner, below);

    const bool isSelected = (view.state & QStyle::State_Selected) != 0;
    const auto group = (view.state & QStyle::State_Active) != 0 ? QPalette::Active : QPalette::Inactive;
    QColor colour = view.palette.color(group, isSelected ? QPalette::HighlightedText : QPalette::Text);
    if (isFaded) colour.setAlphaF(static_cast<float>(kFaint));
    const auto alignment = QStyle::visualAlignment(direction, Qt::AlignLeft) | Qt::AlignVCenter;
    painter->save();
    painter->setPen(colour);
    painter->setFont(big);
    painter->drawText(name, static_cast<int>(alignment),
                      bigMetrics.elidedText(index.data(Qt::DisplayRole).toString(), Qt::ElideMiddle, name.width()));
    colour.setAlphaF(static_cast<float>(kFaint));
    painter->setPen(colour);
    painter->setFont(small);
    const auto folder = index.data(ItemModel::FolderRole).toString();
    painter->drawText(
        below, static_cast<int>(alignment),
        smallMetrics.elidedText(folder.isEmpty() ? index.data(ItemModel::SentenceRole).toString() : folder,
                                folder.isEmpty() ? Qt::ElideRight : Qt::ElideMiddle, below.width()));
    painter->restore();
}

QSize ItemDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& /*index*/) const
{
    const int lines =
        QFontMetrics(nameFont(option.font)).height() + kLineGap + QFontMetrics(smallFont(option.font)).height();
    return {200, lines + 2 * kMargin};
}

} // namespace braid::window
