#pragma once

#include <functional>

class QWidget;

namespace windows
{

/// The whole of the alert program: reads the request, shows the alert, writes the answer. `prepare` is called with the
/// window before it is shown. Returns the exit status.
int alertMain(int argc, char** argv, const std::function<void(QWidget&)>& prepare = nullptr);

} // namespace windows
