#include "item.h"

#include <QDateTime>
#include <QLocale>

#include <algorithm>
#include <iterator>

#include "braid/protocol.h"
#include "braid/reconcile/decide.h"

namespace braid::window
{

namespace
{

using roamer::Array;
using roamer::Data;
using roamer::Dictionary;

constexpr std::int64_t kNanosecondsPerMillisecond = 1'000'000;

template <typename T>
T valueOf(const Dictionary& entry, const char* key)
{
    const auto found = entry.find(key);
    const T* value = found != entry.end() ? found->second.as<T>() : nullptr;
    return value != nullptr ? *value : T{};
}

std::string bytesOf(const Dictionary& entry, const char* key)
{
    const auto data = valueOf<Data>(entry, key);
    return {reinterpret_cast<const char*>(data.data()), data.size()};
}

QString textOf(const Dictionary& entry, const char* key)
{
    return QString::fromStdString(valueOf<std::string>(entry, key));
}

ItemVersion versionOf(const Dictionary& entry)
{
    return {static_cast<ItemVersion::Kind>(valueOf<std::int64_t>(entry, protocol::kVersionKind)),
            valueOf<std::int64_t>(entry, protocol::kVersionSize), valueOf<std::int64_t>(entry, protocol::kVersionTime),
            textOf(entry, protocol::kVersionComputer)};
}

Item itemOf(const Dictionary& entry, bool isError)
{
    Item item;
    item.path = bytesOf(entry, protocol::kPath);
    item.isError = isError;
    item.isSetAside = valueOf<bool>(entry, protocol::kIsSetAside);
    item.kind = valueOf<std::string>(entry, protocol::kKind);
    item.message = textOf(entry, protocol::kMessage);
    item.local = versionOf(valueOf<Dictionary>(entry, protocol::kLocalVersion));
    item.network = versionOf(valueOf<Dictionary>(entry, protocol::kNetworkVersion));
    return item;
}

bool isMassDeletion(const Item& item)
{
    return item.kind == braid::conflicts::kMassDeletion;
}

bool isCollision(const Item& item)
{
    return item.kind == braid::conflicts::kNameCollision;
}

/// A version of it can be kept.
bool hasVersions(const Item& item)
{
    return !item.isError && !isMassDeletion(item) && !isCollision(item);
}

bool isNew(const Item& item)
{
    return item.kind == braid::conflicts::kCreateCreate;
}

QString kindWord(ItemVersion::Kind kind)
{
    switch (kind) {
    case ItemVersion::Kind::Folder:
        return words(Text::Folder);
    case ItemVersion::Kind::Link:
        return words(Text::Link);
    case ItemVersion::Kind::Special:
        return words(Text::Special);
    default:
        return words(Text::File);
    }
}

} // namespace

Matters readMatters(const Dictionary& answer)
{
    Matters matters;
    matters.localHome = bytesOf(answer, protocol::kLocalHome);
    matters.networkHome = bytesOf(answer, protocol::kNetworkHome);
    for (const char* key : {protocol::kConflicts, protocol::kErrors}) {
        for (const auto& entry : valueOf<Array>(answer, key)) {
            const auto* dictionary = entry.as<Dictionary>();
            if (dictionary != nullptr) matters.items.push_back(itemOf(*dictionary, key == protocol::kErrors));
        }
    }
    return matters;
}

std::vector<Choice> choicesFor(const std::vector<Item>& items)
{
    std::vector<Choice> choices;
    if (items.size() != 1 || items.front().isError) {
        if (std::ranges::any_of(items, hasVersions)) {
            choices = {{protocol::kKeepLocal, Text::KeepLocal},
                       {protocol::kKeepNetwork, Text::KeepNetwork},
                       {protocol::kKeepBoth, Text::KeepBoth}};
        }
        if (std::ranges::any_of(items, &Item::isError)) choices.push_back({nullptr, Text::Retry});
        return choices;
    }
    const auto& item = items.front();
    if (isMassDeletion(item)) {
        return {{protocol::kKeepDelete, Text::DeleteAll}, {protocol::kKeepRestore, Text::RestoreAll}};
    }
    if (isCollision(item)) return {}; // only another name helps
    const bool goneHere = item.local.kind == ItemVersion::Kind::Absent;
    const bool goneThere = item.network.kind == ItemVersion::Kind::Absent;
    if (goneHere || goneThere) {
        return {{protocol::kKeepLocal, goneHere ? Text::DeleteBoth : Text::BringBack},
                {protocol::kKeepNetwork, goneThere ? Text::DeleteBoth : Text::BringBack}};
    }
    return {{protocol::kKeepLocal, Text::KeepLocal},
            {protocol::kKeepNetwork, Text::KeepNetwork},
            {protocol::kKeepBoth, Text::KeepBoth}};
}

std::vector<Item> thoseThatTake(const char* keep, const std::vector<Item>& items)
{
    std::vector<Item> result;
    std::ranges::copy_if(items, std::back_inserter(result), [&](const Item& item) {
        return item.isError == (keep == nullptr) && (items.size() == 1 || item.isError || hasVersions(item));
    });
    return result;
}

QString nameOf(const Item& item)
{
    if (isMassDeletion(item)) return words(Text::MassDeletionName);
    if (item.path.empty() || item.path == ".") return words(Text::WholeHome);
    return QString::fromStdString(item.path.substr(item.path.rfind('/') + 1));
}

QString folderOf(const Item& item)
{
    const auto slash = item.path.rfind('/');
    return slash == std::string::npos ? QString() : QString::fromStdString(item.path.substr(0, slash));
}

QString sentenceOf(const Item& item)
{
    if (item.isError) return words(Text::NotSynced);
    if (isMassDeletion(item)) return words(Text::MassDeletion);
    if (isCollision(item)) return words(Text::NameCollision);
    const bool goneHere = item.local.kind == ItemVersion::Kind::Absent;
    const bool goneThere = item.network.kind == ItemVersion::Kind::Absent;
    if (item.kind == braid::conflicts::kDeleteFolder) {
        return words(goneHere ? Text::FolderDeletedHere : Text::FolderDeletedThere);
    }
    if (goneHere) return words(Text::DeletedHere);
    if (goneThere) return words(Text::DeletedThere);
    if (item.local.kind != item.network.kind) return words(Text::OtherKinds);
    return words(isNew(item) ? Text::BothCreated : Text::BothChanged);
}

Facts factsOf(const Item& item, bool isLocal)
{
    const auto& version = isLocal ? item.local : item.network;
    const auto& other = isLocal ? item.network : item.local;
    if (version.kind == ItemVersion::Kind::Absent) return {words(Text::Deleted), {}};
    const QLocale locale;
    const auto when = QDateTime::fromMSecsSinceEpoch(version.mtime / kNanosecondsPerMillisecond);
    Facts facts;
    facts.when = words(isNew(item) ? Text::CreatedAt : Text::ChangedAt, locale.toString(when, QLocale::ShortFormat));
    const bool areAlike = version.kind == other.kind;
    if (areAlike && version.mtime > other.mtime) facts.when += QStringLiteral(" · ") + words(Text::Newer);
    facts.what = version.kind == ItemVersion::Kind::File
                     ? locale.formattedDataSize(version.size, 1, QLocale::DataSizeSIFormat)
                     : kindWord(version.kind);
    return facts;
}

QString headingOf(const ItemVersion& version, bool isLocal)
{
    if (isLocal) {
        return version.computer.isEmpty() ? words(Text::ThisComputer)
                                          : words(Text::ThisComputerNamed, version.computer);
    }
    return version.computer.isEmpty() ? words(Text::NetworkHome) : words(Text::NetworkHomeFrom, version.computer);
}

} // namespace braid::window
