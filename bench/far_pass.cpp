// One pass between homes that both are as far away as a file server: every look at the disk takes that much longer.
// Says how long it took; what a real server would add for the local home is not taken off.
//
//     far_pass LOCAL NETWORK MILLISECONDS

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <thread>

#include "braid/disk/seam.h"
#include "braid/engine.h"

namespace
{

std::chrono::milliseconds gRoundTrip{0};

int waitForAnswer(braid::seam::Operation, const char*)
{
    std::this_thread::sleep_for(gRoundTrip);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fputs("far_pass LOCAL NETWORK MILLISECONDS\n", stderr);
        return 2;
    }
    gRoundTrip = std::chrono::milliseconds{std::strtol(argv[3], nullptr, 10)};
    braid::PassSettings settings;
    settings.localHome = argv[1];
    settings.networkHome = argv[2];
    settings.jobs.emplace_back();
    braid::seam::gWatcher = waitForAnswer;
    const braid::PassReport report = braid::runPass(settings, {});
    const auto add = [](std::uint64_t sum, const auto& operation) { return sum + operation.second; };
    const auto operations = std::accumulate(report.networkOps.begin(), report.networkOps.end(), std::uint64_t{0}, add);
    std::printf("%.1f s, %llu operations in the network home, result %d %s\n", report.seconds,
                static_cast<unsigned long long>(operations), report.result, report.reason.c_str());
    return report.result;
}
