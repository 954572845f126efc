// Helpers for the desktop tests: bounded waits on the Qt event loop, and
// kernovad as a child process on the test's private bus.
#pragma once

#include <QDBusConnection>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace kernova::testing {

// Readies this test process and the bus for kernovad: Kernova switched on in
// the private settings, and the debug interface, the info log and the private
// settings folder for every kernovad started here or by bus activation. Call
// once the QGuiApplication exists; false when the bus refused.
bool prepareKernovadEnvironment();

// Writes the master switch ("enabled") into the private settings file.
void setKernovaEnabled(bool enabled);

// Runs the event loop until `condition` holds; false after `timeoutMs`.
bool waitFor(const std::function<bool()>& condition, int timeoutMs = 10000);

// A second connection to the test's bus, as another process would have.
QDBusConnection otherConnection(const QString& name);

bool serviceRunning(const QDBusConnection& bus, const QString& name);
// The process id of the name's owner, when it has one.
std::optional<qint64> serviceOwnerPid(const QDBusConnection& bus, const QString& name);

// Calls `method` of kernovad's debug interface with `arguments`, without
// starting kernovad; its answer, invalid when the call failed.
QVariant debugCall(const QDBusConnection& bus, const char* method,
                   const QVariantList& arguments = {});

// kernovad's debug query: the last messages received (at most 100), oldest
// first, as "<name> (<n> keys | no dictionary): <outcome>".
std::optional<QStringList> receivedMessages(const QDBusConnection& bus);
// The programs kernovad started lately (the debug interface's Launches).
std::optional<QStringList> recentLaunches(const QDBusConnection& bus);
// How many messages kernovad has received since it started.
std::optional<qulonglong> receivedCount(const QDBusConnection& bus);

// kernovad's debug query of the board on screen, parsed; absent when the
// query failed.
std::optional<nlohmann::json> screenState(const QDBusConnection& bus);

QString kernovadPath();
QString desktopCliPath();

// A program run to its end: its exit status (-1 when it crashed or took more
// than 10 s) and what it wrote.
struct ProgramRun {
    int status = -1;
    std::string out;
    std::string err;
};
ProgramRun runProgram(
    const QString& program, const QStringList& arguments,
    const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment());

// Starts kernovad and waits until it serves; stops it with SIGTERM at the end.
class KernovadProcess {
  public:
    KernovadProcess() : KernovadProcess(QProcessEnvironment::systemEnvironment()) {}
    explicit KernovadProcess(const QProcessEnvironment& environment,
                             const QStringList& arguments = {});
    ~KernovadProcess();
    bool started() const { return started_; }
    QProcess& process() { return *process_; }
    // Sends SIGTERM and waits; the exit status, or -1 when it did not exit.
    int terminate();

  private:
    std::unique_ptr<QProcess> process_;
    bool started_ = false;
};

}  // namespace kernova::testing
