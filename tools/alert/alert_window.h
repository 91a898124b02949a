#pragma once

#include <QDialog>
#include <vector>

#include "alert_request.h"

class QBoxLayout;
class QCheckBox;
class QLabel;

namespace windows
{

/// One alert: picture, header in bold, message, checkboxes, and up to three buttons with the default one last.
///
/// Return presses the default button, Alt with its letter any button. Esc and the close box end it without a choice.
/// Its buttons are named "default", "alternate" and "other", its checkboxes "checkBox0" and so on.
class AlertWindow final : public QDialog
{
    Q_OBJECT

public:
    explicit AlertWindow(const AlertRequest& request);

    /// Once it has finished.
    AlertChoice choice() const { return mChoice; }
    std::vector<bool> checked() const;

    /// To the front, with the keyboard, and said aloud where a screen reader listens.
    void present();

private:
    void addTexts(const AlertRequest& request, QBoxLayout& column);
    void addCheckBoxes(const AlertRequest& request, QBoxLayout& column);
    void addButtons(const AlertRequest& request, QBoxLayout& row);
    QLabel* picture(const AlertRequest& request);

    AlertChoice mChoice = AlertChoice::Closed;
    std::vector<QCheckBox*> mCheckBoxes;
};

} // namespace windows
