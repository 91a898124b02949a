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

/// A managed-client server that notes what it is shown and answers as it was told.
class FakeVexdServer final : public platform::VEXD_Server
{
public:
    struct Shown {
        std::string message;                                  ///< Which of the five.
        std::string title, msg, btn, btnAlt, btnOther, cbStr; ///< "" for a text that was left out.
        bool cbInitialState = false;
    };
    std::vector<Shown> shown;
    std::int32_t answer = 0;
    bool cbAnswer = false;
    bool isGone = false; ///< Every message then raises Failure.

    void vexAlertNotify(const AlertTexts& texts) override { note("vexAlertNotify", texts); }
    bool vexAlertQuery(const AlertTexts& texts) override { return note("vexAlertQuery", texts) != 0; }
    std::int32_t vexAlertQueryWithOther(const AlertTexts& texts) override
    {
        return note("vexAlertQueryWithOther", texts);
    }
    bool vexAlertQueryCB(const AlertTexts& texts, bool cbInitialState, bool* cbResult) override
    {
        note("vexAlertQueryCB", texts);
        shown.back().cbInitialState = cbInitialState;
        if (cbResult != nullptr) *cbResult = cbAnswer;
        return answer != 0;
    }
    std::int32_t vexAlertQueryCBWithOther(const AlertTexts& texts, bool* cbResult) override
    {
        note("vexAlertQueryCBWithOther", texts);
        if (cbResult != nullptr) *cbResult = cbAnswer;
        return answer;
    }

private:
    std::int32_t note(const char* message, const AlertTexts& texts)
    {
        if (isGone) throw platform::Failure("MessageNotAnswered", std::string(message) + ": the server is gone");
        const auto text = [](const std::string* value) { return value != nullptr ? *value : std::string(); };
        shown.push_back({message, text(texts.title), text(texts.msg), text(texts.btn), text(texts.btnAlt),
                         text(texts.btnOther), text(texts.cbStr), false});
        return answer;
    }
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
        if (!hasBus) return nullptr;
        return std::make_unique<Connection>(*this);
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

    class VexdProxy final : public platform::VEXD_Server
    {
    public:
        explicit VexdProxy(FakeVexdServer& server) : mServer(server) {}
        void vexAlertNotify(const AlertTexts& texts) override { mServer.vexAlertNotify(texts); }
        bool vexAlertQuery(const AlertTexts& texts) override { return mServer.vexAlertQuery(texts); }
        std::int32_t vexAlertQueryWithOther(const AlertTexts& texts) override
        {
            return mServer.vexAlertQueryWithOther(texts);
        }
        bool vexAlertQueryCB(const AlertTexts& texts, bool cbInitialState, bool* cbResult) override
        {
            return mServer.vexAlertQueryCB(texts, cbInitialState, cbResult);
        }
        std::int32_t vexAlertQueryCBWithOther(const AlertTexts& texts, bool* cbResult) override
        {
            return mServer.vexAlertQueryCBWithOther(texts, cbResult);
        }

    private:
        FakeVexdServer& mServer;
    };
};

} // namespace fakes
