#pragma once

#include <QFrame>
#include <QLabel>
#include <QPixmap>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStackedWidget>

#include <functional>

#include "item.h"
#include "tools/windows/elided_label.h"
#include "version_reader.h"

namespace braid::window
{

/// A picture as large as its place allows.
class PictureView final : public QWidget
{
    Q_OBJECT

public:
    using QWidget::QWidget;
    void show(const QPixmap& picture);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QPixmap mPicture;
};

/// One side of a conflict: whose it is, what happened when, what it looks like, and the button that keeps it.
class VersionCard final : public QFrame
{
    Q_OBJECT

public:
    explicit VersionCard(QWidget* parent = nullptr);

    void show(const QString& heading, const Facts& facts, const QString& button);
    void setButtonEnabled(bool isEnabled) { mButton->setEnabled(isEnabled); }
    void showNote(const QString& note);
    void showContent(const VersionContent& content);
    /// The lines, counted from 0, that the other side has not.
    void markLines(const std::vector<std::size_t>& lines);
    QPlainTextEdit& textView() { return *mText; }
    QPushButton& button() { return *mButton; }

Q_SIGNALS:
    void chosen();

private:
    bool showPicture(const std::string& bytes);

    windows::ElidedLabel* mHeading;
    windows::ElidedLabel* mWhen;
    windows::ElidedLabel* mWhat;
    QStackedWidget* mPreview;
    QLabel* mNote;
    QPlainTextEdit* mText;
    PictureView* mPicture;
    QString mBareWhat;
    QPushButton* mButton;
};

} // namespace braid::window
