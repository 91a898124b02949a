#pragma once

#include <QCheckBox>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QStackedWidget>
#include <QWidget>

#include <functional>

#include "detail_pane.h"
#include "engine_client.h"
#include "item_model.h"

namespace braid::window
{

/// What needs a person, and the decisions about it. Closing it sets aside what is left.
class ConflictsWindow final : public QWidget
{
    Q_OBJECT

public:
    /// Borrows the engine. `showsSetAside`: a person asked for the window, and sees all there is.
    ConflictsWindow(EngineClient& engine, bool showsSetAside);

    void showSetAside(bool shows) { mShowSetAside->setChecked(shows); }

Q_SIGNALS:
    void closed();

protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    QWidget* makeHead();
    QWidget* makeList();
    QWidget* makeFoot();
    void mattersCame(const Matters& matters);
    void selectionChanged();
    void selectSomething();
    void decide(const char* keep);
    void setAside(bool aside);
    void updateHead();
    void say(const QString& text, bool isProblem);
    std::vector<Item> selected() const;

    EngineClient& mEngine;
    ItemModel mModel;
    QLabel* mTitle;
    QLabel* mLead;
    QListView* mList;
    QPushButton* mSelectAll;
    QStackedWidget* mPages;
    DetailPane* mDetail;
    QLabel* mMessage;
    QCheckBox* mShowSetAside;
    QLabel* mHint;
    int mUnderWay = 0; ///< Decisions.
    int mNextRow = 0;  ///< Where the selection goes when what was selected is gone.
    bool mHasMatters = false;
};

} // namespace braid::window
