#include "window_main.h"

#include <QApplication>
#include <csignal>
#include <cstdio>
#include <unistd.h>

#include "tools/windows/display.h"
#include "tools/windows/look.h"
#include "window_server.h"

namespace windows
{

int windowMain(int argc, char** argv, const std::function<void(WindowServer&)>& prepare)
{
    if (!becomeEffectiveUser() || !findDisplay()) {
        std::fprintf(stderr, "roamer-window: there is no display to draw on\n");
        return 1;
    }
    std::signal(SIGPIPE, SIG_IGN);
    QApplication application(argc, argv);
    displayIsUp();
    QApplication::setApplicationName(QStringLiteral("roamer"));
    QApplication::setQuitOnLastWindowClosed(false);
    adoptDesktopLook(application);

    WindowServer server(STDIN_FILENO, STDOUT_FILENO);
    // Not quit(), which asks the windows, and ours never closes.
    QObject::connect(&server, &WindowServer::finished, &application, [] { QApplication::exit(0); });
    if (prepare) prepare(server);
    server.greet();
    return QApplication::exec();
}

} // namespace windows
