#include "ui/alerts.h"

#include <gtest/gtest.h>

#include "tests/fakes/fake_bundles.h"
#include "tests/fakes/fake_object_messaging.h"
#include "tests/fakes/fake_run_loop.h"
#include "tests/fakes/small_services.h"

namespace
{

class Alerts : public testing::Test
{
protected:
    using Texts = roamer::Alerts::Texts;

    Alerts()
    {
        // Each text is its key without the prefix, but for the one with placeholders.
        for (const char* key :
             {"OK_BUTTON", "HOME_IN_USE_TITLE", "HOME_IN_USE_MESSAGE", "HOME_IN_USE_SYNC_LATER_BUTTON",
              "HOME_IN_USE_SYNC_NOW_BUTTON", "HOME_CHANGED_NOSYNC_TITLE", "HOME_CHANGED_NOSYNC__MESSAGE",
              "NOTHING_TITLE", "NOTHING_MESSAGE", "HOME_NET_HOME_TIME_NEWER_TITLE",
              "HOME_CHANGED_SELECT_NETWORK_BUTTON", "HOME_CHANGED_SYNC_LATER_BUTTON",
              "HOME_CHANGED_SELECT_LOCAL_BUTTON"})
            state.mLocalizedStringsDict["PAVO_" + std::string(key)] = key;
        state.mLocalizedStringsDict["PAVO_HOME_NET_HOME_TIME_NEWER_MESSAGE"] = "net %@ local %@";
    }
    void runCustodia() { processes.table->push_back({"Custodia", 5, false}); }
    Texts all() const { return {&title, &msg, &ok, &alt, &other, &box}; }
    /// What the last local alert showed, in the order header, message, buttons, box.
    std::string shown() const
    {
        const auto& request = notification.requests.back();
        std::string text;
        for (const auto& part : {request.header, request.message, request.defaultButton, request.alternateButton,
                                 request.otherButton, request.checkBox})
            text += part.value_or("-") + "|";
        return text;
    }

    roamer::SharedState state;
    fakes::FakeObjectMessaging messaging;
    fakes::FakeVexdServer server;
    fakes::FakeProcessTable processes;
    fakes::FakeRunLoop runLoop;
    fakes::FakeUserNotification notification;
    fakes::FakeEffectiveUser user;
    fakes::FakeBundles bundles;
    fakes::FakeSystemSettings settings;
    roamer::Alerts alerts{state, messaging, processes, runLoop, notification, user, bundles, settings};
    const std::string title = "T", msg = "M", ok = "OK", alt = "Alt", other = "Other", box = "Box";
};

TEST_F(Alerts, DialogsOfOneTwoAndThreeButtonsShowTheirTexts)
{
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[&] { alerts.doConfirmSyncStartHomeInUseMsg(false); },
         "HOME_IN_USE_TITLE|HOME_IN_USE_MESSAGE|HOME_IN_USE_SYNC_LATER_BUTTON|HOME_IN_USE_SYNC_NOW_BUTTON|-|-|"},
        {[&] { alerts.doCantSyncChangedNetworkPrefsMessage(false); },
         "HOME_CHANGED_NOSYNC_TITLE|HOME_CHANGED_NOSYNC__MESSAGE|OK_BUTTON|-|-|-|"},
        {[&] { alerts.doSyncNetHomeTimeNewerMsg(false, "L", "%@"); }, // values are not formats
         "HOME_NET_HOME_TIME_NEWER_TITLE|net %@ local L|HOME_CHANGED_SELECT_NETWORK_BUTTON|"
         "HOME_CHANGED_SYNC_LATER_BUTTON|HOME_CHANGED_SELECT_LOCAL_BUTTON|-|"},
    };
    notification.onShow = [&] { EXPECT_EQ(user.effective, 0U) << "alerts are the superuser's"; };
    for (const auto& [run, expected] : cases) {
        run();
        EXPECT_EQ(shown(), expected);
        EXPECT_EQ(user.effective, 501U);
    }
}

TEST_F(Alerts, LocalAnswersByButtonAndBox)
{
    for (const auto& [flags, button] : {std::pair(0U, 0), {1U, 1}, {2U, 2}, {3U, 3}, {0x100U, 0}, {0x101U, 1}}) {
        SCOPED_TRACE(flags);
        notification.response.flags = flags;
        bool checked = flags < 0x100;
        EXPECT_EQ(alerts.alertQuery(false, all()), button == 0);
        EXPECT_EQ(alerts.alertQueryWithOther(false, all()), button);
        EXPECT_EQ(alerts.alertQueryCBWithOther(false, all(), &checked), button);
        EXPECT_EQ(checked, flags >= 0x100);
        EXPECT_EQ(alerts.alertQueryCB(false, all(), true, nullptr), button == 0);
        EXPECT_EQ(notification.requests.back().flags, 258U) << "the box is checked at first";
        EXPECT_EQ(shown(), "T|M|OK|Alt|-|Box|");
        EXPECT_EQ(alerts.doConfirmSyncStartHomeInUseMsg(false), button != 0);
        EXPECT_EQ(alerts.doSyncNetHomeTimeNewerMsg(false, "", ""), button);
        EXPECT_EQ(notification.requests.back().flags, 2U);
    }
    bool checked = true;
    notification.response.succeeded = false;
    alerts.alertQueryCBWithOther(false, all(), &checked);
    EXPECT_FALSE(checked) << "nobody answered";
}

TEST_F(Alerts, ManagedClientProcessMustBeOlderAndAlive)
{
    const std::pair<platform::ProcessRecord, bool> cases[] = {
        {{"Custodia", 999, false}, true},
        {{"Custodia", 1001, false}, false},
        {{"Custodia", 5, true}, false},
        {{"CustodiaHelper", 5, false}, false},
    };
    for (const auto& [process, runs] : cases) {
        processes.table = {{"init", 1, false}, process};
        EXPECT_EQ(alerts.isCustodiaRunning(), runs);
    }
    processes.table.reset();
    EXPECT_FALSE(alerts.isCustodiaRunning());
}

TEST_F(Alerts, ServerShowsThemAtLoginOnceItIsThere)
{
    runCustodia();
    runLoop.at(0.35, [this] { messaging.vexd = &server; });
    server.answer = 2;
    server.cbAnswer = true;
    bool checked = false;
    alerts.alertNotify(true, {.title = &title, .msg = nullptr, .btn = &ok});
    EXPECT_NEAR(runLoop.elapsedSeconds(), 0.4, 1e-6);
    EXPECT_TRUE(alerts.alertQuery(true, all()));
    EXPECT_EQ(alerts.alertQueryWithOther(true, all()), 2);
    EXPECT_TRUE(alerts.alertQueryCB(true, all(), true, &checked));
    EXPECT_TRUE(checked);
    EXPECT_EQ(alerts.alertQueryCBWithOther(true, all(), nullptr), 2);
    const std::string texts = "|T|M|OK|Alt|Other|Box";
    EXPECT_EQ(server.shown, (std::vector<std::string>{"Notify|T|-|OK|-|-|-", "Query" + texts, "QueryWithOther" + texts,
                                                      "QueryCB checked" + texts, "QueryCBWithOther" + texts}));
    EXPECT_EQ(messaging.lookedUp, std::vector<std::string>(5, "com.kestrel.vexd")) << "one connection for all";
    EXPECT_TRUE(notification.requests.empty());
    alerts.alertNotify(false, all());
    EXPECT_EQ(notification.requests.size(), 1U) << "not at login: the agent's own";
}

TEST_F(Alerts, UnreachableServerShowsNothing)
{
    runCustodia();
    EXPECT_FALSE(alerts.alertQuery(true, all()));
    messaging.lookUpRaises = true;
    EXPECT_FALSE(alerts.alertQueryCB(true, all(), false, nullptr));
    EXPECT_EQ(messaging.lookedUp.size(), 2U * 101);
    EXPECT_NEAR(runLoop.elapsedSeconds(), 2 * 10.1, 1e-6);
    EXPECT_EQ(alerts.alertQueryWithOther(true, all()), -1);
    EXPECT_EQ(alerts.alertQueryCBWithOther(true, all(), nullptr), -1);
    EXPECT_TRUE(alerts.doConfirmSyncStartHomeInUseMsg(true));
    EXPECT_EQ(alerts.doSyncNetHomeTimeNewerMsg(true, "", ""), -1);
    EXPECT_TRUE(notification.requests.empty());
}

TEST_F(Alerts, NothingToSyncLeadsToTheSettings)
{
    bundles.bundles[platform::kMenuExtraBundlePath].dictionaries["English/Localizable.strings"] = {
        {"Account Mobility Preferences...", "Settings"}};
    alerts.doNothingToSyncMsg(false);
    EXPECT_EQ(shown(), "NOTHING_TITLE|NOTHING_MESSAGE|OK_BUTTON|Settings|-|-|");
    EXPECT_TRUE(settings.revealed.empty()) << "OK";
    notification.response.flags = 1;
    alerts.doNothingToSyncMsg(false);
    const std::pair<std::string, std::string> pane{"com.kestrel.preferences.users", "mobilityPref"};
    EXPECT_EQ(settings.revealed, std::vector{pane});
    runLoop.endWaits();
    alerts.doNothingToSyncMsg(false);
    EXPECT_EQ(settings.revealed.size(), 1U) << "nobody was asked";
}

} // namespace
