#pragma once

#include <map>
#include <optional>
#include <vector>

#include "platform/failure.h"
#include "platform/object_messaging.h"

namespace fakes
{

/// What the managed-client server was asked to show, and what it answers.
struct FakeVexdServer {
    std::vector<std::string> shown; ///< Message and texts, joined by "|"; "-" for a text that was left out.
    std::int32_t answer = 0;
    bool cbAnswer = false;
};

/// The names of one session in memory. Proxies forward to the object that is published, in this process.
class FakeObjectMessaging final : public platform::ObjectMessaging
{
public:
    bool hasBus = true;
    bool lookUpRaises = false;
    std::map<std::string, platform::Pavo_Server*> published; ///< By name; put one here to play another process.
    FakeVexdServer* vexd = nullptr;                          ///< Null: nobody holds its name.
    std::vector<std::string> lookedUp;

    std::unique_ptr<platform::ServerConnection> defaultConnection() override
    {
        return hasBus ? std::make_unique<Connection>(*this) : nullptr;
    }

    std::unique_ptr<platform::Pavo_Server> lookUpPavoServer(const std::string& name) override
    {
        lookUp(name);
        return published.contains(name) ? std::make_unique<Proxy>(*published.at(name)) : nullptr;
    }

    std::unique_ptr<platform::VEXD_Server> lookUpVexdServer(const std::string& name) override
    {
        lookUp(name);
        return vexd != nullptr ? std::make_unique<VexdProxy>(*vexd) : nullptr;
    }

private:
    void lookUp(const std::string& name)
    {
        lookedUp.push_back(name);
        if (lookUpRaises) throw platform::Failure("LookUpFailed", "the bus is in a bad mood");
    }

    struct Connection final : platform::ServerConnection {
        explicit Connection(FakeObjectMessaging& fake) : messaging(fake) {}
        ~Connection() override
        {
            std::erase_if(messaging.published, [this](const auto& item) { return item.second == root; });
        }
        void setRootObject(platform::Pavo_Server& object) override { root = &object; }
        bool registerName(const std::string& name) override
        {
            return root != nullptr && messaging.published.emplace(name, root).second;
        }
        FakeObjectMessaging& messaging;
        platform::Pavo_Server* root = nullptr;
    };

    /// The checks are not sent this way by anybody.
    struct Proxy final : platform::Pavo_Server {
        explicit Proxy(platform::Pavo_Server& server) : root(server) {}
        void pavo_quit() override { root.pavo_quit(); }
        void pavo_refreshPreferences() override { root.pavo_refreshPreferences(); }
        void pavo_syncNow() override { root.pavo_syncNow(); }
        std::int32_t pavo_doLogoutChecks(bool, bool*) override { return -1; }
        std::int32_t pavo_doLoginChecks(bool, bool*) override { return -1; }
        platform::Pavo_Server& root;
    };

    struct VexdProxy final : platform::VEXD_Server {
        explicit VexdProxy(FakeVexdServer& vexd) : server(vexd) {}
        void vexAlertNotify(const AlertTexts& texts) override { show("Notify", texts, nullptr); }
        bool vexAlertQuery(const AlertTexts& texts) override { return show("Query", texts, nullptr) != 0; }
        std::int32_t vexAlertQueryWithOther(const AlertTexts& texts) override
        {
            return show("QueryWithOther", texts, nullptr);
        }
        bool vexAlertQueryCB(const AlertTexts& texts, bool cbInitialState, bool* cbResult) override
        {
            return show(cbInitialState ? "QueryCB checked" : "QueryCB", texts, cbResult) != 0;
        }
        std::int32_t vexAlertQueryCBWithOther(const AlertTexts& texts, bool* cbResult) override
        {
            return show("QueryCBWithOther", texts, cbResult);
        }
        std::int32_t show(std::string message, const AlertTexts& texts, bool* cbResult)
        {
            for (const auto* text : {texts.title, texts.msg, texts.btn, texts.btnAlt, texts.btnOther, texts.cbStr})
                message += "|" + (text != nullptr ? *text : "-");
            server.shown.push_back(message);
            if (cbResult != nullptr) *cbResult = server.cbAnswer;
            return server.answer;
        }
        FakeVexdServer& server;
    };
};

} // namespace fakes
