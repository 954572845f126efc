// The whole path on a real X server: kernovad on a private Xvfb display, the
// panel opened by `kernova splode` and by the stock gdbus tool, tags picked
// with the mouse through xdotool, copied with the Copy button and with
// Control+C and read back from the CLIPBOARD with xclip, the panel closed by
// Escape and by a click outside it; the history sheet driven by the keyboard,
// a URL template opened by the application registered for its scheme, and a
// search shown in the panel's browser from a loopback web server and handed
// to the desktop's browser. What the panel shows is read through kernovad's
// debug query. kernovad maps no GL or web engine library until the browser
// first shows.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "base/paths.h"
#include "base/plist.h"
#include "e2e_fixture.h"
#include "loopback_http.h"
#include "support_lib/temp_dir.h"

namespace kernova::testing {
namespace {

using Texts = std::vector<std::string>;

// kernovad maps no GL or web engine library, at start or with a panel.
TEST_F(PanelEndToEnd, SplodeOpensTheBoardWithoutGLAndTheMousePicksTags) {
    EXPECT_EQ(heavyLibraries(), QStringList()) << "at start";
    ASSERT_TRUE(kernova({"splode", "alpha beta gamma delta"})) << lastError_;
    ASSERT_TRUE(waitForShown(true));
    ASSERT_TRUE(waitFor([&] { return panelWindowVisible(); }));
    EXPECT_EQ(heavyLibraries(), QStringList()) << "with a panel";
    const nlohmann::json board = shown("tags");
    ASSERT_EQ(texts(board), (Texts{"alpha", " ", "beta", " ", "gamma", " ", "delta"}));

    // A click picks one tag; a drag from alpha to beta picks the three tags
    // it crosses, in order.
    ASSERT_TRUE(click(at(board[6])));
    ASSERT_TRUE(waitForSelection({"delta"})) << ::testing::PrintToString(selection());
    ASSERT_TRUE(moveTo(at(board[0], 0.1)) && xdotool({"mousedown", "1"}));
    ASSERT_TRUE(moveTo(at(board[0], 0.9)));
    ASSERT_TRUE(waitForSelection({"delta", "alpha"})) << ::testing::PrintToString(selection());
    ASSERT_TRUE(moveTo(at(board[2])));
    ASSERT_TRUE(waitForSelection({"delta", "alpha", " ", "beta"}))
        << ::testing::PrintToString(selection());
    ASSERT_TRUE(xdotool({"mouseup", "1"}));
    const nlohmann::json after = shown("tags");
    for (auto [tag, number] : {std::pair{6u, 1}, {0u, 2}, {2u, 4}, {4u, 0}})
        EXPECT_EQ(after[tag]["selected"].get<int>(), number) << tag;

    ASSERT_TRUE(xdotool({"key", "Escape"}) && waitForShown(false));
    EXPECT_TRUE(waitFor([&] { return !panelWindowVisible(); }));
}

TEST_F(PanelEndToEnd, AStockDBusClientOpensItAndAClickOutsideClosesIt) {
    auto [status, out] =
        run(QStringLiteral("gdbus"),
            {"call", "--session", "--dest", "fun.quorle.kernova.prefs", "--object-path",
             "/fun/quorle/kernova/prefs", "--method", "fun.quorle.kernova.Messages.Send",
             "notifySplode", "true",
             QString::fromUtf8("{'callFromResponder': <true>, 'selection': <'gdbus 你好'>}")});
    ASSERT_EQ(status, 0) << out;
    ASSERT_TRUE(waitForShown(true));
    EXPECT_EQ(tags(), (Texts{"gdbus", " ", "你好"}));
    ASSERT_TRUE(waitFor([&] { return panelWindowVisible(); }));
    // The screen's corner is backdrop, outside the panel's card.
    ASSERT_TRUE(click({"3", "3"}));
    EXPECT_TRUE(waitForShown(false));
    EXPECT_TRUE(selection().empty());
}

TEST_F(PanelEndToEnd, CopyPutsThePicksOnTheClipboardInBoardOrPickOrder) {
    if (!haveTool("xclip")) GTEST_SKIP() << "needs xclip";
    for (const char* orderCopy : {"NO", "YES"}) {
        ASSERT_TRUE(kernova({"set", "orderCopy", orderCopy}));
        ASSERT_TRUE(openPanel(QStringLiteral("alpha beta gamma")));
        ASSERT_TRUE(waitFor([&] { return panelWindowVisible(); }));
        const nlohmann::json board = shown("tags");
        ASSERT_TRUE(click(at(board[4])) && waitForSelection({"gamma"}));
        ASSERT_TRUE(click(at(board[0])) && waitForSelection({"gamma", "alpha"}));
        ASSERT_TRUE(click(actionButton("Copy")));
        EXPECT_TRUE(waitForShown(false));
        const std::string expected = orderCopy == std::string("YES") ? "gammaalpha" : "alphagamma";
        EXPECT_TRUE(waitFor([&] { return clipboard() == expected; }))
            << orderCopy << ": " << clipboard();
        EXPECT_TRUE(waitFor([&] { return !panelWindowVisible(); }));
    }

    // By keyboard alone: nothing picked, Control+C copies the whole text;
    // the arrows and Space pick a tag, and Control+C copies that.
    ASSERT_TRUE(openPanel(QStringLiteral("keys copy")));
    ASSERT_TRUE(xdotool({"key", "ctrl+c"}) && waitForShown(false));
    EXPECT_TRUE(waitFor([&] { return clipboard() == "keys copy"; })) << clipboard();
    ASSERT_TRUE(openPanel(QStringLiteral("keys copy")));
    ASSERT_TRUE(xdotool({"key", "Right", "Right", "Right", "space"}));
    ASSERT_TRUE(waitForSelection({"copy"})) << ::testing::PrintToString(selection());
    ASSERT_TRUE(xdotool({"key", "ctrl+c"}));
    EXPECT_TRUE(waitFor([&] { return clipboard() == "copy"; })) << clipboard();
}

// The display is two monitors of 1024 x 768 side by side.
TEST_F(PanelEndToEnd, ThePanelOpensOnTheMonitorUnderThePointer) {
    for (int monitor : {1, 0}) {
        ASSERT_TRUE(moveTo({QString::number(monitor * 1024 + 500), "300"}));
        ASSERT_TRUE(openPanel(QStringLiteral("which monitor")));
        const nlohmann::json card = shown("card");
        // 430 points wide, centred; 40 points shorter than the monitor.
        EXPECT_EQ(card["x"].get<double>(), monitor * 1024 + (1024 - 430) / 2) << monitor;
        EXPECT_EQ(card["y"].get<double>(), 20);
        EXPECT_EQ(card["height"].get<double>(), 768 - 40);
        ASSERT_TRUE(xdotool({"key", "Escape"}) && waitForShown(false));
    }
}

// Writes `items` into the preferences file `name` as its "items".
SaveResult saveItems(const char* name, Array items) {
    return savePropertyList(preferencesDirectory(processEnvironment()) / name,
                            Value(Dictionary{{"items", Value(std::move(items))}}));
}

// "showHistory" lists the history file in a sheet the keyboard drives; Enter
// on the first entry opens a panel on it.
TEST_F(PanelEndToEnd, TheHistorySheetOpensAPanelOnTheEntryPickedByKeyboard) {
    ASSERT_TRUE(
        saveItems("fun.quorle.kernova.history.plist", {Value("first entry"), Value("older")}));
    ASSERT_TRUE(kernova({"send", "showHistory"}));
    ASSERT_TRUE(waitFor([&] {
        const nlohmann::json alerts = shown("alerts");
        return !alerts.empty() && alerts.back()["title"] == "<==History==>";
    }));
    EXPECT_EQ(shown("alerts").back()["buttons"],
              nlohmann::json::array({"first entry", "older", "取消"}));
    ASSERT_TRUE(keepsKeyboard("<==History==>")) << "the sheet has the keyboard";
    ASSERT_TRUE(xdotool({"key", "Down", "Up", "Return"}));
    ASSERT_TRUE(waitForShown(true));
    EXPECT_EQ(tags(), (Texts{"first", " ", "entry"}));
    EXPECT_TRUE(shown("alerts").empty());
}

// A private home, data and config folder where one recorder program, which
// notes the URLs it is given in `opened`, handles `kernovatest:`, http and
// https (for xdg-open and for kernovad's own lookup); the loopback web server
// answers /watch with a page whose button asks for full screen, and anything
// else with a page of results.
class BrowserEndToEnd : public PanelEndToEnd {
  protected:
    void SetUp() override {
        PanelEndToEnd::SetUp();
        if (HasFatalFailure() || IsSkipped()) return;
        root.write("record-url",
                   "#!/bin/sh\nprintf '%s\\n' \"$1\" >> '" + (root / "opened").string() + "'\n");
        std::filesystem::permissions(root / "record-url", std::filesystem::perms::owner_all);
        std::string types, defaults;
        for (const char* scheme : {"kernovatest", "http", "https"}) {
            types += std::string("x-scheme-handler/") + scheme + ";";
            defaults +=
                std::string("x-scheme-handler/") + scheme + "=kernova-test-browser.desktop\n";
        }
        root.write("data/applications/kernova-test-browser.desktop",
                   "[Desktop Entry]\nType=Application\nName=Test Browser\nExec=" +
                       (root / "record-url").string() + " %u\nMimeType=" + types + "\n");
        root.write("config/mimeapps.list", "[Default Applications]\n" + defaults);
        std::filesystem::create_directories(root / "home");
        for (auto [variable, folder] :
             {std::pair{"HOME", "home"}, {"XDG_DATA_HOME", "data"}, {"XDG_CONFIG_HOME", "config"}})
            env_.insert(QString::fromLatin1(variable),
                        QString::fromStdString((root / folder).string()));
        env_.remove(QStringLiteral("XDG_CACHE_HOME"));
        ASSERT_TRUE(restartDaemon());
        ASSERT_NE(web.port(), 0);
    }

    std::vector<std::string> opened() {
        std::ifstream in(root / "opened");
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);)
            lines.push_back(line);
        return lines;
    }
    bool setSearchEngine(const char* path) {
        return kernova(
            {"set", "SearchEngine", QString::fromLatin1(web.url(path)) + QStringLiteral("?q=%s")});
    }
    // Clicks Search and waits until the page has loaded.
    bool search() {
        auto loaded = [&] {
            nlohmann::json b = shown("browser");
            return b.is_object() && !b["loading"].get<bool>() && !b["spinning"].get<bool>();
        };
        return click(actionButton("Search")) && waitFor(loaded, 30000);
    }

    TempDir root;
    LoopbackHttpServer web{[](const LoopbackRequest& request) {
        if (request.line.starts_with("GET /watch"))
            return LoopbackAnswer{
                200, "text/html",
                "<html><body style='margin:0'><button style='position:fixed;inset:0;width:100%;"
                "height:100%' onclick='document.documentElement.requestFullscreen()'>Play</button>"
                "</body></html>"};
        return LoopbackAnswer{200, "text/html",
                              "<html><head><title>Results</title></head><body><h1>Results</h1>"
                              "</body></html>"};
    }};
};

// The files under `folder`, relative to it.
std::vector<std::string> filesUnder(const std::filesystem::path& folder) {
    std::vector<std::string> files;
    std::error_code ec;
    for (auto it = std::filesystem::recursive_directory_iterator(folder, ec);
         !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec))
        files.push_back(std::filesystem::relative(it->path(), folder).string());
    return files;
}

// A URL template goes to the application registered for its scheme. Search
// shows the loopback server's page in the panel; the keys reach the panel
// from inside the page; "open in browser" hands the page to the desktop's
// handler for http; and nothing of the engine lands in the home folder.
TEST_F(BrowserEndToEnd, UrlTemplatesAndSearchPagesGoToTheDesktopsHandlers) {
    ASSERT_TRUE(saveItems("fun.quorle.kernova.schemes.plist",
                          {Value(Dictionary{{"name", Value("Test")},
                                            {"scheme", Value("kernovatest://open?q=%s#top")}})}));
    ASSERT_TRUE(setSearchEngine("/search"));
    ASSERT_TRUE(openPanel(QString::fromUtf8("hello 世界")));
    ASSERT_TRUE(waitFor([&] { return panelWindowVisible(); }));
    ASSERT_TRUE(click(actionButton("UrlScheme")));
    EXPECT_TRUE(waitFor([&] { return !opened().empty(); }, 20000));
    EXPECT_EQ(opened(),
              std::vector<std::string>{"kernovatest://open?q=hello%20%E4%B8%96%E7%95%8C%23top"});

    // Find, then Escape twice: the field first, then the panel.
    ASSERT_TRUE(openPanel(QString::fromUtf8("R&D 中")));
    EXPECT_EQ(heavyLibraries(), QStringList()) << "no engine before the browser";
    ASSERT_TRUE(search()) << shown("browser").dump();
    const std::string page = web.url("/search?q=R%26D%20%E4%B8%AD").toStdString();
    EXPECT_EQ(shown("browser")["url"], page);
    EXPECT_EQ(web.requests().back().line, "GET /search?q=R%26D%20%E4%B8%AD HTTP/1.1");
    const nlohmann::json card = shown("card"), webView = shown("browser")["webView"];
    EXPECT_EQ(webView["y"].get<double>(), card["y"].get<double>() + 50);
    EXPECT_EQ(webView["height"].get<double>(), card["height"].get<double>() - 100);
    auto findBar = [&] { return shown("browser")["findBar"].get<bool>(); };
    ASSERT_TRUE(xdotool({"key", "ctrl+f"}) && waitFor(findBar));
    ASSERT_TRUE(xdotool({"key", "Escape"}) && waitFor([&] { return !findBar(); }));
    EXPECT_TRUE(shown("shown").get<bool>());
    ASSERT_TRUE(xdotool({"key", "Escape"}) && waitForShown(false));

    ASSERT_TRUE(openPanel(QString::fromUtf8("R&D 中")));
    ASSERT_TRUE(search());
    ASSERT_TRUE(click(at(shown("browser")["openUrl"])));
    EXPECT_TRUE(waitForShown(false));
    EXPECT_TRUE(waitFor([&] { return opened().size() == 2; }, 20000));
    EXPECT_EQ(opened().back(), page);
    EXPECT_EQ(filesUnder(root / "home"), std::vector<std::string>{});
    EXPECT_EQ(filesUnder(root / "data"),
              (Texts{"applications", "applications/kernova-test-browser.desktop"}));
}

TEST_F(BrowserEndToEnd, APagesFullScreenButtonParksThePanelAndEscapeBringsItBack) {
    ASSERT_TRUE(setSearchEngine("/watch"));
    // The page's full-screen window: its X geometry, or nothing.
    auto playerWindow = [&]() -> std::optional<std::string> {
        auto [status, id] = run(QStringLiteral("xdotool"),
                                {"search", "--onlyvisible", "--name", "^Kernova full screen$"});
        if (status != 0 || id.empty()) return std::nullopt;
        return run(QStringLiteral("xdotool"),
                   {"getwindowgeometry", "--shell", QString::fromStdString(id).split('\n')[0]})
            .second;
    };

    ASSERT_TRUE(openPanel(QStringLiteral("play it")));
    const std::vector<std::string> before = tags();
    ASSERT_TRUE(search()) << shown("browser").dump();
    const std::string url = shown("browser")["url"];
    const nlohmann::json card = shown("card");

    ASSERT_TRUE(click(at(shown("browser")["webView"])));
    ASSERT_TRUE(waitFor([&] {
        auto s = state();
        return s && (*s)["parked"].get<bool>() && !(*s)["shown"].get<bool>() &&
               (*s)["browser"]["fullScreen"].get<bool>() && playerWindow();
    })) << (state() ? state()->dump() : "(no state)");
    // It fills the panel's monitor.
    const std::string geometry = playerWindow().value_or("");
    auto value = [&](const std::string& key) {
        const std::size_t at = geometry.find(key + "=");
        return at == std::string::npos ? -1.0 : std::stod(geometry.substr(at + key.size() + 1));
    };
    const double scale = shown("devicePixelRatio").get<double>();
    const double x = card["x"].get<double>(), y = card["y"].get<double>();
    EXPECT_LE(value("X"), x * scale) << geometry;
    EXPECT_LE(value("Y"), y * scale) << geometry;
    EXPECT_GE(value("X") + value("WIDTH"), (x + card["width"].get<double>()) * scale) << geometry;
    EXPECT_GE(value("Y") + value("HEIGHT"), (y + card["height"].get<double>()) * scale) << geometry;

    ASSERT_TRUE(xdotool({"key", "Escape"}));
    ASSERT_TRUE(waitFor([&] {
        auto s = state();
        return s && (*s)["shown"].get<bool>() && !(*s)["browser"]["fullScreen"].get<bool>() &&
               !playerWindow();
    })) << (state() ? state()->dump() : "(no state)");
    EXPECT_EQ(tags(), before);
    EXPECT_EQ(shown("browser")["url"], url);
    EXPECT_EQ(
        std::count_if(web.requests().begin(), web.requests().end(),
                      [](const LoopbackRequest& r) { return r.line.starts_with("GET /watch"); }),
        1)
        << "the same page, not loaded again";
    EXPECT_TRUE(panelHasKeyboard());
    ASSERT_TRUE(xdotool({"key", "Escape"}));
    EXPECT_TRUE(waitForShown(false)) << "Escape closes the panel again";
}

}  // namespace
}  // namespace kernova::testing
