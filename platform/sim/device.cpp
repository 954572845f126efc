#include "sim/device.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

#include "ui/application.h"

namespace kernova::sim {

Device::Folder::Folder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kernova-sim-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot create the device folder in " + pattern);
    }
    path_ = pattern;
}

Device::Folder::~Folder() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

SimProcess::SimProcess(Device& device, ProcessRole role, std::string bundleIdentifier)
    : device_(device),
      role_(role),
      bundleIdentifier_(std::move(bundleIdentifier)),
      runLoop_(device.clock_) {
    systemNotifications_ =
        std::make_unique<SimSystemNotifications>(device.notificationBus_, runLoop_);
    context_ = std::make_unique<Context>(runLoop_, *systemNotifications_, device.paths());
    context_->setHttp(&http_);
    pasteboardListener_ = device.pasteboard_.attach(runLoop_, context_->notifications());
}

SimProcess::~SimProcess() {
    // The application goes before the services it was built on.
    application_.reset();
    services_.reset();
    device_.pasteboard_.detach(pasteboardListener_);
}

MessageSender& SimProcess::messageSender() {
    if (!sender_) {
        sender_ = std::make_unique<SimMessageSender>(device_.messageCenter(), bundleIdentifier_);
    }
    return *sender_;
}

ProcessServices& SimProcess::services() {
    if (!services_) services_ = std::make_unique<ProcessServices>(*this);
    return *services_;
}

ui::Platform& SimProcess::platform() {
    return services().platform();
}

ui::Application& SimProcess::application() {
    if (!application_) application_ = services().makeApplication();
    return *application_;
}

Device::Device(DeviceOptions options) : options_(std::move(options)) {
    preferences_ = root_.path() / "Preferences";
    std::filesystem::create_directories(preferences_);
    if (options_.bundleDirectory.empty()) {
        bundle_ = root_.path() / "KernovaPrefs.bundle";
        std::filesystem::create_directories(bundle_);
    } else {
        bundle_ = options_.bundleDirectory;
    }
    services_.screen.bounds = ui::Rect(0, 0, options_.screenWidth, options_.screenHeight);
    services_.screen.scale = options_.screenScale;
    server_ = std::make_unique<SimProcess>(*this, ProcessRole::server, kServerBundleIdentifier);
    messageCenter_ = std::make_unique<SimMessageCenter>(server_->runLoop());
}

Device::~Device() {
    apps_.clear();
    messageCenter_.reset();
    server_.reset();
}

SimProcess& Device::launchApp(const std::string& bundleIdentifier) {
    if (SimProcess* running = app(bundleIdentifier)) return *running;
    apps_.push_back(std::make_unique<SimProcess>(*this, ProcessRole::app, bundleIdentifier));
    return *apps_.back();
}

void Device::setFrontmostApplication(std::string bundleIdentifier) {
    frontmost_ = std::move(bundleIdentifier);
    for (SimProcess* p : processes()) {
        if (p->hasApplication()) {
            p->application().setFrontmostApplication(frontmost_, ui::Orientation::portrait);
        }
    }
}

void Device::terminateApp(const std::string& bundleIdentifier) {
    std::erase_if(apps_, [&](const std::unique_ptr<SimProcess>& p) {
        return p->bundleIdentifier() == bundleIdentifier;
    });
    if (frontmost_ == bundleIdentifier) setFrontmostApplication("");
}

SimProcess* Device::app(std::string_view bundleIdentifier) {
    for (auto& p : apps_) {
        if (p->bundleIdentifier() == bundleIdentifier) return p.get();
    }
    return nullptr;
}

std::vector<SimProcess*> Device::processes() {
    std::vector<SimProcess*> all{server_.get()};
    for (auto& p : apps_)
        all.push_back(p.get());
    return all;
}

}  // namespace kernova::sim
