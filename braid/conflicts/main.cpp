// BraidConflicts: shows what needs a person, and has the engine carry out what the person decides.

#include <QApplication>

#include <cstdio>
#include <cstring>

#include <unistd.h>

#include "braid/protocol.h"
#include "conflicts_window.h"
#include "engine_client.h"
#include "platform/linux/bus_connection.h"
#include "texts.h"
#include "tools/windows/display.h"
#include "tools/windows/look.h"
#include "window_service.h"

namespace
{

int refuse(int status, const char* reason)
{
    std::fprintf(stderr, "BraidConflicts: %s\n", reason);
    return status;
}

void bringToFront(braid::window::ConflictsWindow& window)
{
    window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
    window.show();
    window.raise();
    window.activateWindow();
}

int run(QApplication& application, bool withSetAside)
{
    using namespace braid::window;
    platform::BusConnection bus(platform::Bus::Session);
    if (!bus.isConnected()) return refuse(1, "there is no session bus");
    WindowService service(bus.connection());
    if (service.wakeOther(withSetAside)) return 0;
    EngineClient engine(bus.connection());
    if (!engine.isThere()) return refuse(1, "the sync engine does not run");

    ConflictsWindow window(engine, withSetAside);
    QObject::connect(&engine, &EngineClient::engineGone, &application, &QApplication::quit);
    QObject::connect(&service, &WindowService::wanted, &window, [&window](bool all) {
        if (all) window.showSetAside(true);
        bringToFront(window);
    });
    QObject::connect(&window, &ConflictsWindow::closed, &application, [&] {
        service.giveUpName();
        bus.flush();
        QApplication::quit();
    });
    bringToFront(window);
    if (!service.takeName()) return refuse(1, "another window of this kind was quicker");
    return QApplication::exec();
}

} // namespace

int main(int count, char** arguments)
{
    const bool withSetAside = count == 2 && std::strcmp(arguments[1], braid::protocol::kWithSetAsideArgument) == 0;
    if (count > 1 && !withSetAside) return refuse(2, "usage: BraidConflicts [--all]");
    if (!windows::findDisplay()) return refuse(1, "there is no display to draw on");
    QApplication application(count, arguments);
    windows::displayIsUp();
    QApplication::setApplicationName(QStringLiteral("BraidConflicts"));
    windows::adoptDesktopLook(application);
    braid::window::speakPersonsLanguage();
    const int status = run(application, withSetAside);
    // A thread may still wait for a server that does not answer.
    std::fflush(nullptr);
    ::_exit(status);
}
