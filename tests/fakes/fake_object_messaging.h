#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
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
        lookedUp.push_back(name);
        if (lookUpRaises) throw platform::Failure("LookUpFailed", "the bus is in a bad mood");
        const auto found = published.find(name);
        if (found == published.end()) return nullptr;
        return std::make_unique<Proxy>(*found->second);
    }

    std::unique_ptr<platform::VEXD_Server> lookUpVexdServer(const std::string& name) override
    {
        lookedUp.push_back(name);
        if (lookUpRaises) throw platform::Failure("LookUpFailed", "the bus is in a bad mood");
        if (vexd == nullptr) return nullptr;
        return std::make_unique<VexdProxy>(*vexd);
    }

private:
    class Connection final : public platform::ServerConnection
    {
    public:
        explicit Connection(FakeObjectMessaging& messaging) : mMessaging(messaging) {}
        ~Connection() override
        {
            if (mName) mMessaging.published.erase(*mName);
        }
        void setRootObject(platform::Pavo_Server& root) override { mRoot = &root; }
        bool registerName(const std::string& name) override
        {
            if (mRoot == nullptr || !mMessaging.published.emplace(name, mRoot).second) return false;
            mName = name;
            return true;
        }

    private:
        FakeObjectMessaging& mMessaging;
        platform::Pavo_Server* mRoot = nullptr;
        std::optional<std::string> mName;
    };

    class Proxy final : public platform::Pavo_Server
    {
    public:
        explicit Proxy(platform::Pavo_Server& root) : mRoot(root) {}
        void pavo_quit() override { mRoot.pavo_quit(); }
        void pavo_refreshPreferences() override { mRoot.pavo_refreshPreferences(); }
        void pavo_syncNow() override { mRoot.pavo_syncNow(); }
        std::int32_t pavo_doLogoutChecks(bool firstTimeSync, bool* prefSyncCompleted) override
        {
            return mRoot.pavo_doLogoutChecks(firstTimeSync, prefSyncCompleted);
        }
        std::int32_t pavo_doLoginChecks(bool firstTimeSync, bool* prefSyncCompleted) override
        {
            return mRoot.pavo_doLoginChecks(firstTimeSync, prefSyncCompleted);
        }

    private:
        platform::Pavo_Server& mRoot;
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
