#include <csignal>
#include <iostream>

#include "colour.h"
#include "commands.h"
#include "owner.h"

namespace
{

using namespace braid::cli;

/// The home that a command is about: of two, the local one.
struct HomeOf {
    std::filesystem::path operator()(const SyncOptions& options) const { return options.settings.localHome; }
    std::filesystem::path operator()(const CheckOptions& options) const { return options.settings.localHome; }
    std::filesystem::path operator()(const ResolveOptions& options) const { return options.resolution.localHome; }
    std::filesystem::path operator()(const TrashOptions& options) const { return options.home; }
    template <class Other>
    std::filesystem::path operator()(const Other& options) const
    {
        return options.localHome;
    }
};

} // namespace

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN);
    braid::allowManyOpenFiles();
    auto parsed = parse(argc, argv);
    if (const auto* status = std::get_if<ExitStatus>(&parsed)) return *status;

    useColours(terminalTakesColours());
    const Streams streams{std::cout, std::cerr};
    const auto home = std::visit(HomeOf{}, std::get<Request>(parsed));
    if (!becomeOwnerOf(home)) {
        streams.err << "braid: this process cannot act as the owner of " << home << "\n";
        return kRefusedOrAborted;
    }
    const auto execute = [&](const auto& options) { return run(options, streams); };
    const ExitStatus status = std::visit(execute, std::get<Request>(parsed));
    std::cout << std::flush;
    return status;
}
