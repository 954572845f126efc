// Typing through XTest on a real X server: the characters reach the focused
// field of a window (Unicode ones on borrowed keys, given back afterwards), a
// modifier the user holds is held again afterwards, and long text is typed in
// turns of the event loop, a later text after it.
#include "desktop/ui/x11_typing.h"

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QWidget>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "desktop_ui/x11_fixture.h"

namespace kernova::desktop::testing {
namespace {

constexpr std::uint32_t kShiftLKeysym = 0xffe1;

TEST(KeysymForCodePoint, LatinOneIsItselfTheRestOfUnicodeIsOffsetAndControlsAreKeys) {
    const std::pair<char32_t, std::uint32_t> table[] = {
        {U'a', 0x61},    {U' ', 0x20},       {U'~', 0x7e},        {U'\u00a0', 0xa0},
        {U'ÿ', 0xff},    {U'Ā', 0x01000100}, {U'世', 0x01004e16}, {U'\U0001F600', 0x0101f600},
        {U'\n', 0xff0d}, {U'\r', 0xff0d},    {U'\t', 0xff09},  // Return, Return, Tab
        {U'\0', 0},      {U'\x1b', 0},       {U'\x7f', 0},        {U'\u0085', 0},
        {0xd800, 0},     {0x110000, 0}};
    for (const auto& [codePoint, keysym] : table)
        EXPECT_EQ(keysymForCodePoint(codePoint), keysym) << static_cast<std::uint32_t>(codePoint);
}

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
template <typename T>
using Reply = std::unique_ptr<T, FreeReply>;

class X11TypingTest : public DesktopUiTest {
  protected:
    void SetUp() override {
        if (std::getenv("KERNOVA_NO_X11")) GTEST_SKIP() << "Xvfb is not available";
        keyboard = dynamic_cast<X11Keyboard*>(&desktop->keyboard());
        ASSERT_NE(keyboard, nullptr) << "the xcb platform types through XTest";
        connection = xcb_connect(nullptr, nullptr);
        ASSERT_EQ(xcb_connection_has_error(connection), 0);
        context.log().setLevel(LogLevel::debug);
        context.log().setSink([this](LogLevel, std::string_view line) { log.emplace_back(line); });
    }
    void TearDown() override {
        context.log().setSink(nullptr);
        if (connection) xcb_disconnect(connection);
    }

    // A window with a line edit that has the keyboard focus.
    void showFocusedField() {
        field = new QLineEdit(&window);
        field->setGeometry(10, 10, 380, 30);
        window.setGeometry(100, 100, 400, 50);
        window.show();
        ASSERT_TRUE(waitFor([&] { return exposed(&window); }));
        // No window manager runs: the focus is set directly.
        window.activateWindow();
        xcb_set_input_focus(connection, XCB_INPUT_FOCUS_POINTER_ROOT,
                            static_cast<xcb_window_t>(window.winId()), XCB_CURRENT_TIME);
        xcb_flush(connection);
        field->setFocus();
        ASSERT_TRUE(waitFor([&] { return window.isActiveWindow() && field->hasFocus(); }));
    }

    // Every keycode's keysyms, as the server has them now.
    std::vector<xcb_keysym_t> keymap() {
        const xcb_setup_t* setup = xcb_get_setup(connection);
        auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
        Reply<xcb_get_keyboard_mapping_reply_t> reply(xcb_get_keyboard_mapping_reply(
            connection, xcb_get_keyboard_mapping(connection, setup->min_keycode, count), nullptr));
        if (!reply) return {};
        const xcb_keysym_t* first = xcb_get_keyboard_mapping_keysyms(reply.get());
        return {first, first + xcb_get_keyboard_mapping_keysyms_length(reply.get())};
    }

    xcb_keycode_t keycodeOf(xcb_keysym_t keysym) {
        const xcb_setup_t* setup = xcb_get_setup(connection);
        std::vector<xcb_keysym_t> map = keymap();
        std::size_t per =
            map.size() / static_cast<std::size_t>(setup->max_keycode - setup->min_keycode + 1);
        for (std::size_t i = 0; i < map.size(); ++i) {
            if (map[i] == keysym) return static_cast<xcb_keycode_t>(setup->min_keycode + i / per);
        }
        return 0;
    }

    bool keyDown(xcb_keycode_t keycode) {
        Reply<xcb_query_keymap_reply_t> keys(
            xcb_query_keymap_reply(connection, xcb_query_keymap(connection), nullptr));
        return keys && (keys->keys[keycode / 8] & (1u << (keycode % 8)));
    }

    // Presses or releases a key as the user would, and waits until the server has it.
    void fakeKey(std::uint8_t type, xcb_keycode_t keycode) {
        xcb_test_fake_input(connection, type, keycode, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
    }

    std::string joinedLog() const {
        std::string all;
        for (const std::string& line : log)
            all += line + "\n";
        return all;
    }

    X11Keyboard* keyboard = nullptr;
    xcb_connection_t* connection = nullptr;
    QWidget window;
    QLineEdit* field = nullptr;
    std::vector<std::string> log;
};

TEST_F(X11TypingTest, UnicodeReachesTheFocusedFieldAndTheKeymapIsGivenBack) {
    showFocusedField();
    std::vector<xcb_keysym_t> before = keymap();
    ASSERT_FALSE(before.empty());
    EXPECT_FALSE(keyboard->connected()) << "nothing is open before the first text";

    keyboard->insertText("héllo 世界 É");
    EXPECT_TRUE(keyboard->busy()) << "typing waits for the event loop";
    EXPECT_TRUE(field->text().isEmpty());
    ASSERT_TRUE(waitFor([&] { return field->text() == QStringLiteral("héllo 世界 É"); }))
        << "typed: " << field->text().toStdString() << "\n"
        << joinedLog();
    ASSERT_TRUE(waitFor([&] { return !keyboard->busy(); }));
    EXPECT_FALSE(keyboard->connected());
    EXPECT_EQ(keymap(), before) << "every borrowed key is empty again";

    const std::string all = joinedLog();
    EXPECT_NE(all.find("typed 10 characters, 4 on borrowed keys"), std::string::npos) << all;
    EXPECT_EQ(all.find("llo"), std::string::npos) << "the log shows the text";
    EXPECT_EQ(all.find("世"), std::string::npos) << "the log shows the text";
}

TEST_F(X11TypingTest, AModifierTheUserHoldsIsReleasedWhileTypingAndHeldAgainAfter) {
    showFocusedField();
    xcb_keycode_t shift = keycodeOf(kShiftLKeysym);
    ASSERT_NE(shift, 0);
    fakeKey(XCB_KEY_PRESS, shift);
    ASSERT_TRUE(keyDown(shift));

    keyboard->insertText("ab1");
    bool typed = waitFor([&] { return field->text().size() == 3; });
    bool settled = waitFor([&] { return !keyboard->busy(); });
    bool heldAgain = keyDown(shift);
    fakeKey(XCB_KEY_RELEASE, shift);
    ASSERT_TRUE(typed);
    EXPECT_EQ(field->text(), QStringLiteral("ab1")) << "Shift was up while typing";
    EXPECT_TRUE(settled);
    EXPECT_TRUE(heldAgain) << "Shift is down again afterwards";
}

TEST_F(X11TypingTest, LongTextIsTypedInTurnsAndALaterTextAfterIt) {
    showFocusedField();
    std::string text;
    for (int i = 0; i < 300; ++i)
        text += "abc";
    keyboard->insertText(text);
    keyboard->insertText("XYZ");
    EXPECT_EQ(keyboard->pendingCharacters(), 903u) << "nothing is sent before the event loop runs";
    // One pass of the event loop at a time, until the first turn has run.
    QElapsedTimer timer;
    timer.start();
    while (keyboard->pendingCharacters() == 903u && timer.elapsed() < 5000)
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    ASSERT_LT(keyboard->pendingCharacters(), 903u);
    // One turn sends at most kEventsPerTurn key events: two for each character.
    EXPECT_GE(keyboard->pendingCharacters(), 903u - X11Keyboard::kEventsPerTurn / 2);
    ASSERT_TRUE(waitFor([&] { return field->text().size() == 903; }, 20000))
        << "typed " << field->text().size();
    EXPECT_EQ(field->text(), QString::fromStdString(text) + "XYZ");
    EXPECT_TRUE(waitFor([&] { return !keyboard->busy(); }));
}

}  // namespace
}  // namespace kernova::desktop::testing
