// The whole path on a real X server: kernovad on a private Xvfb display, the
// panel opened by `kernova splode` and by the stock gdbus tool, tags picked
// with the mouse through xdotool, copied with the Copy button and with
// Control+C and read back from the CLIPBOARD with xclip, the panel closed by
// Escape and by a click outside it; and the hotkey's command on another
// application's selection; the history sheet driven by the keyboard, a URL
// template opened by the application registered for its scheme, and a search
// shown in the panel's browser from a loopback web server and handed to the
// desktop's browser. What the panel shows is read through kernovad's debug
// query. kernovad maps no GL or web engine library until the browser first
// shows.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "desktop/dbus_messaging.h"
#include "desktop_support.h"
#include "e2e_fixture.h"
#include "loopback_http.h"
#include "support_lib/temp_dir.h"

namespace kernova::testing {
namespace {

// kernovad maps no GL or web engine library, at start or with a panel.
TEST_F(PanelEndToEnd, SplodeOpensTheBoardWithoutGLAndTheMousePicksTags) {
    EXPECT_EQ(heavyLibraries(), QStringList()) << "at start";
    auto [status, out] =
        run(desktopCliPath(), {"splode", QString::fromUtf8("alpha beta gamma delta")});
    ASSERT_EQ(status, 0) << out;
    ASSERT_TRUE(waitForShown(true));
    ASSERT_TRUE(waitFor([&] { return panelWindowVisible(); }));
    EXPECT_EQ(heavyLibraries(), QStringList()) << "with a panel";
    nlohmann::json tags = (*state())["tags"];
    ASSERT_EQ(texts(tags),
              (std::vector<std::string>{"alpha", " ", "beta", " ", "gamma", " ", "delta"}));

    // A click picks one tag.
    ASSERT_TRUE(moveTo(at(tags[6])));
    ASSERT_TRUE(xdotool({"click", "1"}));
    ASSERT_TRUE(waitForSelection({"delta"})) << ::testing::PrintToString(selection());

    // A drag from alpha to beta picks the three tags it crosses, in order.
    ASSERT_TRUE(moveTo(at(tags[0], 0.1)));
    ASSERT_TRUE(xdotool({"mousedown", "1"}));
    ASSERT_TRUE(moveTo(at(tags[0], 0.9)));
    ASSERT_TRUE(waitForSelection({"delta", "alpha"})) << ::testing::PrintToString(selection());
    ASSERT_TRUE(moveTo(at(tags[2])));
    ASSERT_TRUE(waitForSelection({"delta", "alpha", " ", "beta"}))
        << ::testing::PrintToString(selection());
    ASSERT_TRUE(xdotool({"mouseup", "1"}));
    nlohmann::json after = (*state())["tags"];
    EXPECT_EQ(after[6]["selected"].get<int>(), 1);
    EXPECT_EQ(after[0]["selected"].get<int>(), 2);
    EXPECT_EQ(after[2]["selected"].get<int>(), 4);
    EXPECT_EQ(after[4]["selected"].get<int>(), 0);

    ASSERT_TRUE(xdotool({"key", "Escape"}));
    EXPECT_TRUE(waitForShown(false));
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
    EXPECT_EQ(texts((*state())["tags"]), (std::vector<std::string>{"gdbus", " ", "你好"}));
    ASSERT_TRUE(waitFor([&] { return panelWindowVisible(); }));

    // The screen's corner is backdrop, outside the panel's card.
    ASSERT_TRUE(moveTo({"3", "3"}));
    ASSERT_TRUE(xdotool({"click", "1"}));
    EXPECT_TRUE(waitForShown(false));
    EXPECT_TRUE(selection().empty());
}

TEST_F(PanelEndToEnd, CopyPutsThePicksOnTheClipboardInBoardOrPickOrder) {
    if (!haveTool("xclip")) GTEST_SKIP() << "needs xclip";
    for (const char* orderCopy : {"NO", "YES"}) {
        ASSERT_EQ(run(desktopCliPath(), {"set", "orderCopy", orderCopy}).first, 0);
        ASSERT_TRUE(openPanel(QStringLiteral("alpha beta gamma")));
        ASSERT_TRUE(waitFor([&] { return panelWindowVisible(); }));
        nlohmann::json tags = (*state())["tags"];
        ASSERT_TRUE(click(at(tags[4])));
        ASSERT_TRUE(waitForSelection({"gamma"}));
        ASSERT_TRUE(click(at(tags[0])));
        ASSERT_TRUE(waitForSelection({"gamma", "alpha"}));
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
    ASSERT_TRUE(panelHasKeyboard());
    ASSERT_TRUE(xdotool({"key", "ctrl+c"}));
    EXPECT_TRUE(waitForShown(false));
    EXPECT_TRUE(waitFor([&] { return clipboard() == "keys copy"; })) << clipboard();
    ASSERT_TRUE(openPanel(QStringLiteral("keys copy")));
    ASSERT_TRUE(panelHasKeyboard());
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
        const nlohmann::json card = (*state())["card"];
        // 430 points wide, centred; 40 points shorter than the monitor.
        EXPECT_EQ(card["x"].get<double>(), monitor * 1024 + (1024 - 430) / 2) << monitor;
        EXPECT_EQ(card["y"].get<double>(), 20);
        EXPECT_EQ(card["height"].get<double>(), 768 - 40);
        ASSERT_TRUE(panelHasKeyboard());
        ASSERT_TRUE(xdotool({"key", "Escape"}));
        ASSERT_TRUE(waitForShown(false));
    }
}

TEST_F(PanelEndToEnd, TheHotkeyCommandOpensThePrimarySelection) {
    if (!haveTool("xclip")) GTEST_SKIP() << "needs xclip";
    // Another application owns the PRIMARY selection, as after the user
    // selects text in it.
    QProcess owner;
    owner.setProcessEnvironment(env_);
    owner.start(QStringLiteral("xclip"), {"-quiet", "-selection", "primary"});
    ASSERT_TRUE(owner.waitForStarted());
    owner.write(QString::fromUtf8("selected 文字").toUtf8());
    owner.closeWriteChannel();
    ASSERT_TRUE(waitFor([&] {
        return run(QStringLiteral("xclip"), {"-o", "-selection", "primary"}).second ==
               "selected 文字";
    }));
    auto [status, out] = run(desktopCliPath(), {"splode", "--primary"});
    EXPECT_EQ(status, 0) << out;
    EXPECT_TRUE(waitForShown(true));
    auto shown = state();
    ASSERT_TRUE(shown);
    EXPECT_EQ(texts((*shown)["tags"]), (std::vector<std::string>{"selected", " ", "文字"}));
    owner.kill();
    owner.waitForFinished();
}

QString preferencesFile(const char* name) {
    return qEnvironmentVariable("KERNOVA_PREFERENCES_DIR") + QLatin1Char('/') + QLatin1String(name);
}

bool writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(bytes) == bytes.size();
}

QByteArray itemsPlist(const QByteArray& items) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
           "<key>items</key><array>" +
           items + "</array></dict></plist>\n";
}

// "showHistory" lists the history file in a sheet the keyboard drives; Enter
// on the first entry opens a panel on it.
TEST_F(PanelEndToEnd, TheHistorySheetOpensAPanelOnTheEntryPickedByKeyboard) {
    ASSERT_TRUE(writeFile(preferencesFile("fun.quorle.kernova.history.plist"),
                          itemsPlist("<string>first entry</string><string>older</string>")));
    auto [status, out] = run(desktopCliPath(), {"send", "showHistory"});
    ASSERT_EQ(status, 0) << out;
    ASSERT_TRUE(waitFor([&] {
        auto s = state();
        return s && !(*s)["alerts"].empty() && (*s)["alerts"].back()["title"] == "<==History==>";
    }));
    EXPECT_EQ((*state())["alerts"].back()["buttons"],
              nlohmann::json::array({"first entry", "older", "取消"}));
    // The sheet has the keyboard, and keeps it (the window manager may
    // activate the window behind it once more meanwhile).
    int steady = 0;
    ASSERT_TRUE(waitFor([&] {
        const bool focused =
            run(QStringLiteral("xdotool"), {"getwindowfocus", "getwindowname"}).second ==
            "<==History==>\n";
        steady = focused ? steady + 1 : 0;
        return steady >= 5;
    })) << "the sheet has the keyboard";
    ASSERT_TRUE(xdotool({"key", "Down", "Up", "Return"}));
    ASSERT_TRUE(waitForShown(true));
    EXPECT_EQ(texts((*state())["tags"]), (std::vector<std::string>{"first", " ", "entry"}));
    EXPECT_TRUE((*state())["alerts"].empty());
}

// UrlScheme hands its URL to the application registered for the scheme.
TEST_F(PanelEndToEnd, AUrlTemplateOpensInTheApplicationRegisteredForItsScheme) {
    const QString home = qEnvironmentVariable("KERNOVA_PREFERENCES_DIR") + "/xdg";
    const QString recorder = home + "/record-url";
    const QString record = home + "/opened.txt";
    ASSERT_TRUE(QDir().mkpath(home + "/applications"));
    ASSERT_TRUE(writeFile(recorder, "#!/bin/sh\nprintf '%s' \"$1\" > \"$0.tmp\" && mv \"$0.tmp\" " +
                                        record.toUtf8() + "\n"));
    QFile(recorder).setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    ASSERT_TRUE(writeFile(
        home + "/applications/kernovatest.desktop",
        "[Desktop Entry]\nType=Application\nName=Kernova test\nExec=" + recorder.toUtf8() +
            " %u\nNoDisplay=true\nMimeType=x-scheme-handler/kernovatest;\n"));
    // For xdg-open, where installed.
    ASSERT_TRUE(writeFile(home + "/mimeapps.list",
                          "[Default Applications]\n"
                          "x-scheme-handler/kernovatest=kernovatest.desktop\n"));
    ASSERT_TRUE(writeFile(preferencesFile("fun.quorle.kernova.schemes.plist"),
                          itemsPlist("<dict><key>name</key><string>Test</string><key>scheme</key>"
                                     "<string>kernovatest://open?q=%s#top</string></dict>")));
    ASSERT_EQ(daemon_->terminate(), 0);
    env_.insert(QStringLiteral("XDG_DATA_HOME"), home);
    env_.insert(QStringLiteral("XDG_CONFIG_HOME"), home);
    daemon_ = std::make_unique<KernovadProcess>(env_);
    ASSERT_TRUE(daemon_->started());

    ASSERT_TRUE(openPanel(QString::fromUtf8("hello 世界")));
    ASSERT_TRUE(waitFor([&] { return panelWindowVisible(); }));
    ASSERT_TRUE(click(actionButton("UrlScheme")));
    EXPECT_TRUE(waitFor([&] { return QFile::exists(record); }));
    QFile opened(record);
    ASSERT_TRUE(opened.open(QIODevice::ReadOnly));
    EXPECT_EQ(opened.readAll().toStdString(),
              "kernovatest://open?q=hello%20%E4%B8%96%E7%95%8C%23top");
}

// The files under `folder`, relative to it.
std::vector<std::string> filesUnder(const std::filesystem::path& folder) {
    std::vector<std::string> files;
    std::error_code ec;
    for (auto it = std::filesystem::recursive_directory_iterator(folder, ec);
         !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec))
        files.push_back(std::filesystem::relative(it->path(), folder).string());
    return files;
}

// Search shows the loopback server's page in the panel; the keys reach the
// panel from inside the page; "open in browser" hands the page to the
// desktop's handler for http (xdg-open and a handler entry of our own); and
// nothing of the engine lands in the home folder.
TEST_F(PanelEndToEnd, SearchShowsThePageInThePanelAndHandsItToTheDesktopsBrowser) {
    if (!haveTool("xdg-open")) GTEST_SKIP() << "needs xdg-open";
    TempDir root;
    const std::filesystem::path home = root.path() / "home", data = root.path() / "data",
                                config = root.path() / "config",
                                opened = root.path() / "opened.txt";
    std::filesystem::create_directories(home);
    std::filesystem::create_directories(data / "applications");
    std::filesystem::create_directories(config);
    const std::filesystem::path recorder = root.path() / "record-url";
    std::ofstream(recorder) << "#!/bin/sh\nprintf '%s\\n' \"$1\" >> '" << opened.string() << "'\n";
    std::filesystem::permissions(recorder, std::filesystem::perms::owner_all);
    std::ofstream(data / "applications" / "kernova-test-browser.desktop")
        << "[Desktop Entry]\nType=Application\nName=Test Browser\nExec=" << recorder.string()
        << " %u\nMimeType=x-scheme-handler/http;x-scheme-handler/https;\n";
    std::ofstream(config / "mimeapps.list")
        << "[Default Applications]\nx-scheme-handler/http=kernova-test-browser.desktop\n"
           "x-scheme-handler/https=kernova-test-browser.desktop\n";

    ASSERT_EQ(daemon_->terminate(), 0);
    env_.insert(QStringLiteral("HOME"), QString::fromStdString(home.string()));
    env_.insert(QStringLiteral("XDG_DATA_HOME"), QString::fromStdString(data.string()));
    env_.insert(QStringLiteral("XDG_CONFIG_HOME"), QString::fromStdString(config.string()));
    env_.remove(QStringLiteral("XDG_CACHE_HOME"));
    daemon_ = std::make_unique<KernovadProcess>(env_);
    ASSERT_TRUE(daemon_->started());

    LoopbackHttpServer web([](const LoopbackRequest&) {
        return LoopbackAnswer{200, "text/html",
                              "<html><head><title>Results</title></head><body><h1>Results</h1>"
                              "</body></html>"};
    });
    ASSERT_NE(web.port(), 0);
    const QString engine = QStringLiteral("http://127.0.0.1:%1/search?q=%s").arg(web.port());
    ASSERT_EQ(run(desktopCliPath(), {"set", "SearchEngine", engine}).first, 0);
    const std::string page =
        "http://127.0.0.1:" + std::to_string(web.port()) + "/search?q=R%26D%20%E4%B8%AD";

    auto browser = [&] {
        auto s = state();
        return s ? (*s)["browser"] : nlohmann::json();
    };
    auto pageShown = [&] {
        return waitFor(
            [&] {
                nlohmann::json b = browser();
                return b.is_object() && b["url"] == page && !b["loading"].get<bool>() &&
                       !b["spinning"].get<bool>();
            },
            30000);
    };

    // Find, then Escape twice: the field first, then the panel.
    ASSERT_TRUE(openPanel(QString::fromUtf8("R&D 中")));
    EXPECT_EQ(heavyLibraries(), QStringList()) << "no engine before the browser";
    ASSERT_TRUE(click(actionButton("Search")));
    ASSERT_TRUE(pageShown()) << browser().dump();
    EXPECT_EQ(web.requests().back().line, "GET /search?q=R%26D%20%E4%B8%AD HTTP/1.1");
    const nlohmann::json card = (*state())["card"], webView = browser()["webView"];
    EXPECT_EQ(webView["y"].get<double>(), card["y"].get<double>() + 50);
    EXPECT_EQ(webView["height"].get<double>(), card["height"].get<double>() - 100);
    ASSERT_TRUE(xdotool({"key", "ctrl+f"}));
    ASSERT_TRUE(waitFor([&] { return browser()["findBar"].get<bool>(); }));
    ASSERT_TRUE(xdotool({"key", "Escape"}));
    ASSERT_TRUE(waitFor([&] { return !browser()["findBar"].get<bool>(); }));
    EXPECT_TRUE((*state())["shown"].get<bool>());
    ASSERT_TRUE(xdotool({"key", "Escape"}));
    ASSERT_TRUE(waitForShown(false));

    // Open in the browser.
    ASSERT_TRUE(openPanel(QString::fromUtf8("R&D 中")));
    ASSERT_TRUE(click(actionButton("Search")));
    ASSERT_TRUE(pageShown()) << browser().dump();
    ASSERT_TRUE(click(at(browser()["openUrl"])));
    EXPECT_TRUE(waitForShown(false));
    auto openedURLs = [&] {
        std::ifstream in(opened);
        std::string line;
        std::vector<std::string> lines;
        while (std::getline(in, line))
            lines.push_back(line);
        return lines;
    };
    EXPECT_TRUE(waitFor([&] { return !openedURLs().empty(); }, 20000));
    EXPECT_EQ(openedURLs(), std::vector<std::string>{page});

    EXPECT_EQ(filesUnder(home), std::vector<std::string>{});
    EXPECT_EQ(filesUnder(data), (std::vector<std::string>{
                                    "applications", "applications/kernova-test-browser.desktop"}));
}

TEST_F(PanelEndToEnd, APagesFullScreenButtonParksThePanelAndEscapeBringsItBack) {
    LoopbackHttpServer web([](const LoopbackRequest&) {
        return LoopbackAnswer{
            200, "text/html",
            "<html><body style='margin:0'><button style='position:fixed;inset:0;width:100%;"
            "height:100%' onclick='document.documentElement.requestFullscreen()'>Play</button>"
            "</body></html>"};
    });
    ASSERT_NE(web.port(), 0);
    const QString engine = QStringLiteral("http://127.0.0.1:%1/watch?v=%s").arg(web.port());
    ASSERT_EQ(run(desktopCliPath(), {"set", "SearchEngine", engine}).first, 0);
    auto browser = [&] {
        auto s = state();
        return s ? (*s)["browser"] : nlohmann::json();
    };
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
    const std::vector<std::string> tags = texts((*state())["tags"]);
    ASSERT_TRUE(click(actionButton("Search")));
    ASSERT_TRUE(waitFor(
        [&] {
            nlohmann::json b = browser();
            return b.is_object() && !b["loading"].get<bool>() && !b["spinning"].get<bool>();
        },
        30000))
        << browser().dump();
    const std::string url = browser()["url"];
    const nlohmann::json card = (*state())["card"];

    ASSERT_TRUE(click(at(browser()["webView"])));
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
    const double scale = (*state())["devicePixelRatio"].get<double>();
    EXPECT_LE(value("X"), card["x"].get<double>() * scale) << geometry;
    EXPECT_LE(value("Y"), card["y"].get<double>() * scale) << geometry;
    EXPECT_GE(value("X") + value("WIDTH"),
              (card["x"].get<double>() + card["width"].get<double>()) * scale)
        << geometry;
    EXPECT_GE(value("Y") + value("HEIGHT"),
              (card["y"].get<double>() + card["height"].get<double>()) * scale)
        << geometry;

    ASSERT_TRUE(xdotool({"key", "Escape"}));
    ASSERT_TRUE(waitFor([&] {
        auto s = state();
        return s && (*s)["shown"].get<bool>() && !(*s)["browser"]["fullScreen"].get<bool>() &&
               !playerWindow();
    })) << (state() ? state()->dump() : "(no state)");
    EXPECT_EQ(texts((*state())["tags"]), tags);
    EXPECT_EQ(browser()["url"], url);
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
