// The desktop-entry reader on private XDG data folders: which files count and
// under which id, what an entry says, its Exec line, and a window's entry.
#include "base/desktop_entries.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "support_lib/fake_environment.h"
#include "support_lib/temp_dir.h"

namespace kernova {
namespace {

using Environment = std::map<std::string, std::string>;
using testing::environmentOf;

std::string app(const std::string& name, const std::string& more = "") {
    return "[Desktop Entry]\nType=Application\nName=" + name + "\n" + more;
}

std::vector<std::string> idsOf(const DesktopEntries& entries) {
    std::vector<std::string> ids;
    for (const DesktopEntry& e : entries.entries())
        ids.push_back(e.id);
    return ids;
}

std::vector<std::string> namesOf(const std::vector<const DesktopEntry*>& list) {
    std::vector<std::string> names;
    for (const DesktopEntry* e : list)
        names.push_back(e->name);
    return names;
}

TEST(DesktopEntries, FoldersIdsPrecedenceHiddenAndBrokenFiles) {
    testing::TempDir dir;
    const std::string home = (dir / "home").string(), first = (dir / "first").string(),
                      second = (dir / "second").string();
    // The data home wins over the data dirs, and the first data dir over the next.
    dir.write("home/applications/editor.desktop", app("Home editor"));
    dir.write("first/applications/editor.desktop", app("System editor"));
    dir.write("first/applications/viewer.desktop", app("First viewer"));
    dir.write("second/applications/viewer.desktop", app("Second viewer"));
    // Subfolders join the id with "-".
    dir.write("second/applications/org/example/Tool.desktop", app("Tool"));
    // Hidden=true removes the id, from later folders too.
    dir.write("home/applications/gone.desktop", "[Desktop Entry]\nHidden=true\n");
    dir.write("first/applications/gone.desktop", app("Gone"));
    // Not applications, not desktop files, or broken: skipped without harm.
    dir.write("first/applications/link.desktop", "[Desktop Entry]\nType=Link\nName=L\nURL=x\n");
    dir.write("first/applications/noname.desktop", "[Desktop Entry]\nType=Application\n");
    dir.write("first/applications/notes.txt", app("Text file"));
    dir.write("first/applications/binary.desktop", std::string("[Desktop Entry]\0\x01\xff", 18));
    dir.write("first/applications/garbage.desktop",
              "\x7f"
              "ELF\x02\x01\x01 just bytes ]]]==[[");
    dir.write("first/applications/huge.desktop",
              app("Huge", std::string(kMaxDesktopFileBytes, '#')));
    dir.write("first/applications/late.desktop", "[Other]\nA=b\n" + app("Late group"));
    dir.write("first/applications/empty.desktop", "");

    Environment env{{"XDG_DATA_HOME", home},
                    {"XDG_DATA_DIRS", first + ":relative/ignored:" + second},
                    {"HOME", "/nonexistent"}};
    DesktopEntries entries = DesktopEntries::load(environmentOf(env));
    EXPECT_EQ(idsOf(entries), (std::vector<std::string>{
                                  "editor.desktop", "org-example-Tool.desktop", "viewer.desktop"}));
    ASSERT_NE(entries.find("editor.desktop"), nullptr);
    EXPECT_EQ(entries.find("editor")->name, "Home editor");
    EXPECT_EQ(entries.find("editor")->path, dir / "home/applications/editor.desktop");
    EXPECT_EQ(entries.find("viewer")->name, "First viewer");
    EXPECT_EQ(entries.find("org-example-Tool")->name, "Tool");
    EXPECT_EQ(entries.find("gone"), nullptr);
    EXPECT_EQ(entries.find(""), nullptr);
    EXPECT_EQ(entries.find(".desktop"), nullptr);

    // The folders: defaults, and relative paths ignored.
    using Paths = std::vector<std::filesystem::path>;
    EXPECT_EQ(DesktopEntries::applicationFolders(environmentOf({{"HOME", "/h"}})),
              (Paths{"/h/.local/share/applications", "/usr/local/share/applications",
                     "/usr/share/applications"}));
    EXPECT_EQ(DesktopEntries::applicationFolders(environmentOf(
                  {{"HOME", "/h"}, {"XDG_DATA_HOME", "rel"}, {"XDG_DATA_DIRS", "/a:b:/c/"}})),
              (Paths{"/h/.local/share/applications", "/a/applications", "/c/applications"}));
    EXPECT_EQ(DesktopEntries::applicationFolders(environmentOf({{"XDG_DATA_DIRS", ""}})),
              (Paths{"/usr/local/share/applications", "/usr/share/applications"}));

    EXPECT_TRUE(sameDesktopEntryId("org.a.B", "org.a.B.desktop"));
    EXPECT_TRUE(sameDesktopEntryId("org.a.B.desktop", "org.a.B.desktop"));
    EXPECT_FALSE(sameDesktopEntryId("org.a.B", "org.a.C.desktop"));
    EXPECT_FALSE(sameDesktopEntryId("", ""));
}

TEST(DesktopEntries, FieldsLocalizedNamesEscapesAndVisibility) {
    const std::string text =
        "# a comment\n"
        "\n"
        "[Desktop Entry]\r\n"
        "Type = Application\n"
        "Name=Editor\n"
        "Name[de]=Bearbeiter\n"
        "Name[sr@latin]=Urednik latinicom\n"
        "Name[sr_RS]=Уредник\n"
        "Name[sr_RS@latin]=Urednik (RS)\n"
        "Name[pt_BR.UTF-8]=Editor BR\n"
        "Icon=ed\\sicon\n"
        "Exec=ed\\tit\\nnow \\\\ \\r\n"
        "StartupWMClass=EdClass\n"
        "MimeType=text/plain;text/x-c\\;odd;;\n"
        "this line is malformed\n"
        "Bad Key=1\n"
        "Name=Second name ignored\n"
        "[Desktop Action new]\n"
        "Name=Not this one\n";
    auto nameIn = [&](Environment env) {
        std::optional<DesktopEntry> e = parseDesktopEntry(text, environmentOf(std::move(env)));
        return e ? e->name : std::string("(none)");
    };
    EXPECT_EQ(nameIn({}), "Editor");
    EXPECT_EQ(nameIn({{"LANG", "C"}}), "Editor");
    EXPECT_EQ(nameIn({{"LANG", "de_DE.UTF-8"}}), "Bearbeiter");
    EXPECT_EQ(nameIn({{"LANG", "sr_RS.UTF-8@latin"}}), "Urednik (RS)");
    EXPECT_EQ(nameIn({{"LANG", "sr_ME@latin"}}), "Urednik latinicom");
    EXPECT_EQ(nameIn({{"LANG", "sr_RS"}}), "Уредник");
    EXPECT_EQ(nameIn({{"LANG", "sr"}}), "Editor");
    EXPECT_EQ(nameIn({{"LANG", "pt_BR"}}), "Editor BR");
    // LC_ALL, then LC_MESSAGES, then LANG; an empty one does not count.
    EXPECT_EQ(nameIn({{"LC_ALL", "de"}, {"LC_MESSAGES", "sr_RS"}, {"LANG", "fr"}}), "Bearbeiter");
    EXPECT_EQ(nameIn({{"LC_ALL", ""}, {"LC_MESSAGES", "sr_RS"}, {"LANG", "de"}}), "Уредник");

    std::optional<DesktopEntry> e = parseDesktopEntry(text, environmentOf({}));
    ASSERT_TRUE(e);
    EXPECT_EQ(e->icon, "ed icon");
    EXPECT_EQ(e->exec, "ed\tit\nnow \\ \r");
    EXPECT_EQ(e->startupWMClass, "EdClass");
    EXPECT_EQ(e->mimeTypes, (std::vector<std::string>{"text/plain", "text/x-c;odd"}));
    EXPECT_FALSE(e->noDisplay);
    EXPECT_TRUE(e->shownHere);
    // [Desktop Entry] must come first; a file without it is none.
    EXPECT_FALSE(parseDesktopEntry("[Other]\nA=b\n" + app("X"), environmentOf({})));
    EXPECT_FALSE(parseDesktopEntry("Type=Application\nName=X\n", environmentOf({})));
    bool hidden = false;
    EXPECT_FALSE(parseDesktopEntry(app("X", "Hidden=true\n"), environmentOf({}), &hidden));
    EXPECT_TRUE(hidden);

    // OnlyShowIn / NotShowIn against the colon-separated current desktops.
    auto shown = [](const std::string& keys, const std::string& current) {
        Environment env;
        if (!current.empty()) env["XDG_CURRENT_DESKTOP"] = current;
        return parseDesktopEntry(app("X", keys), environmentOf(env))->shownHere;
    };
    EXPECT_TRUE(shown("OnlyShowIn=GNOME;KDE;\n", "ubuntu:GNOME"));
    EXPECT_FALSE(shown("OnlyShowIn=KDE;\n", "ubuntu:GNOME"));
    EXPECT_FALSE(shown("OnlyShowIn=KDE;\n", ""));
    EXPECT_FALSE(shown("NotShowIn=GNOME;\n", "ubuntu:GNOME"));
    EXPECT_TRUE(shown("NotShowIn=GNOME;\n", "XFCE"));
    EXPECT_TRUE(shown("NotShowIn=GNOME;\n", ""));

    // Listing by type: visible entries only, by name.
    testing::TempDir dir;
    const std::string mime = "MimeType=text/plain;\n";
    dir.write("applications/zed.desktop", app("Zed", mime));
    dir.write("applications/abc.desktop", app("Bee", "MimeType=Text/Plain\n"));
    dir.write("applications/aaa.desktop", app("Ant", mime + "NoDisplay=true\n"));
    dir.write("applications/kde.desktop", app("Kay", mime + "OnlyShowIn=KDE;\n"));
    dir.write("applications/other.desktop", app("Cat", "MimeType=image/png;\n"));
    DesktopEntries entries =
        DesktopEntries::load(environmentOf({{"XDG_DATA_HOME", dir.path().string()},
                                            {"XDG_DATA_DIRS", "/nonexistent"},
                                            {"XDG_CURRENT_DESKTOP", "GNOME"}}));
    EXPECT_EQ(namesOf(entries.handling("text/plain")), (std::vector<std::string>{"Bee", "Zed"}));
    EXPECT_EQ(namesOf(entries.handling("image/png")), (std::vector<std::string>{"Cat"}));
    EXPECT_TRUE(entries.handling("audio/ogg").empty());
    ASSERT_NE(entries.find("aaa"), nullptr);
    EXPECT_TRUE(entries.find("aaa")->noDisplay);
    EXPECT_FALSE(entries.find("kde.desktop")->shownHere);
}

TEST(DesktopEntries, ExecQuotingAndFieldCodes) {
    using Args = std::vector<std::string>;
    EXPECT_EQ(splitExec("  prog  a\tb "), (Args{"prog", "a", "b"}));
    EXPECT_EQ(splitExec(R"("/opt/My App/run" "a \"q\" \` \$ \\ x" "" end)"),
              (Args{"/opt/My App/run", "a \"q\" ` $ \\ x", "", "end"}));
    EXPECT_EQ(splitExec(R"(pre"mid dle"post)"), (Args{"premid dlepost"}));
    EXPECT_EQ(splitExec("unquoted\\ space"), (Args{"unquoted space"}));
    EXPECT_FALSE(splitExec("prog \"open"));
    EXPECT_EQ(splitExec(""), Args{});

    DesktopEntry e;
    e.name = "My Editor";
    e.icon = "my-icon";
    e.path = "/usr/share/applications/ed.desktop";
    auto run = [&](const std::string& exec, const Args& files) {
        e.exec = exec;
        return expandExec(e, files);
    };
    const Args two{"/tmp/a b.txt", "/tmp/c.txt"};
    EXPECT_EQ(run("ed %f", two), (Args{"ed", "/tmp/a b.txt"}));
    EXPECT_EQ(run("ed %F", two), (Args{"ed", "/tmp/a b.txt", "/tmp/c.txt"}));
    EXPECT_EQ(run("ed %u", two), (Args{"ed", "/tmp/a b.txt"}));
    EXPECT_EQ(run("ed --new %U --end", two),
              (Args{"ed", "--new", "/tmp/a b.txt", "/tmp/c.txt", "--end"}));
    EXPECT_EQ(run("ed --file=%f", two), (Args{"ed", "--file=/tmp/a b.txt"}));
    EXPECT_EQ(run("ed %f", {}), (Args{"ed"}));
    EXPECT_EQ(run("ed %F", {}), (Args{"ed"}));
    EXPECT_EQ(run("ed", two), (Args{"ed"}));  // no file code, no file
    EXPECT_EQ(run("ed %i %f", {"x"}), (Args{"ed", "--icon", "my-icon", "x"}));
    EXPECT_EQ(run("ed %c %k", {}), (Args{"ed", "My Editor", "/usr/share/applications/ed.desktop"}));
    EXPECT_EQ(run("ed 100%% \"%%\" %d %D %n %N %v %m %f", {"x"}), (Args{"ed", "100%", "%", "x"}));
    EXPECT_EQ(run("\"/opt/My App/ed\" --title \"a b\" %f", {"x"}),
              (Args{"/opt/My App/ed", "--title", "a b", "x"}));
    EXPECT_EQ(run("ed \"unclosed %f", {"x"}), Args{});
    e.icon.clear();
    e.path.clear();
    EXPECT_EQ(run("ed %i %k %f", {"x"}), (Args{"ed", "x"}));
}

TEST(DesktopEntries, WindowToEntry) {
    testing::TempDir dir;
    dir.write(
        "applications/org.example.Writer.desktop",
        app("Writer", "Exec=/opt/writer/bin/writer-bin --new %U\nStartupWMClass=WriterMain\n"));
    dir.write("applications/org.example.Paint.desktop", app("Paint", "Exec=paint %f\n"));
    dir.write("applications/gimp.desktop", app("Gimp", "Exec=\"gimp-2.10\" %U\n"));
    dir.write("applications/shell.desktop", app("Shell", "Exec=paint --shell\nNoDisplay=true\n"));
    dir.write("applications/xterm.desktop", app("XTerm", "Exec=uxterm\n"));
    DesktopEntries entries = DesktopEntries::load(
        environmentOf({{"XDG_DATA_HOME", dir.path().string()}, {"XDG_DATA_DIRS", "/nonexistent"}}));

    struct Row {
        WindowIdentity window;
        std::string id;
    };
    const std::vector<Row> table{
        // StartupWMClass against the class, then the instance.
        {{"/usr/bin/python3", "writer", "WriterMain"}, "org.example.Writer.desktop"},
        {{"", "WriterMain", "Other"}, "org.example.Writer.desktop"},
        // The executable's file name against the Exec program; visible first.
        {{"/opt/writer/bin/writer-bin", "w", "W"}, "org.example.Writer.desktop"},
        {{"/usr/bin/paint", "", ""}, "org.example.Paint.desktop"},
        {{"/usr/lib/gimp/gimp-2.10", "gimp-2.10", "Gimp-2.10"}, "gimp.desktop"},
        // The id without ".desktop" against the class or instance, any case.
        {{"/usr/bin/xterm", "xterm", "XTerm"}, "xterm.desktop"},
        {{"", "ORG.EXAMPLE.PAINT", ""}, "org.example.Paint.desktop"},
        // Nothing matches.
        {{"/usr/bin/unknown", "unknown", "Unknown"}, ""},
        {{"", "", ""}, ""},
        {{"", "writermain", "org.example"}, ""},
    };
    for (const Row& row : table) {
        EXPECT_EQ(entries.idForWindow(row.window), row.id)
            << row.window.executable << " / " << row.window.wmInstance << " / "
            << row.window.wmClass;
    }
    EXPECT_EQ(DesktopEntries().idForWindow({"/usr/bin/paint", "paint", "Paint"}), "");
}

}  // namespace
}  // namespace kernova
