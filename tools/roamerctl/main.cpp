// roamerctl: what a person or an administrator asks of Roamer from a terminal.

#include <QCoreApplication>
#include <csignal>

#include "commands.h"

int main(int argc, char** argv)
{
    using namespace roamer::ctl;
    std::signal(SIGPIPE, SIG_IGN);
    auto parsed = parse(argc, argv);
    if (const auto* status = std::get_if<ExitStatus>(&parsed)) return *status;
    const QCoreApplication application(argc, argv); // the bus needs it
    return std::visit([](const auto& options) { return run(options); }, std::get<Request>(parsed));
}
