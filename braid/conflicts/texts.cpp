#include "texts.h"

#include <QLocale>

#include <algorithm>
#include <array>

#include "platform/linux/user_languages.h"

namespace braid::window
{

namespace
{

constexpr std::size_t kLanguages = 4;
constexpr std::array<const char*, kLanguages> kCodes = {"en", "de", "fr", "ja"};

struct Row {
    Text text;
    std::array<const char*, kLanguages> words;
};

constexpr std::array kRows = std::to_array<Row>({
    {Text::WindowTitle, {"Conflicts and Errors", "Konflikte und Fehler", "Conflits et erreurs", "競合とエラー"}},
    {Text::HeadOne,
     {"One item needs your decision", "Ein Objekt braucht Ihre Entscheidung", "Un élément attend votre décision",
      "1 個の項目について決定が必要です"}},
    {Text::HeadMany,
     {"%1 items need your decision", "%1 Objekte brauchen Ihre Entscheidung", "%1 éléments attendent votre décision",
      "%1 個の項目について決定が必要です"}},
    {Text::HeadNone, {"Everything is decided", "Alles ist entschieden", "Tout est décidé", "すべて決定されました"}},
    {Text::Lead,
     {"Both versions are safe until you decide. A version that you do not keep stays in the trash of its home for 30 "
      "days.",
      "Beide Versionen sind sicher, bis Sie entscheiden. Eine Version, die Sie nicht behalten, bleibt 30 Tage im "
      "Papierkorb ihres Ordners.",
      "Les deux versions sont en sécurité jusqu’à votre décision. Une version que vous ne gardez pas reste 30 jours "
      "dans "
      "la corbeille de son dossier.",
      "決定するまで両方のバージョンは安全です。残さないバージョンは、元のホームのゴミ箱に 30 日間保存されます。"}},
    {Text::LeadNone,
     {"There is nothing left to do here.", "Hier ist nichts mehr zu tun.", "Il n’y a plus rien à faire ici.",
      "ここで行うことはもうありません。"}},
    {Text::ThisComputer, {"This computer", "Dieser Computer", "Cet ordinateur", "このコンピュータ"}},
    {Text::ThisComputerNamed,
     {"This computer (%1)", "Dieser Computer (%1)", "Cet ordinateur (%1)", "このコンピュータ（%1）"}},
    {Text::NetworkHome, {"Network home", "Netzwerkordner", "Dossier réseau", "ネットワークホーム"}},
    {Text::NetworkHomeFrom,
     {"Network home, from %1", "Netzwerkordner, von %1", "Dossier réseau, depuis %1", "ネットワークホーム（%1 から）"}},
    {Text::ChangedAt, {"Changed %1", "Geändert %1", "Modifié le %1", "%1 に変更"}},
    {Text::CreatedAt, {"Created %1", "Erstellt %1", "Créé le %1", "%1 に作成"}},
    {Text::Deleted, {"Deleted", "Gelöscht", "Supprimé", "削除済み"}},
    {Text::File, {"File", "Datei", "Fichier", "ファイル"}},
    {Text::Folder, {"Folder", "Ordner", "Dossier", "フォルダ"}},
    {Text::Link, {"Link", "Verweis", "Lien", "リンク"}},
    {Text::Special, {"Special item", "Besonderes Objekt", "Élément spécial", "特殊な項目"}},
    {Text::BothChanged,
     {"Changed on both sides", "Auf beiden Seiten geändert", "Modifié des deux côtés", "両側で変更されました"}},
    {Text::BothCreated,
     {"Created on both sides, with different content", "Auf beiden Seiten neu, mit verschiedenem Inhalt",
      "Créé des deux côtés, avec un contenu différent", "両側で異なる内容で作成されました"}},
    {Text::DeletedHere,
     {"Deleted on this computer, changed in the network home", "Hier gelöscht, im Netzwerkordner geändert",
      "Supprimé sur cet ordinateur, modifié dans le dossier réseau",
      "このコンピュータで削除、ネットワークホームで変更されました"}},
    {Text::DeletedThere,
     {"Changed on this computer, deleted in the network home", "Hier geändert, im Netzwerkordner gelöscht",
      "Modifié sur cet ordinateur, supprimé dans le dossier réseau",
      "このコンピュータで変更、ネットワークホームで削除されました"}},
    {Text::FolderDeletedHere,
     {"Folder deleted on this computer, something in it changed in the network home",
      "Ordner hier gelöscht, etwas darin im Netzwerkordner geändert",
      "Dossier supprimé sur cet ordinateur, contenu modifié dans le dossier réseau",
      "このコンピュータで削除されたフォルダの中身がネットワークホームで変更されました"}},
    {Text::FolderDeletedThere,
     {"Folder deleted in the network home, something in it changed on this computer",
      "Ordner im Netzwerkordner gelöscht, etwas darin hier geändert",
      "Dossier supprimé dans le dossier réseau, contenu modifié sur cet ordinateur",
      "ネットワークホームで削除されたフォルダの中身がこのコンピュータで変更されました"}},
    {Text::OtherKinds,
     {"Became something else on one side", "Auf einer Seite etwas anderes geworden", "Devenu autre chose d’un côté",
      "片側で別の種類の項目になりました"}},
    {Text::MassDeletion,
     {"More than half of a home’s items are about to be deleted on the other side. They were left where they are.",
      "Mehr als die Hälfte eines Ordners würde auf der anderen Seite gelöscht. Alles blieb, wo es ist.",
      "Plus de la moitié des éléments allaient être supprimés de l’autre côté. Rien n’a été touché.",
      "ホームの半分以上の項目が反対側で削除されるところでした。項目はそのまま残されています。"}},
    {Text::MassDeletionName,
     {"Deletion of most items", "Löschen der meisten Objekte", "Suppression de la plupart des éléments",
      "大半の項目の削除"}},
    {Text::NameCollision,
     {"One of the homes cannot tell this name from that of another item in the folder. Rename one of the two.",
      "Einer der Ordner kann diesen Namen nicht von dem eines anderen Objekts unterscheiden. Benennen Sie eines um.",
      "L’un des dossiers ne distingue pas ce nom de celui d’un autre élément. Renommez l’un des deux.",
      "一方のホームでは、この名前と同じフォルダの別の項目の名前を区別できません。どちらかの名前を変更してください。"}},
    {Text::Differs,
     {"Differs on both sides", "Auf beiden Seiten verschieden", "Différent des deux côtés", "両側で異なります"}},
    {Text::NotSynced,
     {"Could not be synced", "Nicht synchronisiert", "N’a pas pu être synchronisé", "同期できませんでした"}},
    {Text::WholeHome, {"The home as a whole", "Der ganze Ordner", "Le dossier entier", "ホーム全体"}},
    {Text::KeepLocal,
     {"Keep &this computer’s", "Die &lokale behalten", "Garder la &version locale", "このコンピュータを残す(&T)"}},
    {Text::KeepNetwork,
     {"Keep the &network’s", "Die vom &Netzwerk behalten", "Garder celle du &réseau", "ネットワークを残す(&N)"}},
    {Text::KeepBoth, {"Keep &both", "&Beide behalten", "Garder les &deux", "両方を残す(&B)"}},
    {Text::DeleteBoth,
     {"&Delete on both sides", "Auf beiden Seiten &löschen", "&Supprimer des deux côtés", "両側で削除(&D)"}},
    {Text::BringBack, {"B&ring it back", "Zurück&holen", "Resta&urer", "元に戻す(&R)"}},
    {Text::DeleteAll, {"&Delete them", "Alle &löschen", "Les &supprimer", "すべて削除(&D)"}},
    {Text::RestoreAll, {"B&ring everything back", "Alles zurück&holen", "Tout resta&urer", "すべて元に戻す(&R)"}},
    {Text::Retry, {"Try a&gain", "&Erneut versuchen", "Rée&ssayer", "再試行(&G)"}},
    {Text::SetAside, {"Set &aside", "&Zurückstellen", "Mettre de cô&té", "保留(&A)"}},
    {Text::TakeBack,
     {"No longer set &aside", "Nicht &mehr zurückstellen", "Ne plus mettre de cô&té", "保留を解除(&A)"}},
    {Text::SelectedMany,
     {"%1 items selected", "%1 Objekte ausgewählt", "%1 éléments sélectionnés", "%1 個の項目を選択中"}},
    {Text::SelectedLead,
     {"Your decision applies to each of them.", "Ihre Entscheidung gilt für jedes davon.",
      "Votre décision s’applique à chacun d’eux.", "決定はそれぞれの項目に適用されます。"}},
    {Text::SelectedMixed,
     {"A version to keep is for the conflicts among them; only the errors are tried again.",
      "Eine Version zum Behalten gilt für die Konflikte darunter; nur die Fehler werden erneut versucht.",
      "La version à garder concerne les conflits ; seules les erreurs sont réessayées.",
      "残すバージョンの選択は競合に、再試行はエラーにだけ適用されます。"}},
    {Text::Newer, {"newer", "neuer", "plus récent", "新しい方"}},
    {Text::SelectAll, {"Select A&ll", "&Alle auswählen", "Tout sé&lectionner", "すべて選択(&L)"}},
    {Text::ShowSetAside,
     {"Sh&ow what was set aside (%1)", "Zurü&ckgestelltes zeigen (%1)", "A&fficher les éléments mis de côté (%1)",
      "保留した項目を表示（%1）(&O)"}},
    {Text::IsSetAside, {"Set aside", "Zurückgestellt", "Mis de côté", "保留中"}},
    {Text::Close, {"&Close", "&Schließen", "Fer&mer", "閉じる(&C)"}},
    {Text::CloseHint,
     {"What you leave undecided is set aside until it changes.",
      "Was Sie offen lassen, wird zurückgestellt, bis es sich ändert.",
      "Ce que vous ne décidez pas est mis de côté jusqu’à ce qu’il change.",
      "決定しなかった項目は、変更されるまで保留されます。"}},
    {Text::Working,
     {"Carrying out your decision …", "Ihre Entscheidung wird ausgeführt …", "Votre décision est en cours d’exécution…",
      "決定を実行しています…"}},
    {Text::Failed,
     {"That did not work: %1", "Das hat nicht geklappt: %1", "Cela n’a pas fonctionné : %1",
      "実行できませんでした：%1"}},
    {Text::KeptBeside,
     {"Both were kept. The network’s version is now “%1”.",
      "Beide wurden behalten. Die Version vom Netzwerk heißt jetzt „%1“.",
      "Les deux ont été gardées. La version du réseau s’appelle maintenant « %1 ».",
      "両方を残しました。ネットワーク側の新しい名前は「%1」です。"}},
    {Text::Reading, {"Reading …", "Wird gelesen …", "Lecture…", "読み込み中…"}},
    {Text::EmptyFile, {"The file is empty.", "Die Datei ist leer.", "Le fichier est vide.", "ファイルは空です。"}},
    {Text::NoPreview, {"No preview", "Keine Vorschau", "Pas d’aperçu", "プレビューはありません"}},
    {Text::TooLarge,
     {"Too large for a preview", "Zu groß für eine Vorschau", "Trop grand pour un aperçu",
      "大きすぎるためプレビューできません"}},
    {Text::Unreadable,
     {"Cannot be read at the moment", "Zurzeit nicht lesbar", "Illisible pour le moment", "現在読み込めません"}},
    {Text::Pixels, {"%1 pixels", "%1 Pixel", "%1 pixels", "%1 ピクセル"}},
    {Text::ListName,
     {"Items that need a decision", "Objekte, die eine Entscheidung brauchen", "Éléments à décider",
      "決定が必要な項目"}},
});

constexpr bool rowsAreInOrder()
{
    for (std::size_t i = 0; i < kRows.size(); ++i) {
        if (kRows[i].text != static_cast<Text>(i)) return false;
    }
    return kRows.size() == static_cast<std::size_t>(Text::Count_);
}
static_assert(rowsAreInOrder());

Language gLanguage = Language::English;

} // namespace

QString words(Text text)
{
    return QString::fromUtf8(kRows[static_cast<std::size_t>(text)].words[static_cast<std::size_t>(gLanguage)]);
}

QString words(Text text, const QString& first)
{
    return words(text).arg(first);
}

void speak(Language language)
{
    gLanguage = language;
}

void speakPersonsLanguage()
{
    const auto languages = platform::userLanguages();
    const auto fitting = platform::matchingLocalizations({kCodes.begin(), kCodes.end()}, languages);
    const auto found = fitting.empty() ? kCodes.begin() : std::ranges::find(kCodes, fitting.front());
    gLanguage = static_cast<Language>(found == kCodes.end() ? 0 : found - kCodes.begin());
    if (!languages.empty()) QLocale::setDefault(QLocale(QString::fromStdString(languages.front())));
}

} // namespace braid::window
