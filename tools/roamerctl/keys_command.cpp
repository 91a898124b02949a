#include <algorithm>
#include <array>
#include <cstdio>

#include "colour.h"
#include "commands.h"
#include "home/preference_table.h"

namespace roamer::ctl
{

namespace
{

struct Heading {
    PreferenceSection section;
    const char* text;
};

constexpr std::array kHeadings = std::to_array<Heading>({
    {PreferenceSection::When, "When to sync"},
    {PreferenceSection::Session, "Login and logout"},
    {PreferenceSection::Conflicts, "Conflicts"},
    {PreferenceSection::Errors, "Errors"},
    {PreferenceSection::Folders, "What to sync"},
    {PreferenceSection::Exclusions, "What to leave out"},
    {PreferenceSection::Remembered, "What Roamer itself remembers"},
});

constexpr const char* kManualHead = R"(.TH COM.KESTREL.ROAMER.PLIST 5 "" "Roamer" "Roamer"
.SH NAME
com.kestrel.roamer.plist \- what Roamer syncs, when, and who wins a conflict
.SH DESCRIPTION
A property list, XML or binary. The administrator's file
.I "Library/Managed Preferences/NAME/com.kestrel.roamer.plist"
below /var/lib/roamer wins, key by key, over the person's
.I Library/Preferences/com.kestrel.roamer.plist
in the local home.
.B roamerctl set
writes both.
)";

constexpr const char* kManualTail = R"(.SH SEE ALSO
.BR roamerctl (1)
)";

std::string text(std::string_view part)
{
    return std::string(part);
}

/// Safe as running text of a manual page.
std::string manualText(std::string_view part)
{
    std::string escaped;
    for (const char c : part) {
        if (c == '\\' || c == '-') escaped += '\\';
        if (c != '`' && c != '*') escaped += c;
    }
    return escaped;
}

void printPlain(const PreferenceKey& key)
{
    constexpr std::size_t kNameWidth = 38;
    const auto padding = std::string(kNameWidth - std::min(kNameWidth, key.name.size()), ' ');
    std::printf("  %s%s %-15s %s\n", coloured(text(key.name), Colour::Strong).c_str(), padding.c_str(),
                text(preferenceTypeName(key.type)).c_str(), text(key.meaning).c_str());
    for (const auto& word : key.words)
        std::printf("  %38s %s\n", "", text(word).c_str());
}

void printManual(const PreferenceKey& key)
{
    std::printf(".TP\n.B %s\n%s. %s\n", manualText(key.name).c_str(), text(preferenceTypeName(key.type)).c_str(),
                manualText(key.meaning).c_str());
    std::string words;
    for (const auto& word : key.words)
        words += (words.empty() ? "" : ", ") + text(word);
    if (!words.empty()) std::printf("One of %s.\n", words.c_str());
    if (!key.without.empty()) std::printf("Without it: %s.\n", manualText(key.without).c_str());
    if (!key.example.empty())
        std::printf(".br\nExample: roamerctl set %s%s %s\n", worksWhenForcedOnly(key) ? "\\-\\-managed " : "",
                    manualText(key.name).c_str(), manualText(key.example).c_str());
}

void printSection(const Heading& heading, KeysOptions::Form form)
{
    if (form == KeysOptions::Form::Markdown) {
        std::printf("## %s\n\n%s\n", heading.text, preferenceTableMarkdown(heading.section).c_str());
        return;
    }
    if (form == KeysOptions::Form::Plain) std::printf("%s\n", coloured(heading.text, Colour::Open).c_str());
    if (form == KeysOptions::Form::Man) std::printf(".SH %s\n", heading.text);
    for (const auto& key : preferenceKeys()) {
        if (key.section != heading.section) continue;
        if (form == KeysOptions::Form::Plain) printPlain(key);
        if (form == KeysOptions::Form::Names) std::printf("%s\n", text(key.name).c_str());
        if (form == KeysOptions::Form::Man) printManual(key);
    }
    if (form == KeysOptions::Form::Plain) std::printf("\n");
}

} // namespace

ExitStatus run(const KeysOptions& options)
{
    if (options.form == KeysOptions::Form::Man) std::printf("%s", kManualHead);
    for (const auto& heading : kHeadings)
        printSection(heading, options.form);
    if (options.form == KeysOptions::Form::Man) std::printf("%s", kManualTail);
    return kDone;
}

} // namespace roamer::ctl
