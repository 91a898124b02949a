#include <cstdint>
#include <cstdlib>

#include "braid/agent/pass_plan.h"
#include "braid/agent/sync_set.h"
#include "platform/linux/property_list_codec.h"

/// A property list as the arguments that a client configures its set with.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using braid::agent::SyncSet;
    const auto parsed = platform::makePropertyListCodec()->parse(std::as_bytes(std::span(data, size)));
    const auto* list = std::get_if<roamer::PropertyList>(&parsed);
    const auto* changes = list == nullptr ? nullptr : list->as<roamer::Dictionary>();
    if (changes == nullptr) return 0;
    const auto result = braid::agent::changed(SyncSet{}, *changes);
    const auto* set = std::get_if<SyncSet>(&result);
    if (set == nullptr) return 0;
    // What was taken can be told and taken again.
    const auto again = braid::agent::changed(SyncSet{}, braid::agent::describe(*set));
    if (!std::holds_alternative<SyncSet>(again) || !(std::get<SyncSet>(again) == *set)) std::abort();
    (void)braid::agent::jobsOf(*set);
    return 0;
}
