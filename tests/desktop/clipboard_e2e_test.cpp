// The clipboard on the desktop end to end: kernovad reads it without waiting
// on its owner, and its watch asks for the button ("popButton") when another
// client copies text, not when kernovad copies itself.
#include <xcb/xcb.h>

#include <QElapsedTimer>
#include <cstdlib>

#include "base/paths.h"
#include "base/plist.h"
#include "desktop/dbus_messaging.h"
#include "e2e_fixture.h"

namespace kernova::testing {
namespace {

class ClipboardEndToEnd : public PanelEndToEnd {
  protected:
    void SetUp() override {
        // The watch is decided as kernovad starts.
        savePropertyList(
            preferencesDirectory(processEnvironment()) / kSettingsFileName,
            Value(Dictionary{{"enabled", Value(true)}, {"watchClipboard", Value(true)}}));
        PanelEndToEnd::SetUp();
        if (!haveTool("xclip")) GTEST_SKIP() << "needs xclip";
    }
    void TearDown() override {
        PanelEndToEnd::TearDown();
        if (x_) xcb_disconnect(x_);
        setKernovaEnabled(true);
    }

    int popButtons() {
        std::optional<QStringList> messages = receivedMessages(desktop::sessionConnection());
        return messages ? static_cast<int>(messages->filter(QStringLiteral("popButton")).size())
                        : -1;
    }
    // The test's own X connection: it owns CLIPBOARD with `window` (and never
    // answers a request for it), or asks who does.
    xcb_connection_t* x() {
        if (!x_) x_ = xcb_connect(display().toLocal8Bit().constData(), nullptr);
        return x_;
    }
    xcb_window_t clipboardOwner(std::optional<xcb_window_t> window = std::nullopt) {
        xcb_intern_atom_reply_t* atom =
            xcb_intern_atom_reply(x(), xcb_intern_atom(x(), 0, 9, "CLIPBOARD"), nullptr);
        if (!atom) return 0;
        if (window) xcb_set_selection_owner(x_, *window, atom->atom, XCB_CURRENT_TIME);
        xcb_get_selection_owner_reply_t* reply =
            xcb_get_selection_owner_reply(x_, xcb_get_selection_owner(x_, atom->atom), nullptr);
        const xcb_window_t owner = reply ? reply->owner : 0;
        std::free(reply);
        std::free(atom);
        return owner;
    }
    // Copies `text` as another client does; xclip stays the owner until the
    // next copy. Its first process leaves before the one it leaves behind
    // owns the clipboard: wait for the new owner.
    bool copy(const QString& text, const QStringList& more = {}) {
        const xcb_window_t before = clipboardOwner();
        QProcess xclip;
        xclip.setProcessEnvironment(env_);
        xclip.start(QStringLiteral("xclip"), QStringList{"-selection", "clipboard"} + more);
        if (!xclip.waitForStarted()) return false;
        xclip.write(text.toUtf8());
        xclip.closeWriteChannel();
        return xclip.waitForFinished(5000) && xclip.exitCode() == 0 && waitFor([&] {
                   const xcb_window_t now = clipboardOwner();
                   return now != 0 && now != before;
               });
    }

    xcb_connection_t* x_ = nullptr;
};

TEST_F(ClipboardEndToEnd, CopiedTextAsksForTheButtonButAnImageAndThePanelsOwnCopyDoNot) {
    // The watch starts 2 s after kernovad: copy until it answers.
    int copies = 0;
    ASSERT_TRUE(waitFor([&] {
        copy(QStringLiteral("copied %1").arg(++copies));
        return waitFor([&] { return popButtons() > 0; }, 1000);
    }));
    const int before = popButtons();
    // An image only offers no text.
    ASSERT_TRUE(copy(QStringLiteral("\x89PNG"), {"-t", "image/png"}));
    // The panel's own Copy.
    ASSERT_TRUE(openPanel(QStringLiteral("own words")));
    ASSERT_TRUE(waitFor([&] { return panelWindowVisible(); }));
    ASSERT_TRUE(click(actionButton("Copy")));
    ASSERT_TRUE(waitFor([&] { return clipboard() == "own words"; })) << clipboard();
    // Text copied after both is seen, so both were heard before it.
    ASSERT_TRUE(copy(QStringLiteral("later")));
    ASSERT_TRUE(waitFor([&] { return popButtons() == before + 1; })) << popButtons();
    waitFor([] { return false; }, 700);
    EXPECT_EQ(popButtons(), before + 1);
}

TEST_F(ClipboardEndToEnd, AnOwnerThatNeverAnswersGivesNoTextAndNeverStallsKernovad) {
    const xcb_window_t window = xcb_generate_id(x());
    xcb_create_window(x(), XCB_COPY_FROM_PARENT, window,
                      xcb_setup_roots_iterator(xcb_get_setup(x())).data->root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    ASSERT_EQ(clipboardOwner(window), window);
    QDBusConnection bus = desktop::sessionConnection();
    std::optional<qulonglong> before = receivedCount(bus);
    ASSERT_TRUE(before);
    desktop::DBusMessageSender sender(bus);
    QElapsedTimer clock;
    clock.start();
    sender.sendMessageName("notifySplode", Value(Dictionary{{"callFromCC", Value(true)}}));
    // While the read waits, the service answers at once.
    ASSERT_TRUE(waitFor([&] { return receivedCount(bus) > *before; }, 1000));
    EXPECT_LT(clock.elapsed(), 1000);
    std::optional<QStringList> messages;
    ASSERT_TRUE(waitFor(
        [&] {
            messages = receivedMessages(bus);
            return messages && messages->back().contains(QStringLiteral("refused: no text"));
        },
        3000))
        << (messages ? messages->join('\n').toStdString() : "");
    EXPECT_GE(clock.elapsed(), 450) << "the owner had 500 ms to answer";
    EXPECT_LT(clock.elapsed(), 2000);
}

}  // namespace
}  // namespace kernova::testing
