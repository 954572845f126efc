// The panel's browser on the simulated device: the search URL, browser mode's
// views, page events and the spinner, new-window links, the keys, closing,
// handing the page to the desktop's browser, and the page's full-screen player.

#include <cstdint>
#include <fstream>
#include <tuple>

#include "server/server_fixture.h"
#include "sim/sim_services.h"

namespace kernova::testing {
namespace {

constexpr double W = 375;

// A picture in the simulated codec's format, `side` pixels square.
void writePicture(const std::filesystem::path& file, std::uint32_t side) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream out(file, std::ios::binary);
    auto u32 = [&](std::uint32_t v) {
        for (int i = 0; i < 4; ++i)
            out.put(static_cast<char>((v >> (8 * i)) & 0xff));
    };
    out << "KIMG";
    u32(side), u32(side), u32(1000);
    for (std::uint32_t i = 0; i < side * side; ++i)
        u32(0);
}

class BrowserTest : public ServerFixture {
  protected:
    BrowserTest() { writePicture(server.context().paths().bundle / "Browser.png", 3); }

    // Opens a panel on `text` and searches it with the Search button; the
    // panel is kept alive after the server lets it go.
    GTagFlowContainer& search(const std::string& text) {
        kept.push_back(std::static_pointer_cast<GTagFlowContainer>(open(text).shared_from_this()));
        tapAction(GTagFlowContainer::kSearch);
        return *kept.back();
    }
    std::vector<std::string> loads() { return driver.webView()->loads(); }
    bool spinning() { return kept.back()->activityIndicatorView()->isAnimating(); }
    const std::vector<std::string>& opened() { return server.services().urlOpener().openedURLs(); }

    std::vector<std::shared_ptr<GTagFlowContainer>> kept;
};

TEST(SearchURL, TheTextIsEscapedIntoEveryPlaceholder) {
    // The template, the text, the URL.
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"https://s.example/search?q=%s", "Tom & Jerry",
         "https://s.example/search?q=Tom%20%26%20Jerry"},
        {"https://s.example/?q=%s", "a=b?c/d#e", "https://s.example/?q=a%3Db%3Fc%2Fd%23e"},
        {"https://s.example/?q=%s", "中文 café",
         "https://s.example/?q=%E4%B8%AD%E6%96%87%20caf%C3%A9"},
        {"https://s.example/?q=%s", "(1+2)*3,~x", "https://s.example/?q=(1+2)*3,~x"},
        {"https://s.example/?a=%s&b=%s", "x y", "https://s.example/?a=x%20y&b=x%20y"},
        {"https://s.example/fixed", "ignored", "https://s.example/fixed"},
    };
    for (auto [searchTemplate, text, url] : rows)
        EXPECT_EQ(GTagFlowContainer::searchURL(searchTemplate, text), url) << text;
}

TEST_F(BrowserTest, SearchLoadsTheSettingsTemplateAndAnEmptyTextOpensNothing) {
    GTagFlowContainer& panel = search("R&D");
    ASSERT_NE(panel.webView(), nullptr);
    EXPECT_EQ(loads(), (std::vector<std::string>{"https://www.google.com/search?q=R%26D"}));
    expectNotInTheLog("R&D");
    expectNotInTheLog("R%26D");

    closePanel();
    splodeSelection("x");
    theServer.panel()->searchText("");
    EXPECT_EQ(theServer.panel()->webView(), nullptr);
    EXPECT_NE(theServer.panel()->flowView()->superview(), nullptr) << "the board stays";
}

TEST_F(BrowserTest, BrowserModeReplacesTheBoardWithTheWebViewCaptionAndButton) {
    GTagFlowContainer& panel = search("word");
    ASSERT_TRUE(panel.isShown());
    EXPECT_EQ(panel.flowView()->superview(), nullptr);
    EXPECT_EQ(panel.closeBtn()->superview(), nullptr);
    EXPECT_EQ(panel.headerTimer(), 0u) << "no blinking header behind the page";
    EXPECT_EQ(panel.closeLabel()->text(), "Click here to close");
    EXPECT_FALSE(panel.openUrlBtn()->isHidden());
    EXPECT_NE(panel.openUrlBtn()->superview(), nullptr);
    ASSERT_NE(panel.openUrlBtn()->currentImage(), nullptr);
    EXPECT_EQ(panel.openUrlBtn()->currentImage()->size().width, 3) << "our own picture";
}

TEST_F(BrowserTest, TheCaptionColourFollowsTheBackgroundSetting) {
    for (auto [background, darkMode, white] :
         {std::tuple{0, true, false}, {1, false, true}, {2, true, true}, {2, false, false}}) {
        set("background", Value(background));
        device.services().appearance.setDarkMode(darkMode);
        GTagFlowContainer& panel = search("word");
        EXPECT_EQ(panel.closeLabel()->textColor(),
                  white ? ui::Color::white(1.0) : ui::Color::black())
            << background << " " << darkMode;
        closePanel();
    }
}

TEST_F(BrowserTest, TheDefaultBrowsersIconFromItsDesktopEntry) {
    const std::filesystem::path root = device.temporaryDirectory();
    writePicture(root / "icons" / "web.png", 5);
    std::filesystem::create_directories(root / "data-home" / "applications");
    std::filesystem::create_directories(root / "config");
    std::ofstream(root / "data-home" / "applications" / "web.desktop")
        << "[Desktop Entry]\nType=Application\nName=Web\nExec=web %u\nIcon="
        << (root / "icons" / "web.png").string() << "\n";
    std::ofstream(root / "config" / "mimeapps.list")
        << "[Added Associations]\nx-scheme-handler/https=other.desktop;\n"
           "[Default Applications]\nx-scheme-handler/https=missing.desktop;web.desktop;\n";
    host.setEnvironment({{"HOME", (root / "home").string()},
                         {"XDG_CONFIG_HOME", (root / "config").string()},
                         {"XDG_DATA_HOME", (root / "data-home").string()},
                         {"XDG_DATA_DIRS", (root / "data-dirs").string()}});
    GTagFlowContainer& panel = search("word");
    ASSERT_NE(panel.openUrlBtn()->currentImage(), nullptr);
    EXPECT_EQ(panel.openUrlBtn()->currentImage()->size().width, 5);
}

TEST_F(BrowserTest, PageEventsDriveTheSpinnerAndNewWindowsLoadInPlaceOrAreDropped) {
    search("word");
    EXPECT_TRUE(spinning());
    EXPECT_TRUE(reportPanel(*kept.back()).browser->spinning);
    driver.finishLoading();
    EXPECT_FALSE(spinning());
    EXPECT_TRUE(kept.back()->activityIndicatorView()->isHidden());
    driver.webView()->start();
    EXPECT_TRUE(spinning()) << "a link followed in the page";
    driver.failLoading("offline");
    EXPECT_FALSE(spinning());

    const std::pair<const char*, bool> rows[] = {{"https://a.example/x", true},
                                                 {"http://b.example/", true},
                                                 {"javascript:go('https://c.example')", true},
                                                 {"mailto:me@example.org", false},
                                                 {"about:blank", false},
                                                 {"", false}};
    for (auto [url, loaded] : rows) {
        const std::size_t before = loads().size();
        EXPECT_EQ(driver.openNewWindow(url), nullptr) << "never a second view";
        EXPECT_EQ(loads().size(), before + (loaded ? 1 : 0)) << url;
        EXPECT_EQ(loads().back() == url, loaded) << url;
    }
    EXPECT_EQ(server.services().webViews().size(), 1u);
}

TEST_F(BrowserTest, AltArrowsGoBackAndForwardAndEscapeClosesThePanelAndItsPage) {
    GTagFlowContainer& panel = search("word");
    EXPECT_TRUE(driver.key({ui::Key::left, {}, false, false, true}));
    EXPECT_TRUE(driver.key({ui::Key::right, {}, false, false, true}));
    EXPECT_FALSE(driver.key({ui::Key::left, {}})) << "plain arrows are the page's";
    EXPECT_FALSE(driver.key({ui::Key::other, "a"}));
    EXPECT_EQ(driver.webView()->historySteps(), (std::vector<std::string>{"back", "forward"}));

    // The find field and Escape are proven end to end; one closed in the page
    // leaves Escape to the panel.
    driver.key({ui::Key::other, "f", true});
    driver.webView()->view().backingDidHideFindBar();  // the user closed it in the page
    driver.key({ui::Key::escape, {}});
    EXPECT_FALSE(panel.isShown());
    device.advance(0.1);
    EXPECT_EQ(loads().back(), "about:blank");
    EXPECT_EQ(theServer.panel(), nullptr);
    EXPECT_FALSE(panel.activityIndicatorView()->isAnimating());
    EXPECT_TRUE(opened().empty());
}

TEST_F(BrowserTest, TapsOutsideTheWebViewCloseTheCardTapsOnItDoNot) {
    for (const std::string where : {"page", "caption", "top strip", "backdrop"}) {
        GTagFlowContainer& panel = search("word");
        ui::Point at = middle(*panel.webView());
        if (where == "caption") at = middle(*panel.closeLabel());
        if (where == "top strip") at = panel.convertPointToScreen(ui::Point{W / 2, 10});
        if (where == "backdrop") at = panel.convertPointToScreen(ui::Point{W / 2, -10});
        driver.tap(at);
        device.advance(0.1);
        EXPECT_EQ(panel.isShown(), where == "page") << where;
        if (panel.isShown()) panel.hide();
        device.advance(0.1);
    }
}

TEST_F(BrowserTest, OpenInBrowserHandsTheCurrentPageToTheDesktopAndHides) {
    for (const std::string how : {"button", "control-l", "control-enter"}) {
        GTagFlowContainer& panel = search("word");
        driver.webView()->view().backingDidCommitURL("https://www.google.com/search?q=word&x=1");
        if (how == "button") driver.tap(middle(*panel.openUrlBtn()));
        if (how == "control-l") driver.key({ui::Key::other, "l", true});
        if (how == "control-enter") driver.key({ui::Key::enter, {}, true});
        device.runUntilIdle();
        EXPECT_FALSE(panel.isShown()) << how;
        ASSERT_FALSE(opened().empty()) << how;
        EXPECT_EQ(opened().back(), "https://www.google.com/search?q=word&x=1");
        device.advance(0.1);
    }
    EXPECT_EQ(opened().size(), 3u);
    expectNotInTheLog("q=word");
}

TEST_F(BrowserTest, APagesFullScreenPlayerParksThePanelAndLeavingBringsItBackAsItWas) {
    // Its monitor, and the panel's tags and page after it, are proven end to end.
    GTagFlowContainer& panel = search("two words");
    driver.finishLoading();
    sim::SimWebViewBacking& page = *driver.webView();
    const std::size_t loadsBefore = loads().size();

    EXPECT_TRUE(page.requestFullScreen(true));
    device.runUntilIdle();
    EXPECT_EQ(panel.state(), GTagFlowContainer::State::parked);
    EXPECT_TRUE(server.application().windows().empty()) << "nothing of the panel takes clicks";
    // Where a tap would close a shown panel, it reaches what is beneath.
    driver.tap(panel.convertPointToScreen(ui::Point{W / 2, -10}));
    driver.tap(middle(*panel.closeLabel()));
    EXPECT_EQ(panel.state(), GTagFlowContainer::State::parked);

    EXPECT_TRUE(page.requestFullScreen(false));
    device.advance(GTagFlowContainer::kShowSeconds);
    EXPECT_EQ(theServer.panel(), &panel);
    EXPECT_TRUE(panel.isShown());
    EXPECT_EQ(loads().size(), loadsBefore) << "the same page, not loaded again";
    device.advance(ServerFlags::kPopSeconds);

    // A new request while the player is up: the old panel and its player go,
    // the new panel stays as it is.
    EXPECT_TRUE(page.requestFullScreen(true));
    device.runUntilIdle();
    splodeSelection("next");
    device.advance(GTagFlowContainer::kShowSeconds);
    EXPECT_FALSE(page.fullScreen());
    ASSERT_NE(theServer.panel(), nullptr);
    EXPECT_NE(theServer.panel(), &panel);
    EXPECT_TRUE(theServer.panel()->isShown());
    EXPECT_FALSE(page.requestFullScreen(true)) << "a panel that is gone has no player";
    EXPECT_FALSE(page.fullScreen());
}

}  // namespace
}  // namespace kernova::testing
