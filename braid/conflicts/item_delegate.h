#pragma once

#include <QStyledItemDelegate>

namespace braid::window
{

/// A row of the list: a sign, the name, and below it where it lies or what happened.
class ItemDelegate final : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

/// A conflict's or an error's sign.
void paintSign(QPainter& painter, const QRectF& place, bool isError, bool isSetAside);

} // namespace braid::window
