#pragma once

#include "far_link.h"
#include "unique_fd.h"

namespace platform
{

/// The worker's whole life: answers the questions that come in on the socket until the other side closes it. Returns
/// the exit status of the process.
int runFarWorker(UniqueFd socket);

/// The same for a program that was started with far::kWorkerArgument, on its standard input.
int runFarWorker();

/// Runs this program again as a worker. It inherits nothing but the environment: no descriptor and no memory, so that
/// it can neither hold back the end of a pipe nor know a secret. It is this process's real user in every respect.
FarLink::Started startFarWorker();

} // namespace platform
