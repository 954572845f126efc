// `kernova doctor --json` on the private Xvfb display: a healthy session with
// kernovad running, then its hotkey held by another client; a bus of the
// test's own whose activation environment lacks DISPLAY (so the kernovad it
// starts exits), with the hotkey held again, now found by doctor's own grab;
// no display, and no bus. Every answer is valid JSON within a few seconds.
#include <QElapsedTimer>
#include <QLocalServer>
#include <fstream>

#include "e2e_fixture.h"
#include "support_lib/temp_dir.h"

namespace kernova::testing {
namespace {

using Json = nlohmann::json;

struct Report {
    int status = -1;
    Json json;
    // The finding of `check` (null when absent).
    Json find(std::string_view check) const {
        for (const Json& f : json.value("findings", Json::array()))
            if (f.value("check", "") == check) return f;
        return nullptr;
    }
    std::string level(std::string_view check) const {
        const Json f = find(check);
        return f.is_object() ? f.value("level", "") : "(absent)";
    }
};

class DoctorEndToEnd : public ::testing::Test {
  protected:
    void SetUp() override {
        if (display().isEmpty() || !haveTool("dbus-daemon")) {
            if (qEnvironmentVariableIsSet("CI")) FAIL() << "Xvfb and dbus-daemon are needed";
            GTEST_SKIP() << "needs Xvfb and dbus-daemon";
        }
        env_ = QProcessEnvironment::systemEnvironment();
        env_.insert(QStringLiteral("DISPLAY"), display());
        env_.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
        // The user's autostart entry, so that a healthy session has no problem.
        autostart_ = std::filesystem::path(qEnvironmentVariable("XDG_CONFIG_HOME").toStdString()) /
                     "autostart" / "kernova-autostart.desktop";
        std::filesystem::create_directories(autostart_.parent_path());
        std::ofstream(autostart_) << "[Desktop Entry]\nType=Application\nName=Kernova\n"
                                     "Exec=kernovad --autostart\n";
    }
    void TearDown() override {
        for (QProcess* process : {&holder_, &bus_}) {
            if (process->state() == QProcess::NotRunning) continue;
            process->kill();
            process->waitForFinished();
        }
        std::filesystem::remove(autostart_);
        setKernovaEnabled(true);  // the default hotkey again
    }

    Report doctor(const QProcessEnvironment& env) {
        QProcess process;
        process.setProcessEnvironment(env);
        QElapsedTimer clock;
        clock.start();
        process.start(desktopCliPath(), {"doctor", "--json"});
        if (!process.waitForFinished(15000)) {
            process.kill();
            process.waitForFinished();
            ADD_FAILURE() << "doctor did not answer within 15 s";
            return {};
        }
        EXPECT_LT(clock.elapsed(), 10000) << "doctor took long";
        Report report;
        if (process.exitStatus() == QProcess::NormalExit) report.status = process.exitCode();
        report.json = Json::parse(process.readAllStandardOutput().toStdString(), nullptr, false);
        EXPECT_TRUE(report.json.is_object()) << process.readAllStandardError().toStdString();
        return report;
    }

    // Another client holds Ctrl+Alt+K, and the "hotkey" setting names it.
    void holdHotkey() {
        holder_.setProcessEnvironment(env_);
        holder_.start(QStringLiteral(KERNOVA_CLICK_TARGET_PATH), {"--grab-ctrl-alt", "k"});
        ASSERT_TRUE(waitFor([&] { return holder_.readAllStandardOutput().contains("grabbed"); }));
        QProcess set;
        set.setProcessEnvironment(env_);
        set.start(desktopCliPath(), {"set", "hotkey", "Ctrl+Alt+K"});
        ASSERT_TRUE(set.waitForFinished(10000) && set.exitCode() == 0);
    }

    // A session bus of the test's own, started without DISPLAY: the kernovad
    // its activation starts finds no display and exits. Its address.
    QString busWithoutDisplay() {
        files_.write("services/fun.quorle.kernova.prefs.service",
                     "[D-BUS Service]\nName=fun.quorle.kernova.prefs\nExec=" +
                         kernovadPath().toStdString() + "\n");
        const std::filesystem::path config = files_.write(
            "bus.conf",
            "<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen>"
            "<auth>EXTERNAL</auth><servicedir>" +
                (files_ / "services").string() +
                "</servicedir><policy context=\"default\"><allow send_destination=\"*\" "
                "eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/>"
                "</policy></busconfig>\n");
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "XAUTHORITY"})
            env.remove(QString::fromLatin1(name));
        bus_.setProcessEnvironment(env);
        bus_.start(QStringLiteral("dbus-daemon"),
                   {"--nofork", "--print-address=1",
                    "--config-file=" + QString::fromStdString(config.string())});
        if (!waitFor([&] { return bus_.canReadLine(); })) return {};
        return QString::fromUtf8(bus_.readLine()).trimmed();
    }

    QProcessEnvironment env_;
    std::filesystem::path autostart_;
    TempDir files_;
    QProcess holder_;
    QProcess bus_;
};

TEST_F(DoctorEndToEnd, AHealthySessionIsWellUntilAnotherClientHoldsTheHotkey) {
    KernovadProcess daemon(env_);
    ASSERT_TRUE(daemon.started()) << daemon.process().readAllStandardError().toStdString();
    const Report well = doctor(env_);
    EXPECT_EQ(well.status, 0) << well.json.dump(2);
    EXPECT_EQ(well.json.value("ok", false), true);
    for (const char* check : {"display", "primary", "clipboard", "kernovad", "hotkey", "autostart",
                              "preferences", "web-engine-module", "ocr-module"})
        EXPECT_EQ(well.level(check), "ok") << check << ": " << well.find(check).dump();
    EXPECT_EQ(well.find("hotkey").value("detail", ""), "Ctrl+Alt+S: grabbed");
    EXPECT_NE(well.find("kernovad").value("detail", "").find("running, version"),
              std::string::npos);

    // kernovad, told of the new key, finds it held and says so in its Status.
    holdHotkey();
    Report held;
    EXPECT_TRUE(waitFor([&] {
        held = doctor(env_);
        return held.level("hotkey") == "problem";
    })) << held.json.dump(2);
    EXPECT_EQ(held.status, 1);
    EXPECT_EQ(held.find("hotkey").value("detail", ""), "Ctrl+Alt+K is held by another program");
    // The fix names a key that is free: the one kernovad let go.
    EXPECT_EQ(held.find("hotkey").value("fix", ""), "kernova set hotkey Ctrl+Alt+S");
    EXPECT_EQ(daemon.terminate(), 0);
}

TEST_F(DoctorEndToEnd, AnActivationEnvironmentWithoutDisplayIsNamedWithItsFix) {
    const QString address = busWithoutDisplay();
    ASSERT_FALSE(address.isEmpty()) << bus_.readAllStandardError().toStdString();
    QProcessEnvironment env = env_;
    env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), address);
    holdHotkey();
    const Report report = doctor(env);
    EXPECT_EQ(report.status, 1);
    EXPECT_EQ(report.level("kernovad"), "problem") << report.json.dump(2);
    const Json activation = report.find("activation-environment");
    EXPECT_EQ(activation.value("level", ""), "problem") << report.json.dump(2);
    EXPECT_EQ(activation.value("fix", ""),
              "dbus-update-activation-environment --systemd DISPLAY XAUTHORITY");
    // No kernovad: doctor's own brief grab finds the key held.
    EXPECT_EQ(report.find("hotkey").value("detail", ""), "Ctrl+Alt+K is held by another program");
    EXPECT_EQ(report.level("display"), "ok");
}

TEST_F(DoctorEndToEnd, WithoutADisplayOrABusOrWithABusThatNeverAnswersDoctorStillAnswers) {
    TempDir runtime;  // no bus socket in it
    // A socket that takes connections and never says a word.
    QLocalServer silent;
    ASSERT_TRUE(silent.listen(QString::fromStdString((runtime / "silent").string())));
    struct Case {
        const char* variable;
        std::string value;  // empty: unset
        const char* check;  // the problem expected
        const char* detail;
    };
    for (const Case& c :
         {Case{"DISPLAY", "", "display", "no display"},
          Case{"DBUS_SESSION_BUS_ADDRESS", "", "kernovad", "no session bus"},
          Case{"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + silent.fullServerName().toStdString(),
               "kernovad", "no answer within 8 s"}}) {
        QProcessEnvironment env = env_;
        env.remove(QString::fromLatin1(c.variable));
        if (!c.value.empty())
            env.insert(QString::fromLatin1(c.variable), QString::fromStdString(c.value));
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), QString::fromStdString(runtime.path()));
        const Report report = doctor(env);
        EXPECT_EQ(report.status, 1) << c.variable;
        EXPECT_EQ(report.json.value("ok", true), false) << c.variable;
        EXPECT_EQ(report.level(c.check), "problem") << report.json.dump(2);
        EXPECT_EQ(report.find(c.check).value("detail", "").find(c.detail), 0u)
            << report.json.dump(2);
    }
}

}  // namespace
}  // namespace kernova::testing
