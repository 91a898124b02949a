#pragma once

#include <algorithm>

#include "braid/agent/pass_engine.h"

namespace braid::agent
{

/// A pass that the test steps by hand.
struct HandEngine final : PassEngine {
    void start(PassRequest request, OnProgress onProgress, OnMatters onMatters, OnEnd onEnd) override
    {
        requests.push_back(std::move(request));
        progress = std::move(onProgress);
        meet = std::move(onMatters);
        end = std::move(onEnd);
    }
    void stop() override { ++stops; }
    braid::OpenMatters openMatters() override { return matters; }
    bool isAsAgreed(const std::set<std::string>& paths) override { return std::ranges::includes(agreed, paths); }
    std::optional<std::string> forget() override { return whyNotForgotten; }

    /// The pass ends, with what is unresolved then in its report.
    void endWith(int code, const std::string& reason = "")
    {
        PassResult result;
        result.report.result = code;
        result.report.reason = reason;
        result.report.conflicts = matters.conflicts;
        result.report.errors = matters.errors;
        result.report.jobStatus = {{"", ""}};
        end(result);
    }

    std::vector<PassRequest> requests;
    OnProgress progress;
    OnMatters meet;
    OnEnd end;
    int stops = 0;
    braid::OpenMatters matters;
    std::set<std::string> agreed;
    std::optional<std::string> whyNotForgotten;
};

} // namespace braid::agent
