// The window with an engine of the test's on a bus of its own: what it shows, and what its buttons send.

#include <gtest/gtest.h>

#include <QDBusAbstractAdaptor>
#include <QListView>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTextBlock>

#include <algorithm>

#include "braid/conflicts/conflicts_window.h"
#include "braid/conflicts/texts.h"
#include "braid/conflicts/version_reader.h"
#include "braid/protocol.h"
#include "platform/linux/bus_connection.h"
#include "platform/linux/bus_values.h"
#include "tests/conflicts/offscreen.h"
#include "tests/fakes/private_bus.h"
#include "tests/fakes/temp_root.h"

namespace
{

namespace protocol = braid::protocol;
using namespace braid::window;
using roamer::Array;
using roamer::Data;
using roamer::Dictionary;
using Calls = std::vector<std::string>;

Data bytes(const std::string& text)
{
    const auto* first = reinterpret_cast<const std::byte*>(text.data());
    return Data(first, first + text.size());
}

Dictionary version(int kind, std::int64_t size)
{
    return {{protocol::kVersionKind, kind}, {protocol::kVersionSize, size}, {protocol::kVersionTime, size}};
}

Dictionary conflict(const std::string& path, const std::string& kind = "modify/modify", int local = 1, int network = 1)
{
    return {{protocol::kPath, bytes(path)},
            {protocol::kKind, kind},
            {protocol::kLocalVersion, version(local, 10)},
            {protocol::kNetworkVersion, version(network, 2'000'000)}};
}

/// Answers as BraidAgent does, and notes what it is told. What is decided is gone from then on.
class HandEngine : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.kestrel.braid.Engine")

public:
    explicit HandEngine(QObject* parent) : QDBusAbstractAdaptor(parent) {}

    Array conflicts, errors;
    std::string localHome, networkHome, problem;
    Calls calls;

public Q_SLOTS:
    QVariantMap matters()
    {
        return platform::toBusValues(Dictionary{{protocol::kConflicts, conflicts},
                                                {protocol::kErrors, errors},
                                                {protocol::kLocalHome, bytes(localHome)},
                                                {protocol::kNetworkHome, bytes(networkHome)}});
    }
    QVariantMap resolve(const QVariantList& paths, const QString& keep)
    {
        note(keep, paths);
        if (problem.empty()) take(conflicts, paths);
        return platform::toBusValues(Dictionary{{protocol::kResult, 0}, {protocol::kReason, problem}});
    }
    QVariantMap retry(const QVariantList& paths)
    {
        note(QStringLiteral("retry"), paths);
        take(errors, paths);
        return platform::toBusValues(Dictionary{{protocol::kResult, 0}});
    }
    void setAside(const QVariantList& matters, bool aside)
    {
        calls.push_back(std::string(aside ? "aside " : "back ") + std::to_string(matters.size()));
    }

private:
    void note(const QString& verb, const QVariantList& paths)
    {
        auto call = verb.toStdString();
        for (const auto& path : paths)
            call += " " + path.toByteArray().toStdString();
        calls.push_back(call);
    }
    static void take(Array& from, const QVariantList& paths)
    {
        std::erase_if(from, [&](const roamer::PropertyList& entry) {
            const auto path = *entry.as<Dictionary>()->at(protocol::kPath).as<Data>();
            return std::ranges::any_of(
                paths, [&](const QVariant& named) { return bytes(named.toByteArray().toStdString()) == path; });
        });
    }
};

class Window : public testing::Test
{
protected:
    Window()
    {
        beOffscreen();
        speak(Language::English);
        mBus.connection().registerObject(QString::fromLatin1(protocol::kObjectPath), &mObject,
                                         QDBusConnection::ExportAdaptors);
        mBus.connection().registerService(QString::fromLatin1(protocol::kBusName));
    }
    void open(bool all = false)
    {
        mWindow = std::make_unique<ConflictsWindow>(mClient, all);
        mWindow->show();
        waitForRows(static_cast<int>(mEngine.conflicts.size() + mEngine.errors.size()));
    }
    QListView& list() { return *mWindow->findChild<QListView*>(); }
    void waitForRows(int rows)
    {
        EXPECT_TRUE(QTest::qWaitFor([&] { return list().model()->rowCount() == rows; }));
    }
    /// New buttons are there when the layout has come to them.
    QPushButton* find(Text text)
    {
        QPushButton* found = nullptr;
        (void)QTest::qWaitFor(
            [&] {
                const auto all = mWindow->findChildren<QPushButton*>();
                const auto it = std::ranges::find_if(all, [&](auto* button) {
                    return button->text() == words(text) && button->isVisible() && button->isEnabled();
                });
                return (found = it == all.end() ? nullptr : *it) != nullptr;
            },
            2000);
        return found;
    }
    void press(Text text)
    {
        auto* button = find(text);
        ASSERT_NE(button, nullptr) << words(text).toStdString();
        QTest::mouseClick(button, Qt::LeftButton);
    }
    void waitForCalls(const Calls& calls)
    {
        EXPECT_TRUE(QTest::qWaitFor([&] { return mEngine.calls.size() >= calls.size(); }));
        EXPECT_EQ(mEngine.calls, calls);
    }

    fakes::TempRoot mRoot;
    fakes::PrivateBus mPrivateBus;
    platform::BusConnection mBus{platform::Bus::Session};
    platform::BusConnection mOwnBus{platform::Bus::Session};
    QObject mObject;
    HandEngine& mEngine = *new HandEngine(&mObject);
    EngineClient mClient{mOwnBus.connection()};
    std::unique_ptr<ConflictsWindow> mWindow;
};

TEST_F(Window, EachKindOfItemOffersItsOwnDecisionsAndTheButtonsSendThem)
{
    mEngine.conflicts = {conflict("a \xff.bin"), conflict("gone", "modify/delete", 0, 1),
                         conflict(".", "mass-deletion", 0, 0), conflict("d/last")};
    mEngine.errors = {Dictionary{{protocol::kPath, bytes("e")}, {protocol::kMessage, "no room"}}};
    open();
    EXPECT_NE(find(Text::KeepBoth), nullptr);
    press(Text::KeepNetwork);
    waitForRows(4);
    press(Text::BringBack);
    waitForRows(3);
    press(Text::RestoreAll);
    waitForRows(2);
    press(Text::KeepBoth);
    waitForRows(1);
    press(Text::Retry);
    waitForRows(0);
    mWindow->close();
    waitForCalls({"network a \xff.bin", "network gone", "restore .", "both d/last", "retry e"});
}

TEST_F(Window, SeveralAreDecidedTogetherAndWhatIsLeftAtTheEndIsSetAside)
{
    mEngine.conflicts = {conflict("a"), conflict("b"), conflict(".", "mass-deletion", 0, 0)};
    mEngine.errors = {Dictionary{{protocol::kPath, bytes("e")}, {protocol::kMessage, "no room"}}};
    open();
    QTest::keyClick(&list(), Qt::Key_A, Qt::ControlModifier);
    mEngine.problem = "The share is away.";
    press(Text::KeepLocal);
    waitForCalls({"local a b"});
    EXPECT_NE(find(Text::KeepLocal), nullptr);
    const auto labels = mWindow->findChildren<QLabel*>();
    EXPECT_TRUE(std::ranges::any_of(labels, [](QLabel* label) { return label->text().contains("share is away"); }));
    EXPECT_EQ(list().model()->rowCount(), 4);
    QTest::keyClick(mWindow.get(), Qt::Key_Escape);
    waitForCalls({"local a b", "aside 4"});
}

TEST_F(Window, ShowsBothVersionsOfAText)
{
    mEngine.localHome = mRoot.real("/here").string();
    mEngine.networkHome = mRoot.real("/there").string();
    fakes::TempRoot::writeFile(mEngine.localHome + "/plan.txt", "a\nb\nc\nd\n");
    fakes::TempRoot::writeFile(mEngine.networkHome + "/plan.txt", "a\nc\nx\nd\ne\n");
    mEngine.conflicts = {conflict("plan.txt")};
    open();
    const auto views = mWindow->findChildren<QPlainTextEdit*>();
    ASSERT_EQ(views.size(), 2);
    const auto marked = [](QPlainTextEdit* view) {
        QStringList lines;
        for (const auto& selection : view->extraSelections())
            lines += selection.cursor.block().text();
        return lines.join(u' ').toStdString();
    };
    EXPECT_TRUE(QTest::qWaitFor([&] { return marked(views[0]) == "b" && marked(views[1]) == "x e"; }));
    EXPECT_EQ(views[0]->toPlainText(), "a\nb\nc\nd\n");
}

TEST(VersionReader, TellsWhatCanBeShown)
{
    using Kind = VersionContent::Kind;
    const fakes::TempRoot root;
    const std::tuple<const char*, std::string, Kind> cases[] = {
        {"text", "Grüße\n", Kind::Text},     {"picture", "\x89PNG\r\n\x1a\n....", Kind::Picture},
        {"empty", "", Kind::Empty},          {"zeros", std::string("a\0b", 3), Kind::Other},
        {"not UTF-8", "a\xff", Kind::Other}, {"a long text", std::string(600'000, 'x'), Kind::TooLarge},
    };
    for (const auto& [name, content, kind] : cases) {
        const auto path = root.real("/file");
        fakes::TempRoot::writeFile(path, content);
        EXPECT_EQ(readVersion(path.string()).kind, kind) << name;
    }
    EXPECT_EQ(readVersion(root.real("/missing").string()).kind, Kind::Unreadable);
}

TEST(Texts, EveryLanguageHasThemWithTheSamePlaceholdersAndButtonsHaveLetters)
{
    for (const auto language : {Language::German, Language::French, Language::Japanese}) {
        for (int i = 0; i < static_cast<int>(Text::Count_); ++i) {
            speak(Language::English);
            const auto english = words(static_cast<Text>(i));
            speak(language);
            const auto other = words(static_cast<Text>(i));
            EXPECT_FALSE(other.isEmpty()) << english.toStdString();
            EXPECT_EQ(english.count("%1"), other.count("%1")) << other.toStdString();
            EXPECT_EQ(english.contains('&'), other.contains('&')) << other.toStdString();
        }
    }
}

} // namespace

#include "window_test.moc"
