#pragma once

#include <QJsonArray>
#include <QRect>

namespace windows
{

// The toolkit counts from the top, what the agent knows counts from the bottom of the first screen.

QJsonArray frameOf(const QRect& rectangle);
QRect rectangleOf(const QJsonArray& frame);

/// The frames of all screens, the first one first.
QJsonArray screenFrames();

} // namespace windows
