#include "conflicts_window.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPainter>
#include <QSplitter>
#include <QVBoxLayout>

#include <algorithm>

#include "item_delegate.h"

namespace braid::window
{

namespace
{

constexpr int kMargin = 16;
constexpr int kSign = 40;
constexpr QSize kSize(960, 640);
constexpr int kListWidth = 300;
constexpr double kTitleSize = 1.2;

/// The window's sign, sharp on every screen.
class Sign final : public QWidget
{
public:
    Sign() { setFixedSize(kSign, kSign); }

protected:
    void paintEvent(QPaintEvent* /*event*/) override
    {
        QPainter painter(this);
        paintSign(painter, rect(), false, false);
    }
};

QFrame* line()
{
    auto* line = new QFrame;
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Plain);
    line->setForegroundRole(QPalette::Mid);
    line->setFixedHeight(1);
    return line;
}

QIcon signIcon()
{
    QIcon icon;
    for (const int size : {16, 32, 64, 128}) {
        QPixmap picture(size, size);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        paintSign(painter, picture.rect(), false, false);
        painter.end();
        icon.addPixmap(picture);
    }
    return icon;
}

} // namespace

ConflictsWindow::ConflictsWindow(EngineClient& engine, bool showsSetAside)
    : mEngine(engine), mTitle(new QLabel), mLead(new QLabel), mList(new QListView),
      mSelectAll(new QPushButton(words(Text::SelectAll))), mPages(new QStackedWidget), mDetail(new DetailPane),
      mMessage(new QLabel), mShowSetAside(new QCheckBox), mHint(new QLabel)
{
    setWindowTitle(words(Text::WindowTitle));
    setWindowIcon(signIcon());
    mPages->addWidget(mDetail);
    mPages->addWidget(new QWidget); // nothing is selected

    auto* split = new QSplitter;
    split->setChildrenCollapsible(false);
    split->setHandleWidth(1);
    split->addWidget(makeList());
    split->addWidget(mPages);
    split->setStretchFactor(1, 1);
    split->setSizes({kListWidth, kSize.width() - kListWidth});

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(makeHead());
    layout->addWidget(line());
    layout->addWidget(split, 1);
    layout->addWidget(line());
    layout->addWidget(makeFoot());
    resize(kSize);

    mModel.showSetAside(showsSetAside);
    mShowSetAside->setChecked(showsSetAside);
    connect(&mEngine, &EngineClient::mattersCame, this, &ConflictsWindow::mattersCame);
    connect(mList->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] { selectionChanged(); });
    connect(mSelectAll, &QPushButton::clicked, this, [this] {
        mList->selectAll();
        mList->setFocus();
    });
    connect(mShowSetAside, &QCheckBox::toggled, this, [this](bool shows) {
        mModel.showSetAside(shows);
        selectSomething();
    });
    connect(mDetail, &DetailPane::decided, this, &ConflictsWindow::decide);
    connect(mDetail, &DetailPane::asideWanted, this, &ConflictsWindow::setAside);
    updateHead();
    selectionChanged();
    mEngine.fetch();
}

QWidget* ConflictsWindow::makeHead()
{
    QFont large = font();
    large.setPointSizeF(large.pointSizeF() * kTitleSize);
    large.setWeight(QFont::DemiBold);
    mTitle->setFont(large);
    mLead->setWordWrap(true);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(3);
    texts->addWidget(mTitle);
    texts->addWidget(mLead);
    auto* head = new QWidget;
    auto* layout = new QHBoxLayout(head);
    layout->setContentsMargins(kMargin, kMargin - 2, kMargin, kMargin - 2);
    layout->setSpacing(14);
    layout->addWidget(new Sign, 0, Qt::AlignTop);
    layout->addLayout(texts, 1);
    return head;
}

QWidget* ConflictsWindow::makeList()
{
    mList->setModel(&mModel);
    mList->setItemDelegate(new ItemDelegate(mList));
    mList->setSelectionMode(QAbstractItemView::ExtendedSelection);
    mList->setUniformItemSizes(true);
    mList->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    mList->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    mList->setFrameShape(QFrame::NoFrame);
    mList->setAccessibleName(words(Text::ListName));
    mSelectAll->setAutoDefault(false);
    auto* side = new QWidget;
    side->setMinimumWidth(200);
    auto* layout = new QVBoxLayout(side);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(mList, 1);
    auto* row = new QHBoxLayout;
    row->setContentsMargins(kMargin / 2, kMargin / 2, kMargin / 2, kMargin / 2);
    row->addWidget(mSelectAll);
    layout->addLayout(row);
    return side;
}

QWidget* ConflictsWindow::makeFoot()
{
    mMessage->setWordWrap(true);
    mMessage->setTextFormat(Qt::PlainText);
    mMessage->hide();
    mHint->setText(words(Text::CloseHint));
    mHint->setForegroundRole(QPalette::PlaceholderText);
    mHint->setWordWrap(true);
    mHint->setAlignment(Qt::AlignVCenter | Qt::AlignTrailing);
    auto* close = new QPushButton(words(Text::Close));
    close->setAutoDefault(false);
    connect(close, &QPushButton::clicked, this, &QWidget::close);

    auto* foot = new QWidget;
    auto* layout = new QVBoxLayout(foot);
    layout->setContentsMargins(kMargin, kMargin / 2 + 2, kMargin, kMargin / 2 + 2);
    layout->addWidget(mMessage);
    auto* row = new QHBoxLayout;
    row->setSpacing(12);
    row->addWidget(mShowSetAside);
    row->addWidget(mHint, 1);
    row->addWidget(close);
    layout->addLayout(row);
    return foot;
}

std::vector<Item> ConflictsWindow::selected() const
{
    std::vector<Item> items;
    for (const auto& index : mList->selectionModel()->selectedIndexes())
        items.push_back(mModel.item(index));
    return items;
}

void ConflictsWindow::mattersCame(const Matters& matters)
{
    mHasMatters = true;
    mDetail->setHomes(matters.localHome, matters.networkHome);
    mModel.take(matters.items);
    updateHead();
    selectSomething();
}

void ConflictsWindow::selectSomething()
{
    if (mModel.rowCount() > 0 && !mList->selectionModel()->hasSelection()) {
        mList->setCurrentIndex(mModel.index(std::min(mNextRow, mModel.rowCount() - 1)));
    }
    selectionChanged();
}

void ConflictsWindow::selectionChanged()
{
    const auto items = selected();
    const auto rows = mList->selectionModel()->selectedIndexes();
    if (!rows.isEmpty()) mNextRow = std::ranges::min(rows, {}, &QModelIndex::row).row();
    const bool isBusy = std::ranges::any_of(items, [&](const Item& item) { return mModel.isBusy(item); });
    mPages->setCurrentIndex(items.empty() ? 1 : 0);
    mSelectAll->setEnabled(mModel.rowCount() > 1);
    if (!items.empty()) mDetail->show(items, isBusy);
}

void ConflictsWindow::decide(const char* keep)
{
    const auto items = thoseThatTake(keep, selected());
    if (items.empty()) return;
    mModel.setBusy(items, true);
    ++mUnderWay;
    say(words(Text::Working), false);
    selectionChanged();
    mEngine.decide(items, keep, [this, items](const EngineClient::Outcome& outcome) {
        --mUnderWay;
        mModel.setBusy(items, false);
        selectionChanged();
        if (!outcome.problem.isEmpty()) return say(words(Text::Failed, outcome.problem), true);
        if (mUnderWay > 0) return;
        const bool oneBeside = outcome.newNames.size() == 1;
        say(oneBeside ? words(Text::KeptBeside, outcome.newNames.constFirst()) : QString(), false);
    });
}

void ConflictsWindow::setAside(bool aside)
{
    mEngine.setAside(selected(), aside);
}

void ConflictsWindow::updateHead()
{
    const auto count = mModel.openCount();
    mTitle->setText(count == 0   ? words(Text::HeadNone)
                    : count == 1 ? words(Text::HeadOne)
                                 : words(Text::HeadMany, QString::number(count)));
    if (!mHasMatters) mTitle->setText(words(Text::Reading));
    mLead->setText(count > 0 || !mHasMatters ? words(Text::Lead) : words(Text::LeadNone));
    mHint->setVisible(count > 0);
    const auto aside = mModel.setAsideCount();
    mShowSetAside->setText(words(Text::ShowSetAside, QString::number(aside)));
    mShowSetAside->setVisible(aside > 0);
}

void ConflictsWindow::say(const QString& text, bool isProblem)
{
    mMessage->setText(text);
    mMessage->setVisible(!text.isEmpty());
    QFont weight = font();
    weight.setWeight(isProblem ? QFont::DemiBold : QFont::Normal);
    mMessage->setFont(weight);
}

void ConflictsWindow::closeEvent(QCloseEvent* event)
{
    auto left = mModel.openItems();
    // What is being decided is not left.
    std::erase_if(left, [&](const Item& item) { return mModel.isBusy(item); });
    mEngine.setAsideAndWait(left);
    event->accept();
    Q_EMIT closed();
}

void ConflictsWindow::keyPressEvent(QKeyEvent* event)
{
    if (event->matches(QKeySequence::Cancel)) {
        close();
    } else if (event->matches(QKeySequence::Refresh)) {
        mEngine.fetch();
    } else {
        QWidget::keyPressEvent(event);
    }
}

} // namespace braid::window
