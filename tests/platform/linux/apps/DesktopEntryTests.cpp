#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/linux/apps/AppManager.h"
#include "platform/linux/apps/DesktopEntry.h"
#include "support/TemporaryFolder.h"

namespace varkel::test {
namespace {

using Words = std::vector<std::string>;

TEST(DesktopEntry, IsReadFromItsMainGroupOnly) {
    const auto entry = parseDesktopEntry(
        "# comment\n[Desktop Entry]\nType=Application\nName = Text\\sEditor\nName[de]=Texteditor\n"
        "Exec=editor --new \"a b\" %U\r\nStartupWMClass=Editor\nPath=/tmp\n"
        "[Desktop Action x]\nExec=other\nName=Other\n");
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->name, "Text Editor");
    EXPECT_EQ(entry->command, (Words{"editor", "--new", "a b", "%U"}));
    EXPECT_EQ(entry->windowClass, "Editor");
    EXPECT_EQ(entry->workingDirectory, "/tmp");
    EXPECT_FALSE(entry->runsInTerminal);
}

TEST(DesktopEntry, ThatLaunchesNothingIsNone) {
    for (const std::string_view text :
         {"", "[Desktop Entry]\nType=Link\nExec=x\n", "[Desktop Entry]\nType=Application\n",
          "[Desktop Entry]\nType=Application\nExec=x\nHidden=true\n", "Type=Application\nExec=x\n",
          "[Desktop Entry]\nType=Application\nExec=\"x\n",
          "[Desktop Entry]\nType=Application\nExec=x\nTryExec=/no/such/program\n"}) {
        EXPECT_FALSE(parseDesktopEntry(text)) << text;
    }
}

TEST(DesktopEntry, ItsCommandIsSplitAsItIsQuotedAndFieldCodesAreFilledInOrLeftOut) {
    EXPECT_EQ(splitCommand(R"(a "b c" "d\"e" f"g"h  "")"), (Words{"a", "b c", "d\"e", "fgh", ""}));
    DesktopEntry entry;
    entry.name = "My App";
    entry.path = "/x/y.desktop";
    entry.command = {"app", "%u", "%F", "%i", "--title=%c", "100%%", "%k", "%c", "%"};
    EXPECT_EQ(expandFieldCodes(entry),
              (Words{"app", "--title=My App", "100%", "/x/y.desktop", "My App", "%"}));
}

class InstalledEntries : public testing::Test {
  protected:
    InstalledEntries() {
        setenv("XDG_DATA_HOME", (folder_ / "own").c_str(), 1);
        setenv("XDG_DATA_DIRS", (folder_ / "shared").c_str(), 1);
    }
    ~InstalledEntries() override {
        unsetenv("XDG_DATA_HOME");
        unsetenv("XDG_DATA_DIRS");
    }

    void install(const std::string& where, const std::string& extra = "") {
        folder_.write(where, "[Desktop Entry]\nType=Application\nName=N\nExec=x\n" + extra);
    }

    TemporaryFolder folder_;
};

TEST_F(InstalledEntries, AreFoundByIdentifierWithOrWithoutSuffixAndInFolders) {
    install("shared/applications/org.example.Editor.desktop");
    install("shared/applications/kde/konsole.desktop");
    for (const char* id : {"org.example.Editor", "org.example.Editor.desktop", "kde-konsole"}) {
        EXPECT_TRUE(findDesktopEntry(id)) << id;
    }
    EXPECT_EQ(findDesktopEntry("org.example.Editor.desktop")->id, "org.example.Editor");
    const std::string_view unknown[] = {"",
                                        ".",
                                        "..",
                                        "nope",
                                        "../applications/org.example.Editor",
                                        "kde/konsole",
                                        "org.example.editor",
                                        {"org\0", 4}};
    for (const std::string_view id : unknown) {
        EXPECT_FALSE(findDesktopEntry(id)) << id;
    }
    install("own/applications/org.example.Editor.desktop", "Hidden=true\n");
    EXPECT_FALSE(findDesktopEntry("org.example.Editor")) << "the user's hide those of the system";
}

TEST_F(InstalledEntries, AreFoundByTheNameThatMenusShow) {
    install("shared/applications/kde/files.desktop", "Name=later lines do not count\n");
    install("shared/applications/other.desktop", "\n[Desktop Action n]\nName=Other\n");
    EXPECT_EQ(findDesktopEntryByName("n")->id, "kde-files");
    install("own/applications/kde-files.desktop", "Hidden=true\n");
    EXPECT_EQ(findDesktopEntryByName("N")->id, "other");
    for (const std::string_view unknown : {"", "Other", "NN", "\xFF"}) {
        EXPECT_FALSE(findDesktopEntryByName(unknown)) << unknown;
    }
}

TEST(AppIdentity, RecognisesWindowsByAnyOfTheirNames) {
    const AppIdentity identity{"org.example.Editor", "ExampleEditor", {"exedit"}};
    const std::tuple<const char*, const char*, const char*, bool> cases[] = {
        {"", "", "org.example.Editor", true},
        {"org.example.editor", "X", "", true},
        {"x", "exampleeditor", "", true},
        {"exedit", "Exedit", "", true},
        {"editor", "Editor", "", false},
        {"", "", "", false},
        {"exedit2", "Exedit2", "org.other", false},
        {"\xFF", "\xFF", "\xFF", false},
    };
    for (const auto& [instance, name, application, belongs] : cases) {
        EXPECT_EQ(belongsTo({1, std::nullopt, instance, name, application}, identity), belongs)
            << instance << " " << name << " " << application;
    }
}

}  // namespace
}  // namespace varkel::test
