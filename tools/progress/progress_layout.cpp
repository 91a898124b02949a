#include "progress_layout.h"

#include <QFile>
#include <QGuiApplication>
#include <QLabel>
#include <QLayout>
#include <QPushButton>
#include <QScreen>
#include <QUiLoader>
#include <cmath>

#include "platform/bundle.h"
#include "platform/system_root.h"

namespace windows
{

namespace
{

/// Widths are multiples of this, so that the shares of them that limit the window are whole pixels.
constexpr int kWidthStep = 20;

/// The longest button text of the shipped languages, in average letters.
constexpr int kButtonLetters = 14;
constexpr int kButtonPadding = 20;

class Loader final : public QUiLoader
{
public:
    QWidget* createWidget(const QString& className, QWidget* parent, const QString& name) override
    {
        QWidget* made = nullptr;
        if (className == QLatin1String("ElidedLabel")) made = new ElidedLabel(parent);
        if (className == QLatin1String("SmoothBar")) made = new SmoothBar(parent);
        if (made == nullptr) return QUiLoader::createWidget(className, parent, name);
        made->setObjectName(name);
        return made;
    }
};

/// False when the window has no widget of that name and kind.
template <typename Widget>
bool bind(Widget*& member, const QWidget& window, const char* name)
{
    member = window.findChild<Widget*>(QLatin1String(name));
    if (member == nullptr) qWarning("the layout has no \"%s\"", name);
    return member != nullptr;
}

bool bindAll(ProgressWidgets& widgets)
{
    const auto& window = *widgets.window;
    return bind(widgets.image, window, "image") && bind(widgets.topMessage, window, "topMessage") &&
           bind(widgets.middleMessage, window, "middleMessage") &&
           bind(widgets.bottomMessage, window, "bottomMessage") && bind(widgets.statusBar, window, "statusBar") &&
           bind(widgets.cancelButton, window, "cancelButton") &&
           bind(widgets.cancelAllButton, window, "cancelAllButton");
}

int roundedUp(int width)
{
    return (width + kWidthStep - 1) / kWidthStep * kWidthStep;
}

/// The button keeps one width whatever its text, for the window grows and shrinks by it.
void fixButtonWidth(QPushButton& button)
{
    const int forText = button.fontMetrics().averageCharWidth() * kButtonLetters + kButtonPadding;
    button.setFixedWidth(roundedUp(std::max(button.minimumWidth(), forText)));
}

/// The lines stay where they are when the button goes.
void keepRowHeight(SmoothBar& bar, const QPushButton& button)
{
    bar.setMinimumHeight(button.sizeHint().height());
}

/// The size of the file is for ordinary fonts; large ones need more.
void sizeAndPlace(QWidget& window)
{
    window.ensurePolished();
    window.layout()->setSizeConstraint(QLayout::SetNoConstraint);
    window.layout()->activate();
    const auto needed = window.layout()->sizeHint();
    const QSize size(std::max(window.width(), roundedUp(window.fontMetrics().averageCharWidth() * 60)),
                     std::max(window.height(), needed.height()));
    const auto screen = QGuiApplication::primaryScreen()->availableGeometry();
    // A third of the free height above it, as where the eye looks first.
    window.setGeometry(screen.x() + (screen.width() - size.width()) / 2,
                       screen.y() + (screen.height() - size.height()) / 3, size.width(), size.height());
}

Qt::WindowFlags flagsFor(const QWidget& window)
{
    const Qt::WindowFlags flags = Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                                  Qt::WindowSystemMenuHint | Qt::WindowMinimizeButtonHint;
    return window.property("closeBox").toBool() ? flags | Qt::WindowCloseButtonHint : flags;
}

} // namespace

ProgressWidgets loadProgressLayout(const QString& name)
{
    const auto path = std::string(platform::kCustodiaBundlePath) + "/Contents/Resources/" + name.toStdString() + ".ui";
    QFile file(QString::fromStdString(platform::systemPath(path)));
    if (name.contains(QLatin1Char('/')) || !file.open(QIODevice::ReadOnly)) {
        qWarning("there is no layout \"%s\"", qUtf8Printable(name));
        return {};
    }
    ProgressWidgets widgets;
    Loader loader;
    widgets.window.reset(loader.load(&file));
    if (!widgets.window) {
        qWarning("the layout \"%s\" cannot be read: %s", qUtf8Printable(name), qUtf8Printable(loader.errorString()));
        return {};
    }
    if (!bindAll(widgets) || widgets.window->layout() == nullptr) return {};

    widgets.window->setWindowFlags(flagsFor(*widgets.window));
    fixButtonWidth(*widgets.cancelButton);
    keepRowHeight(*widgets.statusBar, *widgets.cancelButton);
    sizeAndPlace(*widgets.window);
    return widgets;
}

} // namespace windows
