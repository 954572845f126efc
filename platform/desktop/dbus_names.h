// Where the desktop's messages and system notifications travel on the session
// bus. The interfaces are described in the introspection files beside this one.
#pragma once

#include "base/messaging.h"

namespace kernova::desktop {

// The message center: a bus name owned by kernovad, started by bus activation.
inline constexpr const char* kMessagesService = kMessageCenterName;
inline constexpr const char* kMessagesPath = "/fun/quorle/kernova/prefs";
inline constexpr const char* kMessagesInterface = "fun.quorle.kernova.Messages";
inline constexpr const char* kSendMethod = "Send";
// kernovad's status (names and outcomes), for `kernova doctor`.
inline constexpr const char* kStatusPath = "/fun/quorle/kernova/status";
inline constexpr const char* kStatusInterface = "fun.quorle.kernova.Status";

// System-wide notifications: a broadcast signal carrying the notification name.
inline constexpr const char* kNotificationsPath = "/fun/quorle/kernova/notifications";
inline constexpr const char* kNotificationsInterface = "fun.quorle.kernova.Notifications";
inline constexpr const char* kNotifySignal = "Notify";

}  // namespace kernova::desktop
