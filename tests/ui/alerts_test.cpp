#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/failure.h"
#include "tests/fakes/fake_bundles.h"
#include "tests/fakes/fake_effective_user.h"
#include "tests/fakes/fake_process_table.h"
#include "tests/fakes/fake_run_loop.h"
#include "tests/fakes/fake_system_settings.h"
#include "tests/fakes/fake_user_notification.h"
#include "tests/fakes/recording_log.h"
#include "ui/alerts.h"

namespace
{

using Texts = roamer::Alerts::Texts;

/// A managed-client server that appears at the n-th look-up, and the messaging that finds it.
class ScriptedMessaging final : public platform::ObjectMessaging
{
public:
    int lookUpsBeforeFound = 0;
    bool raises = false; ///< Failed look-ups raise instead of answering null.
    int lookUps = 0;
    std::vector<std::string> calls;
    bool answer = true;
    std::int32_t button = 0;

    std::unique_ptr<platform::ServerConnection> defaultConnection() override { return nullptr; }
    std::unique_ptr<platform::Pavo_Server> lookUpPavoServer(const std::string&) override { return nullptr; }
    std::unique_ptr<platform::VEXD_Server> lookUpVexdServer(const std::string& name) override
    {
        EXPECT_EQ(name, "com.kestrel.vexd");
        if (lookUps++ >= lookUpsBeforeFound) return std::make_unique<Server>(*this);
        if (raises) throw platform::Failure("NoReply", "the bus is silent");
        return nullptr;
    }

private:
    class Server final : public platform::VEXD_Server
    {
    public:
        explicit Server(ScriptedMessaging& script) : mScript(script) {}
        void vexAlertNotify(const AlertTexts& texts) override { note("Notify", texts); }
        bool vexAlertQuery(const AlertTexts& texts) override
        {
            note("Query", texts);
            return mScript.answer;
        }
        std::int32_t vexAlertQueryWithOther(const AlertTexts& texts) override
        {
            note("QueryWithOther", texts);
            return mScript.button;
        }
        bool vexAlertQueryCB(const AlertTexts& texts, bool cbInitialState, bool* cbResult) override
        {
            note(cbInitialState ? "QueryCB checked" : "QueryCB", texts);
            if (cbResult != nullptr) *cbResult = true;
            return mScript.answer;
        }
        std::int32_t vexAlertQueryCBWithOther(const AlertTexts& texts, bool* cbResult) override
        {
            note("QueryCBWithOther", texts);
            if (cbResult != nullptr) *cbResult = true;
            return mScript.button;
        }

    private:
        void note(std::string call, const AlertTexts& texts)
        {
            for (const auto* text : {texts.title, texts.msg, texts.btn, texts.btnAlt, texts.btnOther, texts.cbStr})
                call += "|" + (text != nullptr ? *text : "-");
            mScript.calls.push_back(call);
        }
        ScriptedMessaging& mScript;
    };
};

struct Alerts : testing::Test {
    fakes::RecordingLog log;
    roamer::SharedState state;
    ScriptedMessaging messaging;
    fakes::FakeProcessTable processes;
    fakes::FakeRunLoop runLoop;
    fakes::FakeUserNotification notification;
    fakes::FakeEffectiveUser user;
    fakes::FakeBundles bundles;
    fakes::FakeSystemSettings settings;
    roamer::Alerts alerts{state, messaging, processes, runLoop, notification, user, bundles, settings};

    const std::string title = "T", msg = "M", ok = "OK", alt = "Alt", other = "Other", box = "Box";

    Alerts()
    {
        bundles.bundles[platform::kCustodiaBundlePath].dictionaries["mobility_64.tiff"] = {};
        // Each text is its key without the prefix, but for the one with placeholders.
        for (const char* key :
             {"OK_BUTTON", "HOME_IN_USE_TITLE", "HOME_IN_USE_MESSAGE", "HOME_IN_USE_SYNC_LATER_BUTTON",
              "HOME_IN_USE_SYNC_NOW_BUTTON", "HOME_NET_HOME_MISSING_TITLE", "HOME_NET_HOME_MISSING_MESSAGE",
              "MUST_BE_MHD_TITLE", "MUST_BE_MHD_MESSAGE", "NO_NETHOME_TITLE", "NO_NETHOME_MESSAGE",
              "HOME_CHANGED_NOSYNC_TITLE", "HOME_CHANGED_NOSYNC__MESSAGE", "NOTHING_TITLE", "NOTHING_MESSAGE",
              "HOME_NET_HOME_TIME_NEWER_TITLE", "HOME_CHANGED_SELECT_NETWORK_BUTTON", "HOME_CHANGED_SYNC_LATER_BUTTON",
              "HOME_CHANGED_SELECT_LOCAL_BUTTON"})
            state.mLocalizedStringsDict["PAVO_" + std::string(key)] = key;
        state.mLocalizedStringsDict["PAVO_HOME_NET_HOME_TIME_NEWER_MESSAGE"] = "net %@ local %@";
    }
    void runCustodia() { processes.table->push_back({"Custodia", 5, false}); }
    Texts all() const { return {&title, &msg, &ok, &alt, &other, &box}; }
    /// What the last local alert showed, in the order header, message, buttons.
    std::string shown() const
    {
        const auto& request = notification.requests.back();
        std::string text;
        for (const auto& part : {request.header, request.message, request.defaultButton, request.alternateButton,
                                 request.otherButton, request.checkBox})
            text += part.value_or("-") + "|";
        return text;
    }
};

} // namespace

TEST_F(Alerts, EachDialogShowsItsTexts)
{
    struct Case {
        const char* name;
        std::function<void()> run;
        const char* shown;
    };
    const Case cases[] = {
        {"doConfirmSyncStartHomeInUseMsg", [&] { alerts.doConfirmSyncStartHomeInUseMsg(false); },
         "HOME_IN_USE_TITLE|HOME_IN_USE_MESSAGE|HOME_IN_USE_SYNC_LATER_BUTTON|HOME_IN_USE_SYNC_NOW_BUTTON|-|-|"},
        {"doSyncNetHomePathInvalidMsg", [&] { alerts.doSyncNetHomePathInvalidMsg(false); },
         "HOME_NET_HOME_MISSING_TITLE|HOME_NET_HOME_MISSING_MESSAGE|OK_BUTTON|-|-|-|"},
        {"doNotAMobileAccountMsg", [&] { alerts.doNotAMobileAccountMsg(false); },
         "MUST_BE_MHD_TITLE|MUST_BE_MHD_MESSAGE|OK_BUTTON|-|-|-|"},
        {"doUnableToMountHomeForSyncMsg", [&] { alerts.doUnableToMountHomeForSyncMsg(false); },
         "NO_NETHOME_TITLE|NO_NETHOME_MESSAGE|OK_BUTTON|-|-|-|"},
        {"doCantSyncChangedNetworkPrefsMessage", [&] { alerts.doCantSyncChangedNetworkPrefsMessage(false); },
         "HOME_CHANGED_NOSYNC_TITLE|HOME_CHANGED_NOSYNC__MESSAGE|OK_BUTTON|-|-|-|"},
        {"doNothingToSyncMsg", [&] { alerts.doNothingToSyncMsg(false); },
         "NOTHING_TITLE|NOTHING_MESSAGE|OK_BUTTON|-|-|-|"},
        {"doSyncNetHomeTimeNewerMsg", [&] { alerts.doSyncNetHomeTimeNewerMsg(false, "L", "N"); },
         "HOME_NET_HOME_TIME_NEWER_TITLE|net N local L|HOME_CHANGED_SELECT_NETWORK_BUTTON|"
         "HOME_CHANGED_SYNC_LATER_BUTTON|HOME_CHANGED_SELECT_LOCAL_BUTTON|-|"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        c.run();
        EXPECT_EQ(shown(), c.shown);
        EXPECT_TRUE(log.has(2, "Pavo." + std::string(c.name)));
        EXPECT_EQ(notification.requests.back().flags, 2U);
    }
    EXPECT_EQ(notification.requests.size(), std::size(cases));
    EXPECT_TRUE(settings.revealed.empty());
}

TEST_F(Alerts, LocalAnswersByButton)
{
    struct Case {
        std::uint32_t flags;
        bool isDefault;
        std::int32_t button;
    };
    for (const auto& c : {Case{0, true, 0}, {1, false, 1}, {2, false, 2}, {3, false, 3}, {0x100, true, 0}}) {
        SCOPED_TRACE(c.flags);
        notification.response.flags = c.flags;
        EXPECT_EQ(alerts.alertQuery(false, all()), c.isDefault);
        EXPECT_EQ(alerts.alertQueryWithOther(false, all()), c.button);
        EXPECT_EQ(alerts.alertQueryCBWithOther(false, all(), nullptr), c.button);
        EXPECT_EQ(alerts.doConfirmSyncStartHomeInUseMsg(false), !c.isDefault);
        EXPECT_EQ(alerts.doSyncNetHomeTimeNewerMsg(false, "", ""), c.button);
    }
}

TEST_F(Alerts, LocalAlertRunsAsTheSuperuserWithTheIcon)
{
    notification.onShow = [&] { EXPECT_EQ(user.effective, 0U); };
    alerts.alertNotify(false, all());
    EXPECT_EQ(shown(), "T|M|OK|-|-|-|");
    EXPECT_EQ(user.effective, 501U);
    EXPECT_EQ(notification.requests.back().iconPath,
              "/System/Library/Hearth/Custodia.app/Contents/Resources/mobility_64.tiff");

    user.effective = 0;
    bundles.bundles.clear();
    alerts.alertNotify(false, all());
    EXPECT_EQ(user.switches.size(), 1U) << "no switch for the superuser";
    EXPECT_EQ(notification.requests.back().iconPath, std::nullopt);
}

TEST_F(Alerts, CheckBoxes)
{
    bool checked = true;
    alerts.alertQueryCB(false, all(), true, &checked);
    EXPECT_EQ(notification.requests.back().flags, 258U);
    EXPECT_EQ(shown(), "T|M|OK|Alt|-|Box|");
    EXPECT_FALSE(checked);

    notification.response.flags = 0x101;
    EXPECT_FALSE(alerts.alertQueryCB(false, all(), false, &checked));
    EXPECT_TRUE(checked);
    EXPECT_EQ(alerts.alertQueryCBWithOther(false, all(), &checked), 1);
    EXPECT_TRUE(checked);
    EXPECT_EQ(shown(), "T|M|OK|Alt|Other|Box|");

    auto withoutBox = all();
    withoutBox.cbStr = nullptr;
    alerts.alertQueryCB(false, withoutBox, true, &checked);
    EXPECT_FALSE(checked) << "there was no box to check";
    checked = true;
    notification.response.succeeded = false;
    alerts.alertQueryCBWithOther(false, all(), &checked);
    EXPECT_FALSE(checked) << "nobody answered";
}

TEST_F(Alerts, NullTextsOfLocalAlerts)
{
    // Which texts each form insists on: title, message, default, alternate, other button, checkbox.
    struct Case {
        const char* name;
        std::function<void(const Texts&)> run;
        const char* required;
    };
    const Case cases[] = {
        {"notify", [&](const Texts& t) { alerts.pavoAlertNotify(t); }, "tmb---"},
        {"query", [&](const Texts& t) { alerts.pavoAlertQuery(t); }, "tmba--"},
        {"with other", [&](const Texts& t) { alerts.pavoAlertQueryWithOther(t); }, "tmba--"},
        {"checkbox", [&](const Texts& t) { alerts.pavoAlertQueryCB(t, false, nullptr); }, "t-ba--"},
        {"checkbox, other", [&](const Texts& t) { alerts.pavoAlertQueryCBWithOther(t, nullptr); }, "------"},
    };
    const std::string* Texts::*const parts[] = {&Texts::title,  &Texts::msg,      &Texts::btn,
                                                &Texts::btnAlt, &Texts::btnOther, &Texts::cbStr};
    for (const auto& c : cases) {
        for (std::size_t i = 0; i < std::size(parts); ++i) {
            SCOPED_TRACE(std::string(c.name) + ", part " + std::to_string(i));
            auto texts = all();
            texts.*parts[i] = nullptr;
            const auto before = notification.requests.size();
            if (c.required[i] == '-') {
                EXPECT_NO_THROW(c.run(texts));
                EXPECT_EQ(notification.requests.size(), before + 1);
            } else {
                try {
                    c.run(texts);
                    ADD_FAILURE() << "must raise";
                } catch (const platform::Failure& failure) {
                    EXPECT_EQ(failure.name(), platform::kInvalidArgument);
                }
                EXPECT_EQ(notification.requests.size(), before);
            }
        }
    }
    state.mLocalizedStringsDict.erase("PAVO_HOME_NET_HOME_TIME_NEWER_MESSAGE");
    runCustodia();
    EXPECT_THROW(alerts.doSyncNetHomeTimeNewerMsg(true, "L", "N"), platform::Failure);
    EXPECT_TRUE(messaging.calls.empty());
    EXPECT_EQ(user.effective, 501U);
}

TEST_F(Alerts, ManagedClientProcessMustBeOlderAndAlive)
{
    struct Case {
        const char* name;
        std::optional<std::vector<platform::ProcessRecord>> table;
        bool runs;
    };
    const Case cases[] = {
        {"older", {{{"init", 1, false}, {"Custodia", 999, false}}}, true},
        {"younger", {{{"Custodia", 1001, false}}}, false},
        {"zombie", {{{"Custodia", 5, true}}}, false},
        {"longer name", {{{"CustodiaHelper", 5, false}}}, false},
        {"none", {{}}, false},
        {"unreadable table", std::nullopt, false},
    };
    for (const auto& c : cases) {
        processes.table = c.table;
        EXPECT_EQ(alerts.isCustodiaRunning(), c.runs) << c.name;
    }
}

TEST_F(Alerts, ServerShowsThemAtLogin)
{
    runCustodia();
    messaging.button = 2;
    bool checked = false;
    alerts.alertNotify(true, {.title = &title, .msg = nullptr, .btn = &ok});
    EXPECT_TRUE(alerts.alertQuery(true, all()));
    EXPECT_EQ(alerts.alertQueryWithOther(true, all()), 2);
    EXPECT_TRUE(alerts.alertQueryCB(true, all(), true, &checked));
    EXPECT_TRUE(checked);
    EXPECT_EQ(alerts.alertQueryCBWithOther(true, all(), nullptr), 2);
    const std::string texts = "|T|M|OK|Alt|Other|Box";
    EXPECT_EQ(messaging.calls,
              (std::vector<std::string>{"Notify|T|-|OK|-|-|-", "Query" + texts, "QueryWithOther" + texts,
                                        "QueryCB checked" + texts, "QueryCBWithOther" + texts}));
    EXPECT_EQ(messaging.lookUps, 1) << "one connection for all";
    EXPECT_TRUE(notification.requests.empty());
    EXPECT_EQ(log.countContaining("waiting for Custodia"), 0);

    alerts.doNotAMobileAccountMsg(false);
    EXPECT_EQ(notification.requests.size(), 1U) << "not at login: the agent's own";
    EXPECT_EQ(messaging.calls.size(), 5U);
}

TEST_F(Alerts, WaitsForTheServer)
{
    runCustodia();
    messaging.lookUpsBeforeFound = 4;
    EXPECT_TRUE(alerts.alertQuery(true, all()));
    EXPECT_EQ(log.countContaining("Pavo.didConnectToCustodiaServer waiting for Custodia server"), 1);
    EXPECT_TRUE(log.has(1, "Pavo.didConnectToCustodiaServer Finally opened connection to Custodia after 4 retries "
                           "(0.400000 secs)"));
}

TEST_F(Alerts, AnotherAlertMayConnectDuringTheWait)
{
    runCustodia();
    messaging.lookUpsBeforeFound = 2;
    runLoop.at(0.05, [&] { EXPECT_TRUE(alerts.alertQuery(true, all())); });
    EXPECT_TRUE(alerts.alertQuery(true, all()));
    EXPECT_EQ(messaging.lookUps, 3) << "the outer one uses the connection of the inner one";
    EXPECT_EQ(messaging.calls.size(), 2U);
}

TEST_F(Alerts, UnreachableServerShowsNothing)
{
    runCustodia();
    messaging.lookUpsBeforeFound = 100000;
    for (const bool raises : {false, true}) {
        messaging.raises = raises;
        messaging.lookUps = 0;
        EXPECT_FALSE(alerts.alertQuery(true, all()));
        EXPECT_EQ(messaging.lookUps, 101);
    }
    EXPECT_NEAR(runLoop.elapsedSeconds(), 2 * 10.1, 1e-6);
    alerts.alertNotify(true, all());
    EXPECT_EQ(alerts.alertQueryWithOther(true, all()), -1);
    EXPECT_FALSE(alerts.alertQueryCB(true, all(), false, nullptr));
    EXPECT_EQ(alerts.alertQueryCBWithOther(true, all(), nullptr), -1);
    EXPECT_TRUE(alerts.doConfirmSyncStartHomeInUseMsg(true));
    EXPECT_EQ(alerts.doSyncNetHomeTimeNewerMsg(true, "", ""), -1);
    for (const char* operation :
         {"alertNotify", "alertQuery", "alertQueryWithOther", "alertQueryCB", "alertQueryCBWithOther"})
        EXPECT_TRUE(log.has(1, "Pavo." + std::string(operation) + " failed to connect to Custodia server"));
    EXPECT_EQ(log.countContaining("after waiting 10.100000"), 8);
    EXPECT_TRUE(notification.requests.empty());
}

TEST_F(Alerts, NothingToSyncLeadsToTheSettings)
{
    const std::string settingsText = "Account Mobility Preferences...";
    bundles.bundles[platform::kMenuExtraBundlePath].dictionaries["English/Localizable.strings"] = {
        {settingsText, "Settings"}};
    alerts.doNothingToSyncMsg(false);
    EXPECT_EQ(shown(), "NOTHING_TITLE|NOTHING_MESSAGE|OK_BUTTON|Settings|-|-|");
    EXPECT_TRUE(settings.revealed.empty()) << "OK";

    notification.response.flags = 1;
    alerts.doNothingToSyncMsg(false);
    notification.response.flags = 3;
    bundles.bundles[platform::kMenuExtraBundlePath].dictionaries.clear();
    alerts.doNothingToSyncMsg(false);
    EXPECT_EQ(shown(), "NOTHING_TITLE|NOTHING_MESSAGE|OK_BUTTON|Account Mobility Preferences...|-|-|");
    const std::pair<std::string, std::string> expected{"com.kestrel.preferences.users", "mobilityPref"};
    EXPECT_EQ(settings.revealed, (std::vector{expected, expected}));

    runCustodia();
    messaging.lookUpsBeforeFound = 100000;
    alerts.doNothingToSyncMsg(true);
    EXPECT_EQ(settings.revealed.size(), 3U) << "nobody could be asked";
}
