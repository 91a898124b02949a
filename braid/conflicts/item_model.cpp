#include "item_model.h"

#include <algorithm>

namespace braid::window
{

namespace
{

auto isSameAs(const Item& item)
{
    return [&item](const Item& other) { return other.isSame(item); };
}

} // namespace

void ItemModel::take(std::vector<Item> items)
{
    mAll = std::move(items);
    std::erase_if(mBusy, [&](const Item& busy) { return std::ranges::none_of(mAll, isSameAs(busy)); });
    arrange();
}

void ItemModel::showSetAside(bool shows)
{
    mShowsSetAside = shows;
    arrange();
}

void ItemModel::setBusy(const std::vector<Item>& items, bool isBusy)
{
    for (const auto& item : items) {
        std::erase_if(mBusy, isSameAs(item));
        if (isBusy) mBusy.push_back(item);
    }
    if (!mRows.empty()) Q_EMIT dataChanged(index(0), index(rowCount() - 1));
}

bool ItemModel::isBusy(const Item& item) const
{
    return std::ranges::any_of(mBusy, isSameAs(item));
}

std::size_t ItemModel::setAsideCount() const
{
    return static_cast<std::size_t>(std::ranges::count_if(mAll, &Item::isSetAside));
}

std::size_t ItemModel::openCount() const
{
    return mAll.size() - setAsideCount();
}

std::vector<Item> ItemModel::openItems() const
{
    std::vector<Item> items;
    std::ranges::copy_if(mAll, std::back_inserter(items), [](const Item& item) { return !item.isSetAside; });
    return items;
}

void ItemModel::arrange()
{
    std::vector<Item> wanted;
    std::ranges::copy_if(mAll, std::back_inserter(wanted), [](const Item& item) { return !item.isSetAside; });
    if (mShowsSetAside) std::ranges::copy_if(mAll, std::back_inserter(wanted), &Item::isSetAside);
    replaceRows(wanted);
}

/// Rows go and come one by one, so that the view keeps its selection and its place.
void ItemModel::replaceRows(const std::vector<Item>& wanted)
{
    for (std::size_t row = mRows.size(); row-- > 0;) {
        if (std::ranges::any_of(wanted, isSameAs(mRows[row]))) continue;
        beginRemoveRows({}, static_cast<int>(row), static_cast<int>(row));
        mRows.erase(mRows.begin() + static_cast<std::ptrdiff_t>(row));
        endRemoveRows();
    }
    for (std::size_t row = 0; row < wanted.size(); ++row) {
        if (row < mRows.size() && mRows[row].isSame(wanted[row])) {
            if (mRows[row] == wanted[row]) continue;
            mRows[row] = wanted[row];
            Q_EMIT dataChanged(index(static_cast<int>(row)), index(static_cast<int>(row)));
            continue;
        }
        const auto later = std::ranges::find_if(mRows, isSameAs(wanted[row]));
        if (later != mRows.end()) {
            const auto from = static_cast<int>(later - mRows.begin());
            beginRemoveRows({}, from, from);
            mRows.erase(later);
            endRemoveRows();
        }
        beginInsertRows({}, static_cast<int>(row), static_cast<int>(row));
        mRows.insert(mRows.begin() + static_cast<std::ptrdiff_t>(row), wanted[row]);
        endInsertRows();
    }
}

int ItemModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(mRows.size());
}

QVariant ItemModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid()) return {};
    const Item& row = item(index);
    switch (role) {
    case Qt::DisplayRole:
        return nameOf(row);
    case Qt::ToolTipRole:
        return QString::fromStdString(row.path);
    case Qt::AccessibleTextRole:
        return QStringList{nameOf(row), folderOf(row), sentenceOf(row), row.message}.join(QStringLiteral(", "));
    case FolderRole:
        return folderOf(row);
    case SentenceRole:
        return sentenceOf(row);
    case IsErrorRole:
        return row.isError;
    case IsSetAsideRole:
        return row.isSetAside;
    case IsBusyRole:
        return isBusy(row);
    default:
        return {};
    }
}

} // namespace braid::window
