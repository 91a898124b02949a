#include <QJsonDocument>
#include <QJsonObject>
#include <cstdio>
#include <unistd.h>

#include "account.h"
#include "colour.h"
#include "commands.h"
#include "home/preference_keys.h"
#include "lists/exclusion_entry.h"
#include "platform/failure.h"
#include "platform/system_root.h"
#include "preference_value.h"

namespace roamer::ctl
{

namespace
{

constexpr std::size_t kNameWidth = 38;

void printLine(const std::string& key, const std::string& value, std::string_view decidedBy)
{
    const auto by = colouredDecider(decidedBy);
    std::printf("%-*s %s  (%s)\n", static_cast<int>(kNameWidth), key.c_str(), value.c_str(), by.c_str());
}

/// What holds without the key; the table has it as Markdown.
std::string defaultWord(const PreferenceKey& key)
{
    std::string word(key.without.empty() ? "-" : key.without);
    std::erase(word, '`');
    return word;
}

/// Why a rule of the list cannot be evaluated; "" when all can.
std::string faultInRules(Account& account, const PropertyList& value)
{
    const auto* list = value.as<Array>();
    for (std::size_t i = 0; list != nullptr && i < list->size(); ++i) {
        const auto rule = ruleFromExclusionEntry((*list)[i]);
        if (!rule) continue;
        try {
            account.predicates->compile(*rule);
        } catch (const platform::Failure& failure) {
            return "\"" + rule->value + "\": " + failure.reason();
        }
    }
    return {};
}

const PreferenceKey* keyOrComplaint(const std::string& name)
{
    const auto* key = findPreferenceKey(name);
    if (key == nullptr) refuse("there is no preference \"" + name + "\". \"roamerctl keys\" lists all of them.");
    return key;
}

} // namespace

ExitStatus run(const GetOptions& options)
{
    if (!options.key.empty() && keyOrComplaint(options.key) == nullptr) return kUsage;
    auto opened = Account::open(options.user);
    if (const auto* reason = std::get_if<std::string>(&opened)) return refuse(*reason);
    auto& account = *std::get<std::unique_ptr<Account>>(opened);

    QJsonObject json;
    for (const auto& key : preferenceKeys()) {
        const std::string name(key.name);
        if (!options.key.empty() && options.key != name) continue;
        const auto value = account.preferences.getRoamerValue(name);
        const auto words = value ? wordsOfPreferenceValue(*value) : defaultWord(key);
        const auto decidedBy = account.decidedBy(name);
        if (options.json) {
            json[QString::fromStdString(name)] = QJsonObject{
                {"value", value ? QJsonValue(QString::fromStdString(words)) : QJsonValue()},
                {"decidedBy", QString::fromUtf8(decidedBy.data(), static_cast<qsizetype>(decidedBy.size()))}};
        } else if (options.key.empty()) {
            printLine(name, words, decidedBy);
        } else {
            std::printf("%s\n", words.c_str());
        }
    }
    if (options.json) std::printf("%s\n", QJsonDocument(json).toJson(QJsonDocument::Compact).constData());
    return kDone;
}

ExitStatus run(const SetOptions& options)
{
    const auto* key = keyOrComplaint(options.key);
    if (key == nullptr) return kUsage;
    if (worksWhenForcedOnly(*key) && !options.managed) {
        refuse(options.key + " works in the administrator's file only; add --managed.");
        return kUsage;
    }
    auto opened = Account::open(options.user);
    if (const auto* reason = std::get_if<std::string>(&opened)) return refuse(*reason);
    auto& account = *std::get<std::unique_ptr<Account>>(opened);
    std::optional<PropertyList> value;
    if (!options.words.empty()) {
        const bool namesFolders = key->type == PreferenceType::Folders;
        auto parsed = preferenceValueFromWords(*key, namesFolders ? foldersInHome(options.words, account.localHome())
                                                                  : options.words);
        if (const auto* reason = std::get_if<std::string>(&parsed)) {
            refuse(options.key + " " + *reason + ".");
            return kUsage;
        }
        value = std::get<PropertyList>(std::move(parsed));
    }
    if (value) {
        if (const auto fault = faultInRules(account, *value); !fault.empty()) {
            refuse("the rule cannot be understood: " + fault);
            return kUsage;
        }
    }
    const auto self = account.effectiveUser->effectiveUid();
    if (!options.managed && self != 0 && self != account.record().uid())
        return refuse("only root may do this for somebody else.");
    if (options.managed && access(platform::systemPath("/Library/Managed Preferences").c_str(), W_OK) != 0 && self != 0)
        return refuse("the administrator's file cannot be written; that takes root.");
    if (!account.write(options.key, value, options.managed))
        return refuse(std::string("the ") + (options.managed ? "administrator's" : "person's") + " file for " +
                      account.name() + " cannot be written" +
                      (options.managed && account.effectiveUser->effectiveUid() != 0 ? "; that takes root." : "."));
    if (!options.managed && account.preferences.roamerValueIsForced(options.key))
        complain("written, but the administrator's file decides " + options.key + ".");
    std::printf("Written. \"roamerctl refresh\" makes a running session take it over.\n");
    return kDone;
}

} // namespace roamer::ctl
