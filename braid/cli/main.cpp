#include <csignal>
#include <iostream>

#include "commands.h"

int main(int argc, char** argv)
{
    using namespace braid::cli;
    std::signal(SIGPIPE, SIG_IGN);
    auto parsed = parse(argc, argv);
    if (const auto* status = std::get_if<ExitStatus>(&parsed)) return *status;

    const Streams streams{std::cout, std::cerr};
    const auto execute = [&](const auto& options) { return run(options, streams); };
    const ExitStatus status = std::visit(execute, std::get<Request>(parsed));
    std::cout << std::flush;
    return status;
}
