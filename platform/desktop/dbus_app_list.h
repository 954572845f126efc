// The application list's answer on the session bus: a system-wide
// notification that carries a dictionary of strings, as the signal
// NotifyWithUserInfo(name, a{ss}) beside Notify on the notifications path.
#pragma once

#include <QDBusConnection>
#include <map>
#include <string>

namespace kernova::desktop {

inline constexpr const char* kNotifyWithUserInfoSignal = "NotifyWithUserInfo";

// Posts `name` with `userInfo`; goes nowhere without a bus.
void postWithUserInfo(QDBusConnection& connection, const std::string& name,
                      const std::map<std::string, std::string>& userInfo);

}  // namespace kernova::desktop
