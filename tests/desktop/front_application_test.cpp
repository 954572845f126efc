// The application in front, as kernovad's host tells it on a private Xvfb
// display: the test plays the window manager, setting the root window's
// _NET_ACTIVE_WINDOW to windows of its own X connection that stand for other
// applications, with desktop entries for them in a private data folder.
#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <QProcess>
#include <QWidget>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "base/context.h"
#include "base/virtual_run_loop.h"
#include "desktop_support.h"
#include "kernovad/desktop_host.h"
#include "support_lib/temp_dir.h"

namespace kernova::daemon {
namespace {

using kernova::testing::waitFor;

class FrontApplicationTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (std::getenv("KERNOVA_NO_X11")) GTEST_SKIP() << "Xvfb is not available";
        // Only the private folder's entries count.
        ::setenv("XDG_DATA_HOME", (data / "home").c_str(), 1);
        ::setenv("XDG_DATA_DIRS", (data / "none").c_str(), 1);
        ::unsetenv("XDG_CURRENT_DESKTOP");
        client = xcb_connect(nullptr, nullptr);
        ASSERT_EQ(xcb_connection_has_error(client), 0);
        root = xcb_setup_roots_iterator(xcb_get_setup(client)).data->root;
    }
    void TearDown() override {
        host.reset();
        if (client) xcb_disconnect(client);
    }

    void makeHost() {
        host = std::make_unique<DesktopServerHost>(context);
        ASSERT_NE(host->frontApplication(), nullptr);
    }
    xcb_atom_t atom(const char* name) {
        auto* reply = xcb_intern_atom_reply(
            client, xcb_intern_atom(client, 0, static_cast<std::uint16_t>(std::strlen(name)), name),
            nullptr);
        xcb_atom_t a = reply ? reply->atom : 0;
        std::free(reply);
        return a;
    }
    void setProperty(xcb_window_t window, const char* name, xcb_atom_t type, std::uint8_t format,
                     std::uint32_t length, const void* value) {
        xcb_change_property(client, XCB_PROP_MODE_REPLACE, window, atom(name), type, format, length,
                            value);
    }
    // A window of another application: WM_CLASS, and _NET_WM_PID when given.
    xcb_window_t makeWindow(const std::string& instance, const std::string& klass,
                            std::optional<std::uint32_t> pid = std::nullopt,
                            bool desktopType = false) {
        xcb_window_t window = xcb_generate_id(client);
        xcb_create_window(client, XCB_COPY_FROM_PARENT, window, root, 0, 0, 10, 10, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        std::string wmClass = instance + '\0' + klass + '\0';
        setProperty(window, "WM_CLASS", XCB_ATOM_STRING, 8,
                    static_cast<std::uint32_t>(wmClass.size()), wmClass.data());
        if (pid) setProperty(window, "_NET_WM_PID", XCB_ATOM_CARDINAL, 32, 1, &*pid);
        if (desktopType) {
            xcb_atom_t type = atom("_NET_WM_WINDOW_TYPE_DESKTOP");
            setProperty(window, "_NET_WM_WINDOW_TYPE", XCB_ATOM_ATOM, 32, 1, &type);
        }
        xcb_flush(client);
        return window;
    }
    // What a window manager does when a window becomes active.
    void activate(xcb_window_t window) {
        setProperty(root, "_NET_ACTIVE_WINDOW", XCB_ATOM_WINDOW, 32, 1, &window);
        xcb_flush(client);
    }
    // Waits until the host has heard that `window` is active.
    bool heard(xcb_window_t window) {
        return waitFor([&] { return host->frontApplication()->activeWindow() == window; });
    }
    bool frontBecomes(const std::string& id) {
        return waitFor([&] { return host->frontmostApplicationId() == id; });
    }

    kernova::testing::TempDir data;
    VirtualClock clock;
    VirtualRunLoop loop{clock};
    InProcessSystemNotifications system;
    Context context{loop, system, Paths{}};
    std::unique_ptr<DesktopServerHost> host;
    xcb_connection_t* client = nullptr;
    xcb_window_t root = 0;
};

TEST_F(FrontApplicationTest, FollowsTheActiveWindowButNotKernovasOwnOrTheDesktop) {
    data.write("home/applications/alpha.desktop",
               "[Desktop Entry]\nType=Application\nName=Alpha\nExec=alpha\n"
               "StartupWMClass=AlphaClass\n");
    // Beta is told by its program: a running `cat` stands for it.
    data.write("home/applications/org/example/Beta.desktop",
               "[Desktop Entry]\nType=Application\nName=Beta\nExec=cat %F\n");
    QProcess beta;
    beta.start(QStringLiteral("cat"), {});
    ASSERT_TRUE(beta.waitForStarted());
    xcb_window_t alphaWindow = makeWindow("alpha", "AlphaClass");
    xcb_window_t betaWindow =
        makeWindow("beta", "Beta", static_cast<std::uint32_t>(beta.processId()));
    xcb_window_t desktopWindow = makeWindow("desktop_window", "Desktop_window", {}, true);
    // A window of this process, as kernovad's own overlays and dialogs are.
    QWidget own;
    own.resize(20, 20);
    auto ownWindow = static_cast<xcb_window_t>(own.winId());
    activate(XCB_NONE);
    makeHost();
    ASSERT_TRUE(heard(XCB_NONE));
    EXPECT_EQ(host->frontmostApplicationId(), "");

    // Each window in turn and the application in front after it: Kernova's
    // own window leaves the one before in front; the desktop, the root window
    // and no window leave none.
    const std::pair<xcb_window_t, const char*> steps[] = {
        {alphaWindow, "alpha.desktop"},           {betaWindow, "org-example-Beta.desktop"},
        {ownWindow, "org-example-Beta.desktop"},  {desktopWindow, ""},
        {alphaWindow, "alpha.desktop"},           {root, ""},
        {betaWindow, "org-example-Beta.desktop"}, {XCB_NONE, ""}};
    for (auto [window, id] : steps) {
        activate(window);
        EXPECT_TRUE(heard(window) && frontBecomes(id)) << window << " " << id;
    }
    beta.closeWriteChannel();
    EXPECT_TRUE(beta.waitForFinished());
}

TEST_F(FrontApplicationTest, ANewEntryCountsOnceItsFolderChanges) {
    data.write("home/applications/alpha.desktop",
               "[Desktop Entry]\nType=Application\nName=Alpha\nExec=alpha\n");
    xcb_window_t gammaWindow = makeWindow("gamma", "Gamma");
    makeHost();
    activate(gammaWindow);
    ASSERT_TRUE(heard(gammaWindow));
    EXPECT_EQ(host->frontmostApplicationId(), "");  // the entries are read: none is Gamma's

    // Written whole and moved in place, as package managers and editors do.
    data.write("home/new.tmp",
               "[Desktop Entry]\nType=Application\nName=Gamma\nExec=gamma-bin\n"
               "StartupWMClass=Gamma\n");
    std::filesystem::rename(data / "home/new.tmp",
                            data / "home/applications/org.example.G.desktop");
    EXPECT_TRUE(frontBecomes("org.example.G.desktop"));
}

}  // namespace
}  // namespace kernova::daemon
