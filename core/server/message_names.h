// The messages the server serves, in the order it registers them, and the
// notification names the parts of the system use among themselves.
#pragma once

#include <array>
#include <string_view>

namespace kernova {

namespace message_name {
inline constexpr const char* kNotifySplode = "notifySplode";
inline constexpr const char* kOpenPrefs = "openPrefs";
inline constexpr const char* kAlertTrans = "alertTrans";
inline constexpr const char* kOpenUrl = "openUrl";
inline constexpr const char* kShareText = "shareText";
inline constexpr const char* kPopButton = "popButton";
inline constexpr const char* kShowRunning = "showRunning";
inline constexpr const char* kCopyText = "copyText";
inline constexpr const char* kShowHistory = "showHistory";
inline constexpr const char* kInsertText = "insertText";
inline constexpr const char* kDoOCR = "doOCR";
}  // namespace message_name

// The message table in registration order.
inline constexpr std::array<std::string_view, 11> kMessageTable{
    message_name::kNotifySplode, message_name::kOpenPrefs, message_name::kAlertTrans,
    message_name::kOpenUrl,      message_name::kShareText, message_name::kPopButton,
    message_name::kShowRunning,  message_name::kCopyText,  message_name::kShowHistory,
    message_name::kInsertText,   message_name::kDoOCR,
};

// "openPrefs": URLs of this scheme ("kernova-prefs:/Translation") open the
// preferences window at the page named by their path (`kernova prefs URL`);
// without "prefsPath" the window opens at its first page.
inline constexpr std::string_view kPreferencesUrlScheme = "kernova-prefs";
inline constexpr std::string_view kPreferencesRootUrl = "kernova-prefs:/General";

// Process-local: the running indicator hides itself. The server posts it as the
// first step of "notifySplode", "popButton" and "alertTrans".
inline constexpr const char* kHideRunningNotification = "fun.quorle.hiderunning";

}  // namespace kernova
