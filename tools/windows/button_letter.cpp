#include "button_letter.h"

namespace windows
{

namespace
{

/// For titles without a usable letter, in this order: they stand for cancel, yes, and the alphabet's rest.
constexpr const char* kSpareLetters = "CSNYABDEFGHIJKLMOPQRTUVWXZ";

bool isUsable(QChar sign)
{
    return (sign >= u'a' && sign <= u'z') || (sign >= u'A' && sign <= u'Z') || (sign >= u'0' && sign <= u'9');
}

} // namespace

QString withLetter(const QString& title, QString& taken)
{
    QString text;
    bool isMarked = false;
    for (const QChar sign : title) {
        const auto upper = sign.toUpper();
        if (!isMarked && isUsable(sign) && !taken.contains(upper)) {
            text += u'&';
            taken += upper;
            isMarked = true;
        }
        text += sign == u'&' ? QStringLiteral("&&") : QString(sign);
    }
    if (isMarked || title.isEmpty()) return text;
    for (const char* spare = kSpareLetters; *spare != '\0'; ++spare) {
        const QChar letter = QLatin1Char(*spare);
        if (taken.contains(letter)) continue;
        taken += letter;
        return text + QStringLiteral("(&") + letter + u')';
    }
    return text;
}

QString withLetter(const QString& title)
{
    QString taken;
    return withLetter(title, taken);
}

} // namespace windows
