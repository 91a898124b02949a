#pragma once

#include <QIcon>
#include <QPalette>
#include <QString>

class QApplication;

namespace windows
{

/// Makes the application look and read like the person's desktop: light or dark, left to right or right to left.
void adoptDesktopLook(QApplication& application);

QPalette darkPalette();

/// The picture at a product path in all its sizes; a null icon when it cannot be read.
QIcon iconAt(const QString& productPath);

/// The text of the agent's bundle in the person's language; empty when there is none.
QString bundleText(const char* key);

} // namespace windows
