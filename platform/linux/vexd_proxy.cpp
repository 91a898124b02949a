#include "vexd_proxy.h"

#include <QDBusMetaType>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QMap>
#include <climits>

#include "platform/failure.h"

namespace platform
{

namespace
{

using TextMap = QMap<QString, QString>;

constexpr double kSliceSeconds = 0.1;

TextMap textMap(const VEXD_Server::AlertTexts& texts)
{
    TextMap map;
    const auto add = [&map](const char* key, const std::string* text) {
        if (text != nullptr) map.insert(QString::fromLatin1(key), QString::fromStdString(*text));
    };
    add("title", texts.title);
    add("msg", texts.msg);
    add("btn", texts.btn);
    add("btnAlt", texts.btnAlt);
    add("btnOther", texts.btnOther);
    add("cbStr", texts.cbStr);
    return map;
}

class VexdProxy final : public VEXD_Server
{
public:
    VexdProxy(RunLoop& runLoop, std::shared_ptr<BusConnection> bus, const std::string& name)
        : mRunLoop(runLoop), mBus(std::move(bus)), mName(QString::fromStdString(name))
    {
        qDBusRegisterMetaType<TextMap>();
    }

    void vexAlertNotify(const AlertTexts& texts) override { ask("vexAlertNotify", texts, {}, 0); }
    bool vexAlertQuery(const AlertTexts& texts) override { return ask("vexAlertQuery", texts, {}, 1).at(0).toBool(); }
    std::int32_t vexAlertQueryWithOther(const AlertTexts& texts) override
    {
        return ask("vexAlertQueryWithOther", texts, {}, 1).at(0).toInt();
    }
    bool vexAlertQueryCB(const AlertTexts& texts, bool cbInitialState, bool* cbResult) override
    {
        const auto values = ask("vexAlertQueryCB", texts, {cbInitialState}, 2);
        if (cbResult != nullptr) *cbResult = values.at(1).toBool();
        return values.at(0).toBool();
    }
    std::int32_t vexAlertQueryCBWithOther(const AlertTexts& texts, bool* cbResult) override
    {
        const auto values = ask("vexAlertQueryCBWithOther", texts, {}, 2);
        if (cbResult != nullptr) *cbResult = values.at(1).toBool();
        return values.at(0).toInt();
    }

private:
    /// The reply's values, `expected` of them. The main run loop goes on while the person thinks.
    QVariantList ask(const char* member, const AlertTexts& texts, const QVariantList& more, qsizetype expected)
    {
        auto message = QDBusMessage::createMethodCall(mName, QStringLiteral("/com/kestrel/vexd"),
                                                      QStringLiteral("com.kestrel.vexd"), QString::fromLatin1(member));
        message.setAutoStartService(false);
        message << QVariant::fromValue(textMap(texts));
        for (const auto& value : more)
            message << value;

        QDBusPendingCallWatcher watcher(mBus->connection().asyncCall(message, INT_MAX));
        while (!watcher.isFinished()) {
            if (mRunLoop.waitsShallEnd()) throw Failure("MessageNotAnswered", std::string(member) + ": stopped");
            mRunLoop.runFor(seconds(kSliceSeconds));
        }
        const QDBusMessage reply = watcher.reply();
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() < expected) {
            throw Failure("MessageNotAnswered", std::string(member) + ": " + reply.errorMessage().toStdString());
        }
        return reply.arguments();
    }

    RunLoop& mRunLoop;
    std::shared_ptr<BusConnection> mBus;
    QString mName;
};

} // namespace

std::unique_ptr<VEXD_Server> makeVexdProxy(RunLoop& runLoop, std::shared_ptr<BusConnection> bus,
                                           const std::string& name)
{
    return std::make_unique<VexdProxy>(runLoop, std::move(bus), name);
}

} // namespace platform
