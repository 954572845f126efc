// The simulated device: a deterministic phone for headless tests. One virtual
// clock drives the run loops of every process; the server process (the home
// screen) owns the message center; app processes send it messages, share the
// clipboard and the system-wide notifications, and the settings folder.
//
// Nothing happens until the test moves time: advance(seconds) runs everything
// due in that span, runUntilIdle() what is due now (messages in flight,
// notifications, posted work).
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/context.h"
#include "base/virtual_run_loop.h"
#include "sim/message_bus.h"
#include "sim/sim_http_client.h"
#include "sim/sim_image_codec.h"
#include "sim/sim_pasteboard.h"
#include "sim/sim_services.h"
#include "sim/sim_text_measurer.h"
#include "sim/system_notifications.h"

namespace kernova::sim {

class Device;

enum class ProcessRole { server, app };

inline constexpr const char* kServerBundleIdentifier = "kernovad";

struct DeviceOptions {
    // The preference bundle's folder (pictures); empty: an empty folder in the
    // device's temporary folder.
    std::filesystem::path bundleDirectory;
    double screenWidth = 375;  // points
    double screenHeight = 667;
    double screenScale = 2;
};

// One process on the device, with its own run loop and context.
class SimProcess {
  public:
    SimProcess(Device& device, ProcessRole role, std::string bundleIdentifier);
    ~SimProcess();
    SimProcess(const SimProcess&) = delete;
    SimProcess& operator=(const SimProcess&) = delete;

    Device& device() { return device_; }
    ProcessRole role() const { return role_; }
    bool isServer() const { return role_ == ProcessRole::server; }
    const std::string& bundleIdentifier() const { return bundleIdentifier_; }

    VirtualRunLoop& runLoop() { return runLoop_; }
    Context& context() { return *context_; }
    // Sends to the server's message center, from this process.
    MessageSender& messageSender();
    SystemNotifications& systemNotifications() { return *systemNotifications_; }
    // The process's HTTP client (its context's), answered from the test's script.
    SimHttpClient& http() { return http_; }

    // The toolkit side: every platform service of this process, and the
    // process's application object (both created on first use).
    ui::Platform& platform();
    ProcessServices& services();
    ui::Application& application();
    bool hasApplication() const { return application_ != nullptr; }

  private:
    Device& device_;
    ProcessRole role_;
    std::string bundleIdentifier_;
    // Declared before everything that schedules on it, so it is destroyed after
    // them; its destruction cancels whatever they still had pending.
    VirtualRunLoop runLoop_;
    SimHttpClient http_{runLoop_};
    std::unique_ptr<SimSystemNotifications> systemNotifications_;
    std::unique_ptr<Context> context_;
    std::unique_ptr<SimMessageSender> sender_;
    std::uint64_t pasteboardListener_ = 0;
    std::unique_ptr<ProcessServices> services_;
    std::shared_ptr<ui::Application> application_;
};

class Device {
    // Creates the device's temporary folder and removes it, with everything in
    // it, after all else on the device is gone.
    class Folder {
      public:
        Folder();
        ~Folder();
        Folder(const Folder&) = delete;
        Folder& operator=(const Folder&) = delete;
        const std::filesystem::path& path() const { return path_; }

      private:
        std::filesystem::path path_;
    };

  public:
    explicit Device(DeviceOptions options = {});
    ~Device();
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    const DeviceOptions& options() const { return options_; }
    VirtualClock& clock() { return clock_; }
    double now() const { return clock_.now(); }
    void advance(double seconds) { clock_.advance(seconds); }
    void runUntilIdle() { clock_.runUntilIdle(); }

    // The home-screen process, there from the start.
    SimProcess& server() { return *server_; }
    // Starts an app process; a bundle identifier already running returns it.
    SimProcess& launchApp(const std::string& bundleIdentifier);
    // Ends an app process; its pending work is dropped. The server cannot end.
    void terminateApp(const std::string& bundleIdentifier);
    SimProcess* app(std::string_view bundleIdentifier);
    // The server first, then the apps in launch order.
    std::vector<SimProcess*> processes();

    // The app in front; empty while the home screen is in front. Setting it
    // tells every process's application object at once.
    const std::string& frontmostApplication() const { return frontmost_; }
    void setFrontmostApplication(std::string bundleIdentifier);

    // The screen, keyboard and appearance that all processes share.
    DeviceServices& services() { return services_; }

    SimMessageCenter& messageCenter() { return *messageCenter_; }
    const std::vector<DeliveredMessage>& deliveredMessages() const { return messageCenter_->log(); }
    SystemNotificationBus& systemNotificationBus() { return notificationBus_; }
    SimPasteboard& pasteboard() { return pasteboard_; }
    const SimTextMeasurer& textMeasurer() const { return measurer_; }
    const SimImageCodec& imageCodec() const { return codec_; }

    // The device's own folder, removed with everything in it after the device.
    const std::filesystem::path& temporaryDirectory() const { return root_.path(); }
    // The settings folder every process shares; removed with the device.
    const std::filesystem::path& preferencesDirectory() const { return preferences_; }
    const std::filesystem::path& bundleDirectory() const { return bundle_; }
    Paths paths() const { return Paths{preferences_, bundle_}; }

  private:
    friend class SimProcess;

    Folder root_;
    DeviceOptions options_;
    std::filesystem::path preferences_;
    std::filesystem::path bundle_;
    VirtualClock clock_;
    SystemNotificationBus notificationBus_;
    SimPasteboard pasteboard_;
    SimTextMeasurer measurer_;
    SimImageCodec codec_;
    DeviceServices services_;
    std::string frontmost_;
    // The server goes last of the processes: senders hold its center.
    std::unique_ptr<SimProcess> server_;
    std::unique_ptr<SimMessageCenter> messageCenter_;
    std::vector<std::unique_ptr<SimProcess>> apps_;
};

}  // namespace kernova::sim
