#include "alert_window.h"

#include <QAccessible>
#include <QCheckBox>
#include <QGuiApplication>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>
#include <array>

#include "tools/windows/button_letter.h"
#include "tools/windows/look.h"

namespace windows
{

namespace
{

constexpr int kPictureSize = 64;
constexpr int kBadgeSize = 28; ///< The level's sign on a picture's corner.
constexpr int kMargin = 24;
constexpr int kTextLetters = 58; ///< A line of text, in average letters: easy to read, and no wide window.
constexpr int kLeastButtonWidth = 88;
constexpr int kButtonPadding = 16; ///< More than the style's: long texts need air.

QString text(const std::string& utf8)
{
    return QString::fromStdString(utf8);
}

QIcon levelIcon(AlertRequest::Level level, const QStyle& style)
{
    switch (level) {
    case AlertRequest::Level::Stop:
        return style.standardIcon(QStyle::SP_MessageBoxCritical);
    case AlertRequest::Level::Note:
        return style.standardIcon(QStyle::SP_MessageBoxInformation);
    case AlertRequest::Level::Caution:
        return style.standardIcon(QStyle::SP_MessageBoxWarning);
    case AlertRequest::Level::Plain:
        break;
    }
    return {};
}

} // namespace

AlertWindow::AlertWindow(const AlertRequest& request)
{
    setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint |
                   Qt::WindowStaysOnTopHint);
    setWindowTitle(bundleText("PAVO_PROG_WINDOW_TITLE"));
    setAccessibleName(text(request.header));
    setAccessibleDescription(text(request.message));

    auto* whole = new QVBoxLayout(this);
    whole->setContentsMargins(kMargin, kMargin, kMargin, kMargin - 4);
    whole->setSpacing(20);
    whole->setSizeConstraint(QLayout::SetFixedSize);
    auto* content = new QHBoxLayout;
    content->setSpacing(20);
    whole->addLayout(content);
    if (auto* label = picture(request)) content->addWidget(label, 0, Qt::AlignTop);
    auto* column = new QVBoxLayout;
    column->setSpacing(8);
    content->addLayout(column);
    addTexts(request, *column);
    addCheckBoxes(request, *column);
    column->addStretch();
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(10);
    whole->addLayout(buttons);
    addButtons(request, *buttons);
}

QLabel* AlertWindow::picture(const AlertRequest& request)
{
    const auto icon = iconAt(text(request.iconPath));
    const auto sign = levelIcon(request.level, *style());
    const auto& shown = icon.isNull() ? sign : icon;
    if (shown.isNull()) return nullptr;
    setWindowIcon(shown);

    auto pixmap = shown.pixmap(QSize(kPictureSize, kPictureSize), devicePixelRatio());
    if (!icon.isNull() && !sign.isNull()) {
        const int corner = kPictureSize - kBadgeSize;
        QPainter(&pixmap).drawPixmap(corner, corner, sign.pixmap(QSize(kBadgeSize, kBadgeSize), devicePixelRatio()));
    }
    auto* label = new QLabel;
    label->setPixmap(pixmap);
    return label;
}

void AlertWindow::addTexts(const AlertRequest& request, QBoxLayout& column)
{
    const auto add = [&](const std::string& said, bool isHeader) {
        if (said.empty()) return;
        auto* label = new QLabel(text(said));
        label->setTextFormat(Qt::PlainText);
        label->setWordWrap(true);
        auto font = label->font();
        font.setBold(isHeader);
        if (isHeader) font.setPointSizeF(font.pointSizeF() * 1.1);
        label->setFont(font);
        label->setFixedWidth(fontMetrics().averageCharWidth() * kTextLetters);
        column.addWidget(label);
    };
    add(request.header, true);
    add(request.message, false);
}

void AlertWindow::addCheckBoxes(const AlertRequest& request, QBoxLayout& column)
{
    if (!request.checkBoxes.empty()) column.addSpacing(4);
    for (const auto& asked : request.checkBoxes) {
        auto* box = new QCheckBox(text(asked.title).replace(u'&', QStringLiteral("&&")));
        box->setObjectName(QStringLiteral("checkBox%1").arg(mCheckBoxes.size()));
        box->setChecked(asked.isChecked);
        mCheckBoxes.push_back(box);
        column.addWidget(box);
    }
}

void AlertWindow::addButtons(const AlertRequest& request, QBoxLayout& row)
{
    const struct {
        AlertChoice choice;
        const std::string& title;
        const char* name;
    } buttons[] = {
        {AlertChoice::Default, request.defaultButton, "default"},
        {AlertChoice::Alternate, request.alternateButton, "alternate"},
        {AlertChoice::Other, request.otherButton, "other"},
    };
    QString taken;
    row.addStretch();
    for (const auto& asked : buttons) {
        if (asked.title.empty()) continue;
        auto* button = new QPushButton(withLetter(text(asked.title), taken));
        button->setObjectName(QLatin1String(asked.name));
        button->setAccessibleName(text(asked.title));
        button->setMinimumWidth(std::max(kLeastButtonWidth, button->sizeHint().width() + kButtonPadding));
        button->setAutoDefault(true);
        button->setDefault(asked.choice == AlertChoice::Default);
        connect(button, &QPushButton::clicked, this, [this, choice = asked.choice] {
            mChoice = choice;
            accept();
        });
        row.insertWidget(1, button); // the default one comes to stand at the end
        if (asked.choice == AlertChoice::Default) button->setFocus();
    }
}

std::vector<bool> AlertWindow::checked() const
{
    std::vector<bool> states;
    states.reserve(mCheckBoxes.size());
    for (const auto* box : mCheckBoxes)
        states.push_back(box->isChecked());
    return states;
}

void AlertWindow::present()
{
    show();
    raise();
    activateWindow();
    QAccessibleEvent said(this, QAccessible::Alert);
    QAccessible::updateAccessibility(&said);
}

} // namespace windows
