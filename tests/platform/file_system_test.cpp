#include "platform/linux/file_system.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "platform/linux/user_formats.h"
#include "platform/system_root.h"
#include "tests/fakes/temp_environment.h"
#include "tests/fakes/temp_root.h"

namespace platform
{

namespace
{

using fakes::TempEnvironment;
namespace fs = std::filesystem;

struct RootCase {
    const char* path;
    const char* expected;
};

const RootCase kPaths[] = {
    {"/Library/Logs", "/r/Library/Logs"},
    {"/Library", "/r/Library"},
    {"/System/Library/Hearth", "/r/System/Library/Hearth"},
    {"/Volumes/homes/jo", "/r/Volumes/homes/jo"},
    {"/Network/Servers", "/r/Network/Servers"},
    {"/Libraries", "/Libraries"},
    {"/home/jo/Library/Preferences", "/home/jo/Library/Preferences"},
    {"/dev/null", "/dev/null"},
    {"Library/Logs", "Library/Logs"},
    {"/", "/"},
    {"", ""},
};

struct SeparatorCase {
    const char* all;
    const char* numeric;
    const char* lang;
    const char* expected;
};

const SeparatorCase kSeparators[] = {
    {"", "", "", "."},
    {"", "", "C.UTF-8", "."},
    {"", "", "de_DE.UTF-8", ","},
    {"", "en_US.UTF-8", "de_DE.UTF-8", "."},
    {"fr_FR@euro", "en_US.UTF-8", "", ","},
    {"", "", "no such locale", "."},
};

} // namespace

TEST(SystemRoot, StandsBeforeProductPathsOnly)
{
    for (const char* root : {"/r", "/r//"}) {
        const TempEnvironment environment{{"ROAMER_ROOT", root}};
        for (const auto& c : kPaths)
            EXPECT_EQ(systemPath(c.path), c.expected);
    }
    const TempEnvironment environment{{"ROAMER_ROOT", "/"}};
    EXPECT_EQ(systemPath("/Library/Logs"), "/Library/Logs");
}

TEST(UserFormats, TakesTheDecimalSeparatorOfTheLocale)
{
    const auto formats = makeUserFormats();
    for (const auto& c : kSeparators) {
        const TempEnvironment environment{{"LC_ALL", c.all}, {"LC_NUMERIC", c.numeric}, {"LANG", c.lang}};
        EXPECT_EQ(formats->decimalSeparator(), c.expected) << c.all << " " << c.numeric << " " << c.lang;
    }
}

TEST(FileSystem, AnswersAboutWhatIsThere)
{
    const fakes::TempRoot root;
    const auto files = makeFileSystem();
    fakes::TempRoot::writeFile(root.real("/Volumes/homes/jo/notes.txt"), "x");
    fakes::TempRoot::writeFile(root.real("/Volumes/homes/jo/.hidden"), "x");
    fs::create_symlink("nowhere", root.real("/Volumes/homes/jo/dangling"));
    fs::create_symlink(root.real("/Volumes/homes"), root.real("/Volumes/link"));
    const std::string home = "/Volumes/homes/jo"; // below the root, and still by its product path

    EXPECT_TRUE(files->exists(home + "/notes.txt"));
    EXPECT_FALSE(files->exists(home + "/dangling"));
    EXPECT_TRUE(files->isDirectory("/Volumes/link"));
    EXPECT_FALSE(files->isDirectory(home + "/notes.txt"));
    auto names = files->contentsOfDirectory(home);
    ASSERT_TRUE(names);
    std::sort(names->begin(), names->end());
    EXPECT_EQ(*names, (std::vector<std::string>{".hidden", "dangling", "notes.txt"}));
    EXPECT_EQ(files->contentsOfDirectory(home + "/none"), std::nullopt);
    EXPECT_TRUE(files->directoryIsReadable(home));
    EXPECT_FALSE(files->directoryIsReadable(home + "/notes.txt"));

    EXPECT_TRUE(files->createDirectory(home + "/new"));
    EXPECT_FALSE(files->createDirectory(home + "/new"));
    EXPECT_FALSE(files->createDirectory(home + "/a/b"));
    EXPECT_TRUE(fs::is_directory(root.real(home + "/new")));
}

TEST(FileSystem, NamesThingsForPeople)
{
    const fakes::TempRoot root;
    const auto files = makeFileSystem();
    const std::string folder = root.path();
    for (const char* name : {"Some.app", "Some.folder", ".app", "app"})
        fs::create_directory(folder + "/" + name);
    fakes::TempRoot::writeFile(folder + "/file.app", "x");

    EXPECT_EQ(files->displayName(folder + "/Some.folder/"), "Some.folder");
    EXPECT_EQ(files->displayName(folder + "/none"), "");
    EXPECT_TRUE(files->isPackage(folder + "/Some.app"));
    for (const char* name : {"Some.folder", ".app", "app", "file.app", "none.app"})
        EXPECT_FALSE(files->isPackage(folder + "/" + name)) << name;
}

} // namespace platform
