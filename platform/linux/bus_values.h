#pragma once

#include <QVariantMap>

#include "values/property_list.h"

namespace platform
{

/// Property lists as D-Bus carries them: dictionaries a{sv}, arrays av, integers x, reals d, flags b, data ay, dates d
/// (seconds since 1970 UTC). Bytes that are not UTF-8 become replacement characters, because the bus refuses them.
QVariant toBusValue(const roamer::PropertyList& value);
QVariantMap toBusValues(const roamer::Dictionary& dictionary);

/// The other way round. A type that property lists do not have is read as its nearest one; what has none, and anything
/// nested deeper than the bus itself allows, becomes an empty dictionary.
roamer::PropertyList fromBusValue(const QVariant& value);
roamer::Dictionary fromBusValues(const QVariantMap& values);

} // namespace platform
