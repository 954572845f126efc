// The fixture of the end-to-end tests: kernovad on the private Xvfb display,
// the X tools (xdotool, xclip) run there, kernovad's debug query, the test
// window (kernova_click_target) and selections held by xclip.
#pragma once

#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QStandardPaths>
#include <cmath>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "desktop/dbus_messaging.h"
#include "desktop_support.h"

namespace kernova::testing {
namespace {

QString display() {
    return qEnvironmentVariable("KERNOVA_TEST_DISPLAY");
}

bool haveTool(const char* name) {
    return !QStandardPaths::findExecutable(QString::fromLatin1(name)).isEmpty();
}

std::vector<std::string> texts(const nlohmann::json& list) {
    std::vector<std::string> all;
    for (const auto& each : list)
        all.push_back(each.is_string() ? each.get<std::string>() : each["text"].get<std::string>());
    return all;
}

class PanelEndToEnd : public ::testing::Test {
  protected:
    void SetUp() override {
        if (display().isEmpty() || !haveTool("xdotool") || !haveTool("gdbus")) {
            if (qEnvironmentVariableIsSet("CI")) FAIL() << "Xvfb, xdotool and gdbus are needed";
            GTEST_SKIP() << "needs Xvfb, xdotool and gdbus";
        }
        env_ = QProcessEnvironment::systemEnvironment();
        env_.insert(QStringLiteral("DISPLAY"), display());
        env_.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
        daemon_ = std::make_unique<KernovadProcess>(env_);
        ASSERT_TRUE(daemon_->started()) << daemon_->process().readAllStandardError().toStdString();
        // The panel opens on the monitor under the pointer: the left one.
        ASSERT_TRUE(moveTo({"100", "100"}));
    }

    void TearDown() override {
        for (QProcess* process : {&target_, &holder_}) {
            if (process->state() == QProcess::NotRunning) continue;
            process->closeWriteChannel();
            process->terminate();
            if (!process->waitForFinished(2000)) process->kill();
            process->waitForFinished();
        }
        if (daemon_ && daemon_->process().state() == QProcess::Running) {
            EXPECT_EQ(daemon_->terminate(), 0);
        }
        if (HasFailure() && daemon_)
            std::cerr << daemon_->process().readAllStandardError().toStdString();
    }

    // Stops kernovad and starts it again with `env_` (changed by the test).
    bool restartDaemon(const QStringList& arguments = {}) {
        if (daemon_->terminate() != 0) return false;
        daemon_ = std::make_unique<KernovadProcess>(env_, arguments);
        return daemon_->started();
    }

    // Runs a program on the test display, the event loop turning meanwhile
    // (for the test's own servers), standard input from `input` when given;
    // its exit status and standard output (standard error in `lastError_`).
    std::pair<int, std::string> run(const QString& program, const QStringList& args,
                                    const QString& input = {}) {
        QProcess process;
        process.setProcessEnvironment(env_);
        if (!input.isEmpty()) process.setStandardInputFile(input);
        process.start(program, args);
        if (!waitFor([&] { return process.state() == QProcess::NotRunning; }, 20000)) {
            process.kill();
            process.waitForFinished();
            return {-1, {}};
        }
        lastError_ = process.readAllStandardError().toStdString();
        int status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        return {status, process.readAllStandardOutput().toStdString()};
    }
    bool xdotool(const QStringList& args) {
        return run(QStringLiteral("xdotool"), args).first == 0;
    }
    bool kernova(const QStringList& args) { return run(desktopCliPath(), args).first == 0; }

    // Starts the test window with `args` at (300, 200), in front; its X id,
    // empty when it did not come up.
    QString startTarget(const QStringList& args = {}) {
        target_.setProcessEnvironment(env_);
        target_.start(QStringLiteral(KERNOVA_CLICK_TARGET_PATH), args);
        if (!waitFor([&] { return !targetLines().isEmpty(); })) return {};
        const QString window = targetLines().front().section(' ', 1);
        return xdotool({"windowmove", "--sync", window, "300", "200"}) &&
                       xdotool({"windowactivate", "--sync", window})
                   ? window
                   : QString();
    }
    // The test window's lines so far ("window ID", "press X Y").
    QStringList targetLines() {
        target_.waitForReadyRead(50);
        targetOutput_ += QString::fromUtf8(target_.readAllStandardOutput());
        return targetOutput_.split('\n', Qt::SkipEmptyParts);
    }
    int presses() {
        return static_cast<int>(targetLines().filter(QStringLiteral("press ")).size());
    }

    // Another client (xclip) holds `selection` ("primary", "clipboard") with
    // `text`, as after the user selected or copied it.
    bool holdSelection(const char* selection, const QString& text) {
        holder_.setProcessEnvironment(env_);
        holder_.start(QStringLiteral("xclip"), {"-quiet", "-selection", selection});
        if (!holder_.waitForStarted()) return false;
        holder_.write(text.toUtf8());
        holder_.closeWriteChannel();
        return waitFor([&] {
            return run(QStringLiteral("xclip"), {"-o", "-selection", selection}).second ==
                   text.toStdString();
        });
    }

    std::optional<nlohmann::json> state() { return screenState(desktop::sessionConnection()); }
    // Waits until kernovad shows a panel (and its window is mapped and has the
    // keyboard, so that keys and clicks reach it) or shows none.
    bool waitForShown(bool shown) {
        return waitFor([&] {
                   auto s = state();
                   return s && (*s)["shown"].get<bool>() == shown;
               }) &&
               (!shown || panelHasKeyboard());
    }
    bool waitForSelection(const std::vector<std::string>& expected) {
        return waitFor([&] {
            auto s = state();
            return s && texts((*s)["selection"]) == expected;
        });
    }
    std::vector<std::string> selection() {
        auto s = state();
        return s ? texts((*s)["selection"]) : std::vector<std::string>{"(no state)"};
    }
    // What the debug query shows under `key`; null when absent.
    nlohmann::json shown(const char* key) {
        auto s = state();
        return s && s->contains(key) ? (*s)[key] : nlohmann::json();
    }
    std::vector<std::string> tags() { return texts(shown("tags")); }
    std::string shownText() {
        std::string all;
        for (const std::string& tag : tags())
            all += tag;
        return all;
    }

    // A point inside `tag` in device pixels, `fraction` of the way across it.
    QStringList at(const nlohmann::json& tag, double fraction = 0.5) {
        double scale = (*state())["devicePixelRatio"].get<double>();
        double x = tag["x"].get<double>() + tag["width"].get<double>() * fraction;
        double y = tag["y"].get<double>() + tag["height"].get<double>() / 2;
        return {QString::number(std::lround(x * scale)), QString::number(std::lround(y * scale))};
    }
    bool moveTo(const QStringList& point) {
        return xdotool(QStringList{"mousemove", "--sync"} + point);
    }
    bool panelWindowVisible() {
        auto [status, out] =
            run(QStringLiteral("xdotool"), {"search", "--onlyvisible", "--class", "kernovad"});
        return status == 0 && !out.empty();
    }

    // The GL drivers, Qt Quick and web engine libraries kernovad has mapped
    // (Qt Gui itself links the small GL dispatch libraries; those do not count).
    QStringList heavyLibraries() {
        QFile maps(QStringLiteral("/proc/%1/maps").arg(daemon_->process().processId()));
        if (!maps.open(QIODevice::ReadOnly)) return {QStringLiteral("(no maps)")};
        static const QRegularExpression heavy(
            QStringLiteral("(libQt6WebEngine|libQt6Quick|libQt6Qml|libLLVM|libgallium|libqxcb-glx|"
                           "libqxcb-egl|[A-Za-z]+_mesa|[a-z0-9]+_dri)[^/ ]*\\.so"));
        QStringList found;
        for (const QString& line : QString::fromLatin1(maps.readAll()).split('\n')) {
            QRegularExpressionMatch match = heavy.match(line);
            if (match.hasMatch() && !found.contains(match.captured(0))) found << match.captured(0);
        }
        return found;
    }

    // The middle of the action button `name`, in device pixels.
    QStringList actionButton(const std::string& name) {
        const std::optional<nlohmann::json> shown = state();
        if (shown) {
            for (const auto& button : (*shown)["actions"])
                if (button["name"] == name) return at(button);
        }
        ADD_FAILURE() << "no action button " << name;
        return {"0", "0"};
    }
    std::string clipboard() {
        return run(QStringLiteral("xclip"), {"-o", "-selection", "clipboard"}).second;
    }
    bool click(const QStringList& point) { return moveTo(point) && xdotool({"click", "1"}); }
    // The panel's window is mapped and has the keyboard.
    bool panelHasKeyboard() {
        return waitFor([&] {
            auto [found, windows] =
                run(QStringLiteral("xdotool"), {"search", "--onlyvisible", "--class", "kernovad"});
            auto [focused, window] = run(QStringLiteral("xdotool"), {"getwindowfocus"});
            return found == 0 && focused == 0 && !window.empty() &&
                   QString::fromStdString(windows).split('\n').contains(
                       QString::fromStdString(window).trimmed());
        });
    }
    // The window named `title` has the keyboard, and keeps it (the window
    // manager may activate the window behind it once more meanwhile).
    bool keepsKeyboard(const std::string& title) {
        int steady = 0;
        return waitFor([&] {
            const bool focused =
                run(QStringLiteral("xdotool"), {"getwindowfocus", "getwindowname"}).second ==
                title + "\n";
            steady = focused ? steady + 1 : 0;
            return steady >= 5;
        });
    }
    // Opens the panel on `text` and waits until its window is mapped and has
    // the keyboard (a loaded machine may map it well after the panel shows).
    // For half a second after the panel copied, kernovad takes the request
    // for an echo of its own write and drops it: then it is sent again.
    bool openPanel(const QString& text) {
        QDBusConnection bus = desktop::sessionConnection();
        return waitFor([&] {
                   std::optional<qulonglong> before = receivedCount(bus);
                   if (!before || run(desktopCliPath(), {"splode", text}).first != 0) return false;
                   if (!waitFor([&] { return receivedCount(bus) > before; }, 2000)) return false;
                   std::optional<QStringList> last = receivedMessages(bus);
                   return last && !last->isEmpty() &&
                          !last->back().contains(QStringLiteral("own clipboard write")) &&
                          waitForShown(true);
               }) &&
               panelHasKeyboard();
    }

    QProcessEnvironment env_;
    std::unique_ptr<KernovadProcess> daemon_;
    std::string lastError_;
    QProcess target_;
    QString targetOutput_;
    QProcess holder_;
};

}  // namespace
}  // namespace kernova::testing
