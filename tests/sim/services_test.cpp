// The platform services as the driver plays the user's part on them, where the
// product tests do not reach: a dismissed keyboard types nothing, refused URLs
// are kept, and the application in front reaches every process.
#include <gtest/gtest.h>

#include "sim/device.h"
#include "sim/driver.h"

namespace kernova::sim {
namespace {

TEST(ServicesTest, SmallServicesRecordWhatWasAsked) {
    Device device;
    Driver driver{device};
    const ui::Platform& platform = driver.application().platform();
    platform.keyboard.insertText("word");
    platform.keyboard.dismiss();
    platform.keyboard.insertText("lost");
    EXPECT_EQ(device.services().keyboard.insertedTexts(), std::vector<std::string>{"word"});

    EXPECT_TRUE(driver.application().openURL("https://example.com"));
    EXPECT_FALSE(driver.application().openURL("weixin://"));
    device.server().services().urlOpener().installScheme("weixin");
    EXPECT_TRUE(driver.application().canOpenURL("WEIXIN://x"));
    EXPECT_EQ(device.server().services().urlOpener().refusedURLs(),
              std::vector<std::string>{"weixin://"});

    SimProcess& notes = device.launchApp("com.example.notes");
    notes.application();
    driver.setFrontmostApplication("com.example.notes");
    EXPECT_EQ(driver.application().frontmostApplicationIdentifier(), "com.example.notes");
    EXPECT_EQ(notes.application().frontmostApplicationIdentifier(), "com.example.notes");
    // An application made later starts with what is in front now.
    EXPECT_EQ(device.launchApp("com.example.late").application().frontmostApplicationIdentifier(),
              "com.example.notes");
}

}  // namespace
}  // namespace kernova::sim
