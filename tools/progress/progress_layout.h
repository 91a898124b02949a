#pragma once

#include <QString>
#include <memory>

#include "tools/windows/elided_label.h"
#include "tools/windows/smooth_bar.h"

class QLabel;
class QPushButton;
class QWidget;

namespace windows
{

/// A progress window's widgets, from the layout file of that name in the agent's bundle.
struct ProgressWidgets {
    std::unique_ptr<QWidget> window; ///< Owns the others.
    QLabel* image = nullptr;
    ElidedLabel* topMessage = nullptr;
    ElidedLabel* middleMessage = nullptr;
    ElidedLabel* bottomMessage = nullptr;
    SmoothBar* statusBar = nullptr;
    QPushButton* cancelButton = nullptr;
    QPushButton* cancelAllButton = nullptr; ///< Never shown: a key presses it.
};

/// Hidden, at the size that its fonts need, in the middle of the first screen. Without a window (and a line on standard
/// error) when there is no such file or it lacks one of the widgets.
ProgressWidgets loadProgressLayout(const QString& name);

} // namespace windows
