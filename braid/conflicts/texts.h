#pragma once

#include <QString>

namespace braid::window
{

/// Everything that the window says.
enum class Text {
    WindowTitle,
    HeadOne,
    HeadMany, ///< %1: how many
    HeadNone,
    Lead,
    LeadNone,
    ThisComputer,
    ThisComputerNamed, ///< %1: its name
    NetworkHome,
    NetworkHomeFrom, ///< %1: the computer that brought the version
    ChangedAt,       ///< %1: when
    CreatedAt,       ///< %1: when
    Deleted,
    File,
    Folder,
    Link,
    Special,
    BothChanged,
    BothCreated,
    DeletedHere,
    DeletedThere,
    FolderDeletedHere,
    FolderDeletedThere,
    OtherKinds,
    MassDeletion,
    MassDeletionName,
    NameCollision,
    Differs,
    NotSynced,
    WholeHome,
    KeepLocal,
    KeepNetwork,
    KeepBoth,
    DeleteBoth,
    BringBack,
    DeleteAll,
    RestoreAll,
    Retry,
    SetAside,
    TakeBack,
    SelectedMany, ///< %1: how many
    SelectedLead,
    SelectedMixed,
    Newer,
    SelectAll,
    ShowSetAside, ///< %1: how many
    IsSetAside,
    Close,
    CloseHint,
    Working,
    Failed,     ///< %1: why
    KeptBeside, ///< %1: the new name
    Reading,
    EmptyFile,
    NoPreview,
    TooLarge,
    Unreadable,
    Pixels, ///< %1 × %2
    ListName,
    Count_, // the last one
};

/// The text in the person's language: English, German, French or Japanese.
QString words(Text text);
QString words(Text text, const QString& first);

/// The languages that there are, as codes; words() speaks the first until another is chosen.
enum class Language { English, German, French, Japanese };
void speak(Language language);
/// The best one for the person; also sets the locale of numbers and dates.
void speakPersonsLanguage();

} // namespace braid::window
