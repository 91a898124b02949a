#include "port_adaptor.h"

namespace platform
{

QByteArray PortAdaptor::Message(int id, const QByteArray& body)
{
    const auto* first = reinterpret_cast<const std::byte*>(body.constData());
    const auto reply = mHandler(id, {first, first + body.size()});
    return {reinterpret_cast<const char*>(reply.data()), static_cast<qsizetype>(reply.size())};
}

} // namespace platform
