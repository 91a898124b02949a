#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <array>
#include <cstdio>
#include <unistd.h>

#include "account.h"
#include "commands.h"
#include "directory/group_ancestry.h"
#include "directory/record_attributes.h"

namespace roamer::ctl
{

namespace
{

std::string hostName()
{
    std::array<char, 256> name{};
    return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

/// The account's ancestry, with this computer's chained behind it where the directory knows the computer.
AmruGroupGraph::Node graphOf(Account& account)
{
    platform::DirectoryError error;
    const auto node = account.directory->openNode(platform::kLocalNodeType, error);
    if (node == nullptr) return AmruGroupGraph::createWithVEXRecord(account.record());
    auto graph = groupAncestryOf(account.record(), account.context, *node);
    const auto name = hostName();
    const auto computer = name.empty() ? nullptr : node->lookUp(kComputerRecordType, name, {kAllAttributes}, error);
    if (const auto record = AmruVEXRecord::vexrecordWithRecord(account.context, computer))
        graph->setNextGraph(groupAncestryOf(*record, account.context, *node));
    return graph;
}

const char* kindOf(const AmruVEXRecord& record)
{
    if (record.isUser()) return "user";
    if (record.isComputer()) return "computer";
    return record.isGroupWithVEXSettingsFlag() ? "group with settings" : "group";
}

ExitStatus printGroups(const AccountOptions& options, Account& account)
{
    const auto records = graphOf(account)->orderedVEXRecords(true).value_or(std::vector<AmruVEXRecord>());
    QJsonArray json;
    for (const auto& record : records) {
        const auto name = record.recordName().value_or("?");
        if (options.json) {
            json.append(QJsonObject{{"name", QString::fromStdString(name)}, {"kind", kindOf(record)}});
        } else {
            std::printf("%-24s %s\n", name.c_str(), kindOf(record));
        }
    }
    if (options.json) std::printf("%s\n", QJsonDocument(json).toJson(QJsonDocument::Compact).constData());
    return kDone;
}

} // namespace

ExitStatus run(const AccountOptions& options)
{
    auto opened = Account::open(options.user);
    if (const auto* reason = std::get_if<std::string>(&opened)) return refuse(*reason);
    auto& account = *std::get<std::unique_ptr<Account>>(opened);
    if (options.groups) return printGroups(options, account);

    QJsonObject json;
    const auto details = account.record().recordDetailsForAttributes(std::nullopt).value_or(Dictionary{});
    for (const auto& [attribute, values] : details) {
        const auto* list = values.as<Array>();
        QJsonArray texts;
        std::string line;
        for (std::size_t i = 0; list != nullptr && i < list->size(); ++i) {
            const auto* text = (*list)[i].as<std::string>();
            const auto shown = text != nullptr ? *text : (*list)[i].description();
            texts.append(QString::fromStdString(shown));
            line += (line.empty() ? "" : ", ") + shown;
        }
        if (options.json) {
            json[QString::fromStdString(attribute)] = texts;
        } else {
            std::printf("%-45s %s\n", attribute.c_str(), line.c_str());
        }
    }
    if (options.json) std::printf("%s\n", QJsonDocument(json).toJson(QJsonDocument::Compact).constData());
    return kDone;
}

} // namespace roamer::ctl
