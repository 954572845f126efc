// Mouse selections and PRIMARY reads on a private Xvfb display: xdotool
// drives the pointer and the keys, the test's own X connection plays the
// PRIMARY owners (one that never answers among them), xclip a real one.
#include "desktop/x11_selection.h"

#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <QProcess>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "base/log.h"
#include "base/paths.h"
#include "desktop/x11_selection_gestures.h"
#include "desktop_support.h"

namespace kernova::desktop {
namespace {

using kernova::testing::waitFor;

class Recorder final : public capture::SelectionGestures::Listener {
  public:
    std::vector<std::string> seen;
    static std::string at(ui::Point p) {
        return std::to_string(static_cast<int>(p.x)) + "," + std::to_string(static_cast<int>(p.y));
    }
    void buttonPressed(int button, ui::Point where) override {
        seen.push_back("press " + std::to_string(button) + " " + at(where));
    }
    void buttonReleased(int button, ui::Point where) override {
        seen.push_back("release " + std::to_string(button) + " " + at(where));
    }
    void primaryOwnerChanged() override { seen.push_back("owner"); }
    void pointerMoved(ui::Point where) override { seen.push_back("move " + at(where)); }
    void keyPressed() override { seen.push_back("key"); }
};

class X11SelectionTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (std::getenv("KERNOVA_NO_X11")) GTEST_SKIP() << "Xvfb is not available";
        client = xcb_connect(nullptr, nullptr);
        ASSERT_EQ(xcb_connection_has_error(client), 0);
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(client)).data->root;
        owner = xcb_generate_id(client);
        xcb_create_window(client, XCB_COPY_FROM_PARENT, owner, root, 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
        takePrimary(XCB_NONE);
    }
    void TearDown() override {
        if (client) {
            takePrimary(XCB_NONE);
            xcb_disconnect(client);
        }
    }
    // Sets PRIMARY's owner from the test's connection, which never answers
    // a request for it.
    void takePrimary(xcb_window_t window) {
        xcb_set_selection_owner(client, window, XCB_ATOM_PRIMARY, XCB_CURRENT_TIME);
        std::free(xcb_get_input_focus_reply(client, xcb_get_input_focus(client), nullptr));
    }
    void swapFirstAndThirdButtons() {
        auto* reply =
            xcb_get_pointer_mapping_reply(client, xcb_get_pointer_mapping(client), nullptr);
        ASSERT_TRUE(reply);
        std::vector<std::uint8_t> map(
            xcb_get_pointer_mapping_map(reply),
            xcb_get_pointer_mapping_map(reply) + xcb_get_pointer_mapping_map_length(reply));
        std::free(reply);
        ASSERT_GE(map.size(), 3u);
        std::swap(map[0], map[2]);
        std::free(xcb_set_pointer_mapping_reply(
            client,
            xcb_set_pointer_mapping(client, static_cast<std::uint8_t>(map.size()), map.data()),
            nullptr));
    }
    static void xdotool(const QStringList& arguments) {
        ASSERT_EQ(QProcess::execute(QStringLiteral("xdotool"), arguments), 0) << "xdotool failed";
    }
    xcb_window_t primaryOwner() {
        auto* reply = xcb_get_selection_owner_reply(
            client, xcb_get_selection_owner(client, XCB_ATOM_PRIMARY), nullptr);
        const xcb_window_t found = reply ? reply->owner : XCB_NONE;
        std::free(reply);
        return found;
    }
    // xclip owns PRIMARY with `text` (it leaves when it loses it). Its
    // background half takes the selection after the command returns.
    void xclip(const QByteArray& text) {
        const xcb_window_t before = primaryOwner();
        QProcess process;
        process.start(QStringLiteral("xclip"), {"-selection", "primary", "-i"});
        ASSERT_TRUE(process.waitForStarted());
        process.write(text);
        process.closeWriteChannel();
        ASSERT_TRUE(process.waitForFinished());
        ASSERT_TRUE(waitFor([&] { return primaryOwner() != before; }));
    }
    X11Selections::Result read(X11Selections& selections) {
        std::optional<X11Selections::Result> result;
        selections.read(X11Selections::Which::primary,
                        [&](X11Selections::Result r) { result = std::move(r); });
        EXPECT_TRUE(waitFor([&] { return result.has_value(); }, 5000));
        return result.value_or(X11Selections::Result{});
    }

    Logger log;
    xcb_connection_t* client = nullptr;
    xcb_window_t owner = 0;
};

TEST_F(X11SelectionTest, GesturesReportButtonsOwnersAndTrackedInputInOrder) {
    const xcb_window_t own = xcb_generate_id(client);
    xcb_create_window(client, XCB_COPY_FROM_PARENT, own, owner, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    X11SelectionGestures gestures(processEnvironment(), log,
                                  [own](std::uint32_t w) { return w == own; });
    Recorder recorder;
    ASSERT_TRUE(gestures.start(recorder));
    std::vector<std::string> expected;
    auto settle = [&](std::vector<std::string> more) {
        // An owner change ends every step, so that what must not be
        // reported would show before it.
        takePrimary(owner);
        expected.insert(expected.end(), more.begin(), more.end());
        expected.push_back("owner");
        ASSERT_TRUE(waitFor([&] { return recorder.seen.size() >= expected.size(); }))
            << recorder.seen.size();
        EXPECT_EQ(recorder.seen, expected);
    };

    // A drag, then a right click and a wheel step (no button for us); motion
    // and keys are not asked for. Positions are asked as the events arrive, so
    // each step waits for its report, as a person's hand would be slower.
    xdotool({"mousemove", "100", "120", "mousedown", "1"});
    ASSERT_TRUE(waitFor([&] { return !recorder.seen.empty(); }));
    xdotool({"mousemove_relative", "140", "10", "key", "a", "mouseup", "1"});
    ASSERT_TRUE(waitFor([&] { return recorder.seen.size() == 2; }));
    xdotool({"click", "3", "click", "4"});
    settle({"press 1 100,120", "release 1 240,130", "press 3 240,130", "release 3 240,130"});
    // Losing PRIMARY to nobody, or to a window of our own, is no change.
    takePrimary(XCB_NONE);
    takePrimary(own);
    settle({});

    // A left-handed mouse: the device's first button means the third.
    swapFirstAndThirdButtons();
    settle({});  // the new mapping has been taken when the owner change comes
    xdotool({"click", "1"});
    swapFirstAndThirdButtons();
    settle({"press 3 240,130", "release 3 240,130"});

    // While tracking: keys (never which) and motion.
    gestures.setTracking(true);
    xdotool({"key", "b"});
    ASSERT_TRUE(waitFor([&] { return recorder.seen.size() > expected.size(); }));
    EXPECT_EQ(recorder.seen.back(), "key");
    xdotool({"mousemove_relative", "60", "180"});
    ASSERT_TRUE(waitFor([&] { return recorder.seen.back() == "move 300,310"; }));
    expected.assign(recorder.seen.begin(), recorder.seen.end());
    gestures.setTracking(false);
    xdotool({"mousemove_relative", "--", "-20", "-30", "key", "c"});
    settle({});
}

TEST_F(X11SelectionTest, PrimaryReadsTellTextEmptyAndFailedApart) {
    X11Selections selections(processEnvironment(), log);
    // No owner: empty.
    EXPECT_EQ(read(selections).outcome, X11Selections::Outcome::empty);
    // An owner that never answers fails after 500 ms; the loop goes on.
    takePrimary(owner);
    const auto result = read(selections);
    EXPECT_EQ(result.outcome, X11Selections::Outcome::failed);
    EXPECT_TRUE(result.text.empty());
    // A real owner, with text and with none.
    xclip("selected wörds");
    const auto text = read(selections);
    EXPECT_EQ(text.outcome, X11Selections::Outcome::text);
    EXPECT_EQ(text.text, "selected wörds");
    xclip("");
    EXPECT_EQ(read(selections).outcome, X11Selections::Outcome::empty);
    // The older reply keeps its meaning: no text for a failure.
    takePrimary(owner);
    std::optional<std::optional<std::string>> old;
    selections.readText(X11Selections::Which::primary, [&](auto got) { old = std::move(got); });
    ASSERT_TRUE(waitFor([&] { return old.has_value(); }, 5000));
    EXPECT_FALSE(old->has_value());
}

}  // namespace
}  // namespace kernova::desktop
