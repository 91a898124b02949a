#include "detail_pane.h"

#include <QScrollBar>
#include <QVBoxLayout>

#include <algorithm>

#include "line_diff.h"
#include "platform/system_root.h"

namespace braid::window
{

namespace
{

constexpr int kMargin = 16;
constexpr int kButtonRoom = 16;
constexpr double kNameSize = 1.25;

void scrollTogether(QPlainTextEdit& one, QPlainTextEdit& other)
{
    QObject::connect(one.verticalScrollBar(), &QScrollBar::valueChanged, other.verticalScrollBar(),
                     &QScrollBar::setValue);
    QObject::connect(other.verticalScrollBar(), &QScrollBar::valueChanged, one.verticalScrollBar(),
                     &QScrollBar::setValue);
}

bool isComparable(const Item& item)
{
    return !item.isError && item.path != "." && !choicesFor({item}).empty();
}

} // namespace

DetailPane::DetailPane(QWidget* parent)
    : QWidget(parent), mName(new windows::ElidedLabel), mFolder(new windows::ElidedLabel), mSentence(new QLabel),
      mCards(new QWidget), mLocal(new VersionCard), mNetwork(new VersionCard), mButtons(new QWidget),
      mButtonRow(new QHBoxLayout(mButtons))
{
    QFont large = font();
    large.setPointSizeF(large.pointSizeF() * kNameSize);
    large.setWeight(QFont::DemiBold);
    mName->setFont(large);
    mFolder->setProperty("secondary", true);
    mSentence->setWordWrap(true);
    mSentence->setTextFormat(Qt::PlainText);
    mSentence->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto* cards = new QHBoxLayout(mCards);
    cards->setContentsMargins(0, 0, 0, 0);
    cards->setSpacing(12);
    cards->addWidget(mLocal, 1);
    cards->addWidget(mNetwork, 1);
    mButtonRow->setContentsMargins(0, 0, 0, 0);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(4);
    layout->addWidget(mName);
    layout->addWidget(mFolder);
    layout->addSpacing(6);
    layout->addWidget(mSentence);
    layout->addSpacing(8);
    layout->addWidget(mCards, 1);
    layout->addStretch(0);
    layout->addSpacing(8);
    layout->addWidget(mButtons);

    scrollTogether(mLocal->textView(), mNetwork->textView());
    connect(mLocal, &VersionCard::chosen, this, [this] { Q_EMIT decided(choicesFor(mItems).at(0).keep); });
    connect(mNetwork, &VersionCard::chosen, this, [this] { Q_EMIT decided(choicesFor(mItems).at(1).keep); });
}

void DetailPane::setHomes(std::string localHome, std::string networkHome)
{
    mLocalHome = std::move(localHome);
    mNetworkHome = std::move(networkHome);
}

void DetailPane::show(const std::vector<Item>& items, bool isBusy)
{
    const bool isSameOne = items.size() == 1 && mItems == items;
    mItems = items;
    if (items.size() == 1 && !isSameOne) showOne(items.front());
    if (items.size() > 1) showMany();
    arrangeButtons(isBusy);
}

void DetailPane::showOne(const Item& item)
{
    mName->setText(nameOf(item));
    mFolder->setText(folderOf(item));
    mFolder->setVisible(!mFolder->text().isEmpty());
    mSentence->setText(item.isError ? sentenceOf(item) + QStringLiteral("\n\n") + item.message : sentenceOf(item));
    mCards->setVisible(isComparable(item));
    if (!isComparable(item)) return;
    const auto choices = choicesFor(mItems);
    mLocal->show(headingOf(item.local, true), factsOf(item, true), words(choices.at(0).label));
    mNetwork->show(headingOf(item.network, false), factsOf(item, false), words(choices.at(1).label));
    readVersions();
}

void DetailPane::showMany()
{
    mReader.drop();
    mName->setText(words(Text::SelectedMany, QString::number(mItems.size())));
    mFolder->hide();
    const auto errors = std::ranges::count_if(mItems, &Item::isError);
    const bool isMixed = errors > 0 && errors < static_cast<std::ptrdiff_t>(mItems.size());
    mSentence->setText(words(isMixed ? Text::SelectedMixed : Text::SelectedLead));
    mCards->hide();
}

void DetailPane::readVersions()
{
    mReader.drop();
    const auto& item = mItems.front();
    const ItemVersion* versions[] = {&item.local, &item.network};
    VersionCard* cards[] = {mLocal, mNetwork};
    const std::string* homes[] = {&mLocalHome, &mNetworkHome};
    for (int side = 0; side < 2; ++side) {
        mContents[side].reset();
        const auto kind = versions[side]->kind;
        if (kind == ItemVersion::Kind::Absent) {
            cards[side]->showNote(words(Text::Deleted));
        } else if (kind != ItemVersion::Kind::File) {
            cards[side]->showNote(words(Text::NoPreview));
        } else if (homes[side]->empty()) {
            cards[side]->showNote(words(Text::Unreadable));
        } else {
            cards[side]->showNote(words(Text::Reading));
            mReader.read(platform::systemPath(*homes[side]) + "/" + item.path,
                         [this, side](const VersionContent& content) { contentCame(side == 0, content); });
        }
    }
}

void DetailPane::contentCame(bool isLocal, const VersionContent& content)
{
    mContents[isLocal ? 0 : 1] = content;
    (isLocal ? mLocal : mNetwork)->showContent(content);
    compare();
}

void DetailPane::compare()
{
    using Kind = VersionContent::Kind;
    mLocal->markLines({});
    mNetwork->markLines({});
    const auto& [local, network] = mContents;
    if (!local || !network || local->kind != Kind::Text || network->kind != Kind::Text) return;
    const auto diff = compareLines(local->bytes, network->bytes);
    mLocal->markLines(diff.left);
    mNetwork->markLines(diff.right);
}

void DetailPane::arrangeButtons(bool isBusy)
{
    while (auto* old = mButtonRow->takeAt(0)) {
        delete old->widget();
        delete old;
    }
    mLocal->setButtonEnabled(!isBusy);
    mNetwork->setButtonEnabled(!isBusy);
    if (mItems.empty()) return;
    const auto choices = choicesFor(mItems);
    // The sides of a single conflict have their buttons below what they keep.
    const std::size_t first = mItems.size() == 1 && isComparable(mItems.front()) ? 2 : 0;
    const bool areAside = std::ranges::all_of(mItems, &Item::isSetAside);
    addButton(
        words(areAside ? Text::TakeBack : Text::SetAside), [this, areAside] { Q_EMIT asideWanted(!areAside); },
        !isBusy);
    mButtonRow->addStretch(1);
    for (std::size_t i = first; i < choices.size(); ++i) {
        addButton(
            words(choices[i].label), [this, keep = choices[i].keep] { Q_EMIT decided(keep); }, !isBusy);
    }
}

void DetailPane::addButton(const QString& text, const std::function<void()>& press, bool isEnabled)
{
    auto* button = new QPushButton(text);
    button->setAutoDefault(false);
    button->setMinimumWidth(button->sizeHint().width() + kButtonRoom);
    button->setEnabled(isEnabled);
    // Pressing it may lead to other buttons in its place.
    connect(button, &QPushButton::clicked, this, press, Qt::QueuedConnection);
    mButtonRow->addWidget(button);
}

} // namespace braid::window
