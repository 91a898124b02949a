#include <csignal>
#include <iostream>

#include "colour.h"
#include "commands.h"
#include "owner.h"

namespace
{

using namespace braid::cli;

/// The one home that a command writes in; nothing for commands that only look, and for a pass, which writes in two.
struct HomeWrittenIn {
    std::filesystem::path operator()(const ResolveOptions& options) const { return options.resolution.localHome; }
    std::filesystem::path operator()(const TrashOptions& options) const { return options.home; }
    std::filesystem::path operator()(const ForgetOptions& options) const { return options.localHome; }
    template <class Other>
    std::filesystem::path operator()(const Other&) const
    {
        return {};
    }
};

} // namespace

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN);
    auto parsed = parse(argc, argv);
    if (const auto* status = std::get_if<ExitStatus>(&parsed)) return *status;

    useColours(terminalTakesColours());
    const Streams streams{std::cout, std::cerr};
    const auto home = std::visit(HomeWrittenIn{}, std::get<Request>(parsed));
    if (!home.empty() && !becomeOwnerOf(home)) {
        streams.err << "braid: this process cannot act as the owner of " << home << "\n";
        return kRefusedOrAborted;
    }
    const auto execute = [&](const auto& options) { return run(options, streams); };
    const ExitStatus status = std::visit(execute, std::get<Request>(parsed));
    std::cout << std::flush;
    return status;
}
