// The selection item end to end: text selected with xdotool's mouse in a
// window that takes PRIMARY while the button drags (the click target as a
// text field) and in xterm (which takes it as the button goes up). The item
// appears beside the pointer; a click on it opens the panel on the selected
// text.
#include "e2e_fixture.h"

namespace kernova::testing {
namespace {

class SelectionEndToEnd : public PanelEndToEnd {
  protected:
    std::optional<nlohmann::json> item() {
        const nlohmann::json found = shown("selectionItem");
        return found.is_null() ? std::nullopt : std::optional(found);
    }
    // A left-button drag, one step per xdotool run, as a hand is slower than
    // kernovad asking where the pointer is.
    bool drag(const QStringList& from, const QStringList& to) {
        return moveTo(from) && xdotool({"mousedown", "1"}) && moveTo(to) &&
               xdotool({"mouseup", "1"});
    }
};

// That the item's window lets other clicks through, and that they take it
// away, is the floating button's and the toolkit's tests' (and the simulated
// device's); a PRIMARY owner that never answers, the clipboard's and the
// simulated device's.
TEST_F(SelectionEndToEnd, ADragInAFieldRaisesTheItemThatOpensTheText) {
    ASSERT_FALSE(startTarget({"--select-text", "dragged words"}).isEmpty());
    ASSERT_TRUE(drag({"350", "250"}, {"450", "260"}));
    ASSERT_TRUE(waitFor([&] { return item().has_value(); }, 3000));
    // Its frame starts 12 points right of and below the release.
    const double scale = shown("devicePixelRatio").get<double>();
    EXPECT_NEAR((*item())["x"].get<double>(), 450 / scale + 12, 1.5);
    EXPECT_NEAR((*item())["y"].get<double>(), 260 / scale + 12, 1.5);
    EXPECT_EQ((*item())["title"], "Kernova");
    // A click on the item opens the panel on the text; the window never sees it.
    ASSERT_TRUE(click(at(*item())));
    ASSERT_TRUE(waitForShown(true));
    EXPECT_EQ(shownText(), "dragged words");
    EXPECT_EQ(presses(), 1);
    EXPECT_FALSE(item());
}

TEST_F(SelectionEndToEnd, ADoubleClickInXtermRaisesTheItemOnItsSelection) {
    if (!haveTool("xterm")) GTEST_SKIP() << "needs xterm";
    QProcess terminal;
    terminal.setProcessEnvironment(env_);
    terminal.start(QStringLiteral("xterm"), {"-fn", "fixed", "-geometry", "40x5", "-e", "sh", "-c",
                                             "printf 'selectable\\n'; exec cat"});
    auto [found, window] =
        run(QStringLiteral("xdotool"), {"search", "--sync", "--onlyvisible", "--class", "xterm"});
    ASSERT_EQ(found, 0);
    window = QString::fromStdString(window).split('\n').front().toStdString();
    ASSERT_TRUE(xdotool({"windowmove", "--sync", QString::fromStdString(window), "300", "200"}));
    // xterm takes PRIMARY as the button goes up: a double click on the word.
    ASSERT_TRUE(xdotool({"mousemove", "--sync", "--window", QString::fromStdString(window), "20",
                         "8", "click", "--repeat", "2", "--delay", "80", "1"}));
    ASSERT_TRUE(waitFor([&] { return item().has_value(); }, 3000));
    ASSERT_TRUE(click(at(*item())));
    ASSERT_TRUE(waitForShown(true));
    EXPECT_EQ(shownText(), "selectable");
    terminal.terminate();
    terminal.waitForFinished();
}

}  // namespace
}  // namespace kernova::testing
