// The server process and one application on the simulated device: Kernova
// switched on, the application in front and in the enabled list, and the
// server's log kept at info, so that tests can check it holds no user text.
#pragma once

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "base/plist.h"
#include "panel/screen_report.h"
#include "panel/tag_flow_container.h"
#include "server/server.h"
#include "server/settings.h"
#include "sim/device.h"
#include "sim/driver.h"
#include "sim/sim_server_host.h"
#include "support/base64_categories.h"
#include "ui/alert.h"

namespace kernova::testing {

inline constexpr const char* kFrontApp = "org.example.Editor";

class ServerFixture : public ::testing::Test {
  protected:
    ServerFixture() {
        server.context().log().setLevel(LogLevel::info);
        server.context().log().setSink(
            [this](LogLevel, std::string_view line) { logLines.emplace_back(line); });
        savePropertyList(server.context().paths().enabledAppsFile(),
                         Value(Dictionary{{"Enabled", Value(Array{Value(kFrontApp)})}}));
        set("enabled", Value(true));
        theServer.start();
        driver.setFrontmostApplication(kFrontApp);
        device.runUntilIdle();
    }

    // Writes one setting into the settings file.
    void set(const char* key, Value value) {
        updateSettings(server.context(), [&](Dictionary& d) { d[key] = value; });
    }
    // The application sends `name` and the device runs until idle.
    void send(const std::string& name, const Value& info = {}) {
        app.messageSender().sendMessageName(name, info);
        device.runUntilIdle();
    }
    // The application asks for a panel on `text`, as its selection item does;
    // `more` adds keys such as "image".
    void splodeSelection(const std::string& text, Dictionary more = {}) {
        more["callFromResponder"] = Value(true);
        more["selection"] = Value(text);
        send("notifySplode", Value(std::move(more)));
    }
    // A `width` x `height` picture of one colour, as PNG in base64.
    std::string pngBase64(int width, int height, std::uint32_t argb,
                          Base64Lines lines = Base64Lines::None) {
        const ui::PixelBuffer pixels{
            width, height,
            std::vector<std::uint32_t>(static_cast<std::size_t>(width * height), argb)};
        return platformBase64Encode(
            *device.imageCodec().encode(*ui::Image::fromPixels(pixels), ui::ImageFormat::png),
            lines);
    }
    // Opens a panel on `text` and lets its show animation end.
    GTagFlowContainer& open(const std::string& text) {
        splodeSelection(text);
        device.advance(GTagFlowContainer::kShowSeconds);
        EXPECT_NE(theServer.panel(), nullptr);
        return *theServer.panel();
    }
    // Hides the panel and lets its fade end.
    void closePanel() {
        theServer.panel()->hide();
        device.advance(0.1);
    }
    static ui::Point middle(const ui::View& view) {
        return view.convertPointToScreen(ui::Point{view.bounds().midX(), view.bounds().midY()});
    }
    // The shown panel's action button titled `name`.
    ui::Button& action(const std::string& name) {
        for (const auto& view : theServer.panel()->topContentView()->subviews()) {
            auto* button = dynamic_cast<ui::Button*>(view.get());
            if (button && button->currentTitle() == name) return *button;
        }
        throw std::runtime_error("no button " + name);
    }
    void tapAction(const std::string& name) {
        driver.tap(middle(action(name)));
        device.runUntilIdle();
    }
    // The middle of the shown panel's tag `text`, on screen.
    ui::Point tag(const std::string& text) {
        for (const TagState& state : tagStatesOf(*theServer.panel()->flowView()))
            if (state.text == text) return ui::Point{state.frame.midX(), state.frame.midY()};
        ADD_FAILURE() << "no tag " << text;
        return {};
    }
    static HttpResult answer(std::string body) {
        HttpResponse response;
        response.status = 200;
        response.data = std::move(body);
        return response;
    }
    // The titles of every alert and notice the server showed, oldest first.
    std::vector<std::string> toasts() {
        std::vector<std::string> titles;
        for (const auto& shown : server.services().presenter().history()) {
            if (auto* alert = dynamic_cast<ui::AlertController*>(shown.controller.get()))
                titles.push_back(alert->title().value_or(""));
        }
        return titles;
    }
    void expectNotInTheLog(std::string_view text) {
        for (const std::string& line : logLines)
            EXPECT_EQ(line.find(text), std::string::npos) << line;
    }

    sim::Device device;
    sim::Driver driver{device};
    sim::SimProcess& server = device.server();
    sim::SimProcess& app = device.launchApp(kFrontApp);
    sim::SimServerHost host{device};
    Server theServer{server.context(), device.messageCenter(), host};
    std::vector<std::string> logLines;
};

}  // namespace kernova::testing
