#pragma once

#include <QString>

#include <cstdint>
#include <string>
#include <vector>

#include "texts.h"
#include "values/property_list.h"

namespace braid::window
{

/// What lies on one side of a conflict.
struct ItemVersion {
    enum class Kind { Absent = 0, File = 1, Folder = 2, Link = 3, Special = 4 };
    Kind kind = Kind::Absent;
    std::int64_t size = 0;  ///< Bytes.
    std::int64_t mtime = 0; ///< Nanoseconds since 1970 UTC.
    QString computer;       ///< Who brought it there; empty where that is not known.

    friend bool operator==(const ItemVersion&, const ItemVersion&) = default;
};

/// One conflict or error.
struct Item {
    std::string path; ///< Home-relative, in the bytes of the file system; "." for the home as a whole.
    bool isError = false;
    bool isSetAside = false;
    std::string kind; ///< Of a conflict, in the engine's words.
    QString message;  ///< Of an error.
    ItemVersion local;
    ItemVersion network;

    bool isSame(const Item& other) const { return path == other.path && isError == other.isError; }
    friend bool operator==(const Item&, const Item&) = default;
};

/// What the engine says needs a person.
struct Matters {
    std::vector<Item> items;
    std::string localHome;
    std::string networkHome; ///< Empty where it is not known.
};
Matters readMatters(const roamer::Dictionary& answer);

/// What one can do about some items: a word of the protocol (nullptr: try again) and the button's text.
struct Choice {
    const char* keep;
    Text label;
};
/// The first two of a single conflict are the sides, local first. What of several items cannot be decided that way is
/// left as it is.
std::vector<Choice> choicesFor(const std::vector<Item>& items);
std::vector<Item> thoseThatTake(const char* keep, const std::vector<Item>& items);

QString nameOf(const Item& item);
QString folderOf(const Item& item); ///< Empty at the top of the home.
QString sentenceOf(const Item& item);
/// When and how it came about, and what it is: "Changed 24.11.2026 21:03 · newer", "14 KB".
struct Facts {
    QString when;
    QString what;
};
Facts factsOf(const Item& item, bool isLocal);
QString headingOf(const ItemVersion& version, bool isLocal);

} // namespace braid::window
