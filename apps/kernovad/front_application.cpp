#include "kernovad/front_application.h"

#include <unistd.h>
#include <xcb/xcb.h>

#include <QObject>
#include <QString>
#include <QStringList>
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "desktop/x11_connection.h"

namespace kernova::daemon {
namespace {

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
template <typename T>
using Reply = std::unique_ptr<T, FreeReply>;

// The reply's value as bytes; empty when there is none.
std::string bytesOf(xcb_connection_t* connection, xcb_get_property_cookie_t cookie) {
    Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection, cookie, nullptr));
    if (!reply) return {};
    const char* value = static_cast<const char*>(xcb_get_property_value(reply.get()));
    int length = xcb_get_property_value_length(reply.get());
    return length > 0 ? std::string(value, static_cast<std::size_t>(length)) : std::string();
}

// The 32-bit items of a property value.
std::vector<std::uint32_t> cardinals(const std::string& bytes) {
    std::vector<std::uint32_t> out(bytes.size() / sizeof(std::uint32_t));
    if (!out.empty()) std::memcpy(out.data(), bytes.data(), out.size() * sizeof(std::uint32_t));
    return out;
}

// The file of a local process's program; empty when it cannot be read.
std::string executableOf(std::uint32_t pid) {
    std::error_code ec;
    std::string path =
        std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/exe", ec).string();
    if (ec) return {};
    constexpr std::string_view kDeleted = " (deleted)";
    if (path.ends_with(kDeleted)) path.resize(path.size() - kDeleted.size());
    return path;
}

bool isKernovaName(std::string name) {
    for (char& c : name)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return name == "kernovad" || name == "kernova";
}

}  // namespace

struct FrontApplication::Window {
    WindowIdentity identity;
    bool ours = false;     // a window of kernovad or of the kernova command
    bool desktop = false;  // the desktop's own window (_NET_WM_WINDOW_TYPE_DESKTOP)
};

FrontApplication::FrontApplication(const EnvironmentLookup& env, const Logger& log)
    : env_(env), log_(log) {
    const desktop::X11Connection opened =
        desktop::openX11Connection(env_, log_, "front", "no application counts as in front");
    if (opened.connection == nullptr) return;
    connection_ = opened.connection;
    root_ = opened.root;
    const auto atoms = desktop::internAtoms<4>(
        connection_, {"_NET_ACTIVE_WINDOW", "_NET_WM_PID", "_NET_WM_WINDOW_TYPE",
                      "_NET_WM_WINDOW_TYPE_DESKTOP"});
    activeAtom_ = atoms[0];
    pidAtom_ = atoms[1];
    typeAtom_ = atoms[2];
    desktopTypeAtom_ = atoms[3];
    std::array<char, 256> name{};
    if (gethostname(name.data(), name.size() - 1) == 0) host_ = name.data();

    // This connection's own interest in the root window: its property changes.
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(connection_, root_, XCB_CW_EVENT_MASK, &mask);
    notifier_ = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(connection_),
                                                  QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(),
                     [this] { readEvents(); });
    activeWindowChanged();
    readEvents();  // what came in while the window was read
}

FrontApplication::~FrontApplication() {
    watcher_.reset();
    notifier_.reset();
    if (connection_) xcb_disconnect(connection_);
}

void FrontApplication::readEvents() {
    if (!connection_) return;
    bool changed = true;
    while (changed) {
        changed = false;
        // Reading the window makes round trips, during which more events may
        // arrive and wait in the queue: the loop takes those too.
        while (xcb_generic_event_t* event = xcb_poll_for_event(connection_)) {
            if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY) {
                auto* notify = reinterpret_cast<xcb_property_notify_event_t*>(event);
                if (notify->window == root_ && notify->atom == activeAtom_) changed = true;
            }
            std::free(event);
        }
        if (xcb_connection_has_error(connection_) != 0) {
            log_.warn("front", "lost the X display; no application counts as in front");
            notifier_->setEnabled(false);
            front_.reset();
            id_.reset();
            activeWindow_ = 0;
            return;
        }
        if (changed) activeWindowChanged();
    }
}

void FrontApplication::activeWindowChanged() {
    std::vector<std::uint32_t> active = cardinals(bytesOf(
        connection_, xcb_get_property(connection_, 0, root_, activeAtom_, XCB_ATOM_WINDOW, 0, 1)));
    activeWindow_ = active.empty() ? 0 : active.front();
    std::optional<WindowIdentity> front;
    if (activeWindow_ != XCB_NONE && activeWindow_ != root_) {
        Window window = describe(activeWindow_);
        if (window.ours) return;  // the application before stays in front
        if (!window.desktop) front = std::move(window.identity);
    }
    auto same = [](const WindowIdentity& a, const WindowIdentity& b) {
        return a.executable == b.executable && a.wmInstance == b.wmInstance &&
               a.wmClass == b.wmClass;
    };
    if (front.has_value() == front_.has_value() && (!front || same(*front, *front_))) return;
    front_ = std::move(front);
    id_.reset();
}

FrontApplication::Window FrontApplication::describe(std::uint32_t window) {
    // Every request first, then every reply: one round trip.
    xcb_get_property_cookie_t wmClass =
        xcb_get_property(connection_, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_ANY, 0, 256);
    xcb_get_property_cookie_t machine =
        xcb_get_property(connection_, 0, window, XCB_ATOM_WM_CLIENT_MACHINE, XCB_ATOM_ANY, 0, 64);
    xcb_get_property_cookie_t pid =
        xcb_get_property(connection_, 0, window, pidAtom_, XCB_ATOM_CARDINAL, 0, 1);
    xcb_get_property_cookie_t types =
        xcb_get_property(connection_, 0, window, typeAtom_, XCB_ATOM_ATOM, 0, 32);

    Window out;
    // WM_CLASS holds the instance and the class, each ending in a zero byte.
    std::string names = bytesOf(connection_, wmClass);
    std::size_t split = names.find('\0');
    out.identity.wmInstance = names.substr(0, split);
    if (split != std::string::npos) out.identity.wmClass = names.substr(split + 1);
    if (std::size_t end = out.identity.wmClass.find('\0'); end != std::string::npos)
        out.identity.wmClass.resize(end);
    // A process id means something on this machine only.
    std::string machineName = bytesOf(connection_, machine);
    if (std::size_t end = machineName.find('\0'); end != std::string::npos) machineName.resize(end);
    bool local = machineName.empty() || machineName == host_;
    std::vector<std::uint32_t> pids = cardinals(bytesOf(connection_, pid));
    if (local && !pids.empty() && pids.front() > 0) {
        out.ours = pids.front() == static_cast<std::uint32_t>(getpid());
        out.identity.executable = executableOf(pids.front());
    }
    for (std::uint32_t type : cardinals(bytesOf(connection_, types)))
        out.desktop = out.desktop || (type == desktopTypeAtom_ && type != XCB_ATOM_NONE);

    std::string program = std::filesystem::path(out.identity.executable).filename().string();
    out.ours = out.ours || isKernovaName(program) || isKernovaName(out.identity.wmInstance) ||
               isKernovaName(out.identity.wmClass);
    return out;
}

std::string FrontApplication::id() {
    if (!front_) return {};
    if (!entries_) {
        loadEntries();
        id_.reset();
    }
    if (!id_) id_ = entries_->idForWindow(*front_);
    return *id_;
}

void FrontApplication::loadEntries() {
    entries_ = DesktopEntries::load(env_);
    log_.debug("front", "read " + std::to_string(entries_->entries().size()) + " desktop entries");
    watchFolders();
}

void FrontApplication::watchFolders() {
    // Any change in an applications folder (or, where there is none yet, in
    // the data folder that would hold it) drops the entries; the next lookup
    // reads them again.
    QStringList paths;
    std::error_code ec;
    for (const std::filesystem::path& folder : DesktopEntries::applicationFolders(env_)) {
        if (!std::filesystem::is_directory(folder, ec)) {
            if (std::filesystem::is_directory(folder.parent_path(), ec))
                paths << QString::fromStdString(folder.parent_path().string());
            continue;
        }
        paths << QString::fromStdString(folder.string());
        namespace fs = std::filesystem;
        fs::recursive_directory_iterator it(folder, fs::directory_options::skip_permission_denied,
                                            ec);
        for (; !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
            std::error_code typeError;
            if (it->is_directory(typeError) && paths.size() < 256)
                paths << QString::fromStdString(it->path().string());
        }
    }
    watcher_ = std::make_unique<QFileSystemWatcher>();
    if (!paths.isEmpty()) watcher_->addPaths(paths);
    QObject::connect(watcher_.get(), &QFileSystemWatcher::directoryChanged, watcher_.get(), [this] {
        entries_.reset();
        id_.reset();
    });
}

}  // namespace kernova::daemon
