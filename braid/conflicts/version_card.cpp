#include "version_card.h"

#include <QBuffer>
#include <QFontDatabase>
#include <QImageReader>
#include <QPainter>
#include <QTextBlock>
#include <QVBoxLayout>

namespace braid::window
{

namespace
{

constexpr int kPadding = 12;
constexpr int kMostPictureMegabytes = 256;
constexpr float kMarkStrength = 0.22F;
const QColor kMarkColour(0xe0, 0x8a, 0x1e);

} // namespace

void PictureView::show(const QPixmap& picture)
{
    mPicture = picture;
    update();
}

void PictureView::paintEvent(QPaintEvent* /*event*/)
{
    if (mPicture.isNull()) return;
    const auto room = size() * devicePixelRatioF();
    auto shown = mPicture;
    if (shown.width() > room.width() || shown.height() > room.height()) {
        shown = mPicture.scaled(room, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    }
    shown.setDevicePixelRatio(devicePixelRatioF());
    const auto drawn = shown.deviceIndependentSize();
    QPainter painter(this);
    painter.drawPixmap(QPointF((width() - drawn.width()) / 2, (height() - drawn.height()) / 2), shown);
}

VersionCard::VersionCard(QWidget* parent)
    : QFrame(parent), mHeading(new windows::ElidedLabel), mWhen(new windows::ElidedLabel),
      mWhat(new windows::ElidedLabel), mPreview(new QStackedWidget), mNote(new QLabel), mText(new QPlainTextEdit),
      mPicture(new PictureView), mButton(new QPushButton)
{
    setFrameShape(QFrame::StyledPanel);
    QFont bold = font();
    bold.setWeight(QFont::DemiBold);
    mHeading->setFont(bold);
    mWhen->setProperty("secondary", true);
    mWhat->setProperty("secondary", true);
    mNote->setAlignment(Qt::AlignCenter);
    mNote->setWordWrap(true);
    mNote->setEnabled(false);
    mText->setReadOnly(true);
    mText->setLineWrapMode(QPlainTextEdit::NoWrap);
    mText->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    mText->setTabChangesFocus(true);
    mText->setFrameShape(QFrame::NoFrame);
    for (auto* view : {static_cast<QWidget*>(mNote), static_cast<QWidget*>(mText), static_cast<QWidget*>(mPicture)})
        mPreview->addWidget(view);
    mPreview->setMinimumSize(120, 80);
    mButton->setAutoDefault(false);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kPadding, kPadding, kPadding, kPadding);
    layout->setSpacing(4);
    layout->addWidget(mHeading);
    layout->addWidget(mWhen);
    layout->addWidget(mWhat);
    layout->addSpacing(6);
    layout->addWidget(mPreview, 1);
    layout->addSpacing(8);
    layout->addWidget(mButton);
    connect(mButton, &QPushButton::clicked, this, &VersionCard::chosen);
}

void VersionCard::show(const QString& heading, const Facts& facts, const QString& button)
{
    mHeading->setText(heading);
    mWhen->setText(facts.when);
    mWhat->setText(facts.what);
    mBareWhat = facts.what;
    mButton->setText(button);
    mButton->setAccessibleDescription(QStringList{heading, facts.when, facts.what}.join(QStringLiteral(", ")));
    mText->setAccessibleName(heading);
    mPicture->setAccessibleName(heading);
}

void VersionCard::showNote(const QString& note)
{
    mNote->setText(note);
    mPreview->setCurrentWidget(mNote);
}

void VersionCard::showContent(const VersionContent& content)
{
    using Kind = VersionContent::Kind;
    switch (content.kind) {
    case Kind::Text:
        mText->setPlainText(QString::fromStdString(content.bytes));
        mPreview->setCurrentWidget(mText);
        return;
    case Kind::Picture:
        if (!showPicture(content.bytes)) showNote(words(Text::NoPreview));
        return;
    case Kind::Empty:
        return showNote(words(Text::EmptyFile));
    case Kind::TooLarge:
        return showNote(words(Text::TooLarge));
    case Kind::Unreadable:
        return showNote(words(Text::Unreadable));
    case Kind::Other:
        return showNote(words(Text::NoPreview));
    }
}

bool VersionCard::showPicture(const std::string& bytes)
{
    QByteArray data = QByteArray::fromRawData(bytes.data(), static_cast<qsizetype>(bytes.size()));
    QBuffer buffer(&data);
    QImageReader::setAllocationLimit(kMostPictureMegabytes);
    QImageReader reader(&buffer);
    reader.setAutoTransform(true);
    const QImage image = reader.read();
    if (image.isNull()) return false;
    const auto pixels = words(Text::Pixels, QStringLiteral("%1 × %2").arg(image.width()).arg(image.height()));
    mWhat->setText(mBareWhat + QStringLiteral(" · ") + pixels);
    mPicture->show(QPixmap::fromImage(image));
    mPreview->setCurrentWidget(mPicture);
    return true;
}

void VersionCard::markLines(const std::vector<std::size_t>& lines)
{
    QColor colour = kMarkColour;
    colour.setAlphaF(kMarkStrength);
    QList<QTextEdit::ExtraSelection> marks;
    for (const auto line : lines) {
        QTextEdit::ExtraSelection mark;
        mark.cursor = QTextCursor(mText->document()->findBlockByNumber(static_cast<int>(line)));
        mark.format.setBackground(colour);
        mark.format.setProperty(QTextFormat::FullWidthSelection, true);
        marks << mark;
    }
    mText->setExtraSelections(marks);
    if (marks.isEmpty()) return;
    // The first difference in sight, with a little of what is before it.
    constexpr int kLinesBefore = 2;
    const int first = marks.constFirst().cursor.blockNumber();
    mText->setTextCursor(QTextCursor(mText->document()->findBlockByNumber(std::max(0, first - kLinesBefore))));
}

} // namespace braid::window
