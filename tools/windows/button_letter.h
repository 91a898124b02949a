#pragma once

#include <QString>

namespace windows
{

/// The title as a button's text, with the mark of the letter that presses it together with Alt: the first one of the
/// title that a keyboard without an input method has and that `taken` does not contain. A title without such a letter
/// gets one in brackets, as is the custom in East Asia. Adds the letter to `taken`.
QString withLetter(const QString& title, QString& taken);
QString withLetter(const QString& title);

} // namespace windows
