#include "seam.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace braid::seam
{

std::atomic<Watcher> gWatcher{nullptr};

namespace
{

static_assert([] {
    for (std::size_t i = 0; i < kOperationNames.size(); ++i) {
        if (static_cast<std::size_t>(kOperationNames[i].operation) != i) return false;
    }
    return true;
}());

// Descriptors above, which hardly any process may have, go uncounted.
constexpr std::size_t kDescriptors = 65'536;
constexpr std::uint8_t kNobody = 0;
std::array<std::atomic<std::uint8_t>, kDescriptors> gOwners{}; // kNobody, or 1 + the peer

std::atomic<std::uint8_t>* ownerOf(int descriptor)
{
    const auto index = static_cast<std::size_t>(descriptor);
    return index < kDescriptors ? &gOwners[index] : nullptr;
}

/// Only its own thread writes to it, so that threads that list side by side do not wait for each other.
struct Slot {
    std::array<std::array<std::atomic<std::uint64_t>, kOperationNames.size()>, 2> counts{};

    Slot();
    ~Slot();
    Slot(const Slot&) = delete;
    Slot& operator=(const Slot&) = delete;

    void addTo(OperationCounts& sums) const
    {
        for (const Peer peer : kPeers) {
            for (std::size_t i = 0; i < kOperationNames.size(); ++i) {
                sums[peer][i] += counts[static_cast<std::size_t>(peer)][i].load(std::memory_order_relaxed);
            }
        }
    }
};

struct Register {
    std::mutex mutex;
    std::vector<Slot*> slots;
    OperationCounts ended; ///< Of threads that are no more.
};

Register& slotRegister()
{
    static Register all;
    return all;
}

Slot::Slot()
{
    Register& all = slotRegister();
    const std::lock_guard lock{all.mutex};
    all.slots.push_back(this);
}

Slot::~Slot()
{
    Register& all = slotRegister();
    const std::lock_guard lock{all.mutex};
    addTo(all.ended);
    std::erase(all.slots, this);
}

thread_local Slot tSlot;

} // namespace

OperationCounts operationCounts()
{
    Register& all = slotRegister();
    const std::lock_guard lock{all.mutex};
    OperationCounts sums = all.ended;
    for (const Slot* slot : all.slots)
        slot->addTo(sums);
    return sums;
}

void belongsTo(Peer peer, int descriptor)
{
    if (auto* owner = ownerOf(descriptor)) {
        owner->store(static_cast<std::uint8_t>(1 + static_cast<int>(peer)), std::memory_order_relaxed);
    }
}

void inherit(int from, int descriptor)
{
    const auto* known = ownerOf(from);
    auto* owner = ownerOf(descriptor);
    if (!owner) return;
    owner->store(known ? known->load(std::memory_order_relaxed) : kNobody, std::memory_order_relaxed);
}

void count(Operation operation, int descriptor)
{
    const auto* known = ownerOf(descriptor);
    const std::uint8_t owner = known ? known->load(std::memory_order_relaxed) : kNobody;
    if (owner == kNobody) return;
    auto& counter = tSlot.counts[owner - 1U][static_cast<std::size_t>(operation)];
    counter.store(counter.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

} // namespace braid::seam
