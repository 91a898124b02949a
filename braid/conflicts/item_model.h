#pragma once

#include <QAbstractListModel>

#include <vector>

#include "item.h"

namespace braid::window
{

/// The list of what needs a person.
class ItemModel final : public QAbstractListModel
{
    Q_OBJECT

public:
    enum Role { FolderRole = Qt::UserRole, SentenceRole, IsErrorRole, IsSetAsideRole, IsBusyRole };

    /// Takes over the engine's list; rows that stay keep their selection.
    void take(std::vector<Item> items);
    void showSetAside(bool shows);
    bool showsSetAside() const { return mShowsSetAside; }
    /// A decision about them is under way.
    void setBusy(const std::vector<Item>& items, bool isBusy);
    bool isBusy(const Item& item) const;

    std::size_t openCount() const; ///< Not set aside.
    std::size_t setAsideCount() const;
    std::vector<Item> openItems() const;

    const Item& item(const QModelIndex& index) const { return mRows[static_cast<std::size_t>(index.row())]; }
    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    void arrange();
    void replaceRows(const std::vector<Item>& wanted);

    std::vector<Item> mAll;
    std::vector<Item> mRows; ///< Those that are shown.
    std::vector<Item> mBusy;
    bool mShowsSetAside = false;
};

} // namespace braid::window
