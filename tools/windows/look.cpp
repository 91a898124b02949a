#include "look.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QFile>
#include <QImageReader>
#include <QLocale>
#include <QPixmap>
#include <QStyle>
#include <QStyleFactory>

#include "platform/bundle.h"
#include "platform/linux/bundle.h"
#include "platform/linux/property_list_codec.h"
#include "platform/linux/user_languages.h"
#include "platform/system_root.h"

namespace windows
{

namespace
{

constexpr int kPortalMilliseconds = 500;
constexpr uint kPrefersDark = 1;

/// What the desktop's settings portal says, where there is one.
bool desktopPrefersDark()
{
    auto message = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.portal.Desktop"), QStringLiteral("/org/freedesktop/portal/desktop"),
        QStringLiteral("org.freedesktop.portal.Settings"), QStringLiteral("Read"));
    message.setAutoStartService(false);
    message << QStringLiteral("org.freedesktop.appearance") << QStringLiteral("color-scheme");
    const auto reply = QDBusConnection::sessionBus().call(message, QDBus::Block, kPortalMilliseconds);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) return false;
    // A variant in a variant.
    auto value = reply.arguments().constFirst();
    while (value.canConvert<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value.toUInt() == kPrefersDark;
}

bool isDark(const QPalette& palette)
{
    return palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness();
}

} // namespace

QPalette darkPalette()
{
    const QColor window(0x2a, 0x2a, 0x2e);
    const QColor base(0x1f, 0x1f, 0x22);
    const QColor button(0x3b, 0x3b, 0x40);
    const QColor text(0xf2, 0xf2, 0xf4);
    const QColor faint(0x8a, 0x8a, 0x90);
    const QColor accent(0x3d, 0x8b, 0xe6);

    QPalette palette(text, button, button.lighter(140), base.darker(120), button.darker(120), text, Qt::white, base,
                     window);
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::ToolTipBase, base);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::Highlight, accent);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, accent.lighter(120));
    palette.setColor(QPalette::PlaceholderText, faint.lighter(120));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, faint);
    return palette;
}

void adoptDesktopLook(QApplication& application)
{
    const auto languages = platform::userLanguages();
    const auto language = languages.empty() ? QStringLiteral("en") : QString::fromStdString(languages.front());
    application.setLayoutDirection(QLocale(language).textDirection());

    // A desktop with a theme of its own for the toolkit has chosen the colours already.
    const bool isPlain = application.style()->name().compare(QLatin1String("fusion"), Qt::CaseInsensitive) == 0;
    if (isPlain && !isDark(application.palette()) && desktopPrefersDark()) application.setPalette(darkPalette());
}

QIcon iconAt(const QString& productPath)
{
    QIcon icon;
    if (productPath.isEmpty()) return icon;
    QImageReader reader(QString::fromStdString(platform::systemPath(productPath.toStdString())));
    // One file may hold the picture in several sizes, for displays of several densities.
    for (int index = 0; index < std::max(reader.imageCount(), 1); ++index) {
        if (index > 0) reader.jumpToImage(index);
        const auto image = reader.read();
        if (!image.isNull()) icon.addPixmap(QPixmap::fromImage(image));
    }
    return icon;
}

QString bundleText(const char* key)
{
    const auto codec = platform::makePropertyListCodec();
    const auto bundle = platform::makeBundles(*codec)->bundleWithPath(platform::kCustodiaBundlePath);
    const auto text = bundle ? bundle->localizedString(key, "localizable") : std::string(key);
    return text == key ? QString() : QString::fromStdString(text);
}

} // namespace windows
