#include "seam.h"

namespace braid::seam
{

std::atomic<Watcher> gWatcher{nullptr};

} // namespace braid::seam
