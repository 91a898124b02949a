#pragma once

#include <QLabel>

namespace windows
{

/// One line of text that leaves out its middle where there is no room for it, and never asks for more room. The whole
/// text is its tool tip then. A screen reader always hears the whole text.
///
/// Letters run in the text's own direction; the line stands at the side where the window's language begins.
class ElidedLabel final : public QLabel
{
    Q_OBJECT
    /// Less prominent than the main text. A property, so that a layout can set it.
    Q_PROPERTY(bool secondary MEMBER mIsSecondary)

public:
    explicit ElidedLabel(QWidget* parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;

private:
    QString shownText() const;

    bool mIsSecondary = false;
};

} // namespace windows
