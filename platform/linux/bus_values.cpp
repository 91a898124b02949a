#include "platform/linux/bus_values.h"

#include <QDBusArgument>
#include <QDBusVariant>
#include <QStringList>

#include <chrono>

namespace platform
{

namespace
{

constexpr int kMaxDepth = 32; // what the bus allows for arrays in arrays

QString toText(const std::string& text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

struct ToBus {
    QVariant operator()(const roamer::Dictionary& value) const { return toBusValues(value); }
    QVariant operator()(const roamer::Array& value) const
    {
        QVariantList list;
        for (const auto& item : value) {
            list.append(toBusValue(item));
        }
        return list;
    }
    QVariant operator()(const std::string& value) const { return toText(value); }
    QVariant operator()(std::int64_t value) const { return QVariant::fromValue(static_cast<qlonglong>(value)); }
    QVariant operator()(double value) const { return value; }
    QVariant operator()(bool value) const { return value; }
    QVariant operator()(roamer::Date value) const
    {
        return std::chrono::duration<double>(value.time_since_epoch()).count();
    }
    QVariant operator()(const roamer::Data& value) const
    {
        return QByteArray(reinterpret_cast<const char*>(value.data()), static_cast<qsizetype>(value.size()));
    }
};

roamer::PropertyList read(const QVariant& value, int depth);

roamer::Dictionary readMap(const QVariantMap& values, int depth)
{
    roamer::Dictionary result;
    for (auto item = values.cbegin(); item != values.cend(); ++item) {
        result.insert_or_assign(item.key().toStdString(), read(item.value(), depth));
    }
    return result;
}

roamer::Array readList(const QVariantList& values, int depth)
{
    roamer::Array result;
    for (const auto& item : values) {
        result.push_back(read(item, depth));
    }
    return result;
}

// Containers inside a variant arrive undecoded.
roamer::PropertyList readArgument(const QDBusArgument& argument, int depth)
{
    const QString signature = argument.currentSignature();
    if (signature == QLatin1String("a{sv}")) {
        return readMap(qdbus_cast<QVariantMap>(argument), depth);
    }
    if (signature == QLatin1String("av")) {
        return readList(qdbus_cast<QVariantList>(argument), depth);
    }
    return {};
}

roamer::PropertyList readBytes(const QByteArray& bytes)
{
    const auto* first = reinterpret_cast<const std::byte*>(bytes.constData());
    return roamer::Data(first, first + bytes.size());
}

roamer::PropertyList read(const QVariant& value, int depth)
{
    if (depth > kMaxDepth) return {};
    if (value.userType() == qMetaTypeId<QDBusArgument>()) {
        return readArgument(value.value<QDBusArgument>(), depth + 1);
    }
    if (value.userType() == qMetaTypeId<QDBusVariant>()) {
        return read(value.value<QDBusVariant>().variant(), depth + 1);
    }
    switch (value.userType()) {
    case QMetaType::QVariantMap:
        return readMap(value.toMap(), depth + 1);
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return readList(value.toList(), depth + 1);
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::Double:
        return value.toDouble();
    case QMetaType::QByteArray:
        return readBytes(value.toByteArray());
    case QMetaType::QString:
        return value.toString().toStdString();
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return value.toLongLong();
    default:
        return {};
    }
}

} // namespace

QVariant toBusValue(const roamer::PropertyList& value)
{
    return std::visit(ToBus{}, value.value());
}

QVariantMap toBusValues(const roamer::Dictionary& dictionary)
{
    QVariantMap map;
    for (const auto& [key, value] : dictionary) {
        map.insert(toText(key), toBusValue(value));
    }
    return map;
}

roamer::PropertyList fromBusValue(const QVariant& value)
{
    return read(value, 0);
}

roamer::Dictionary fromBusValues(const QVariantMap& values)
{
    return readMap(values, 0);
}

} // namespace platform
