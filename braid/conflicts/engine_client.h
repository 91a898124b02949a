#pragma once

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QVariantMap>

#include <functional>
#include <vector>

#include "item.h"

namespace braid::window
{

/// BraidAgent as the window sees it. Calls answer later, through functions and signals; they start no engine.
class EngineClient final : public QObject
{
    Q_OBJECT

public:
    /// What a decision led to.
    struct Outcome {
        QString problem;      ///< Why it could not be carried out, in words; empty: it was.
        QStringList newNames; ///< Of versions that were kept beside the other.
    };
    using Done = std::function<void(const Outcome&)>;

    explicit EngineClient(QDBusConnection bus);

    bool isThere() const;

    /// Asks for the matters; signal mattersCame follows.
    void fetch();
    /// Keeps what the protocol's word says, or (nullptr) tries errors again. Answers when it is carried out, which may
    /// take as long as a pass that runs.
    void decide(const std::vector<Item>& items, const char* keep, Done done);
    void setAside(const std::vector<Item>& items, bool aside);
    /// The same for good-bye: comes back when the engine has taken it, or after two seconds.
    void setAsideAndWait(const std::vector<Item>& items);

Q_SIGNALS:
    void mattersCame(const braid::window::Matters& matters);
    void engineGone();

private Q_SLOTS:
    void statusCame(qulonglong serial, const QVariantMap& status);

private:
    QDBusMessage setAsideMessage(const std::vector<Item>& items, bool aside) const;

    QDBusConnection mBus;
    QDBusServiceWatcher mWatcher;
    QVariantMap mCounts; ///< Of the last status.
    bool mIsFetching = false;
    bool mIsStale = false; ///< Something changed while an answer was on its way.
};

} // namespace braid::window
