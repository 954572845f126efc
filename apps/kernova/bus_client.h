// What the commands that talk to kernovad share: one message sent to the
// message center, and the settings-changed notification posted on the
// session bus.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

#include "base/value.h"

namespace kernova::desktop {
class DBusMessageSender;
}

namespace kernova::cli {

// Sends through the session bus (starting kernovad by activation when needed)
// and waits only until the message has left this process. Returns the exit
// status; `err` gets the reason of a failure.
int deliverMessage(const std::string& name, const Value& userInfo, std::ostream& err);

// Whether `sender` is on the session bus with kernovad's message center
// running (started by bus activation when needed; messages sent while the bus
// starts it would be dropped). Otherwise says why on `err`, after `who`.
bool openMessageCenter(desktop::DBusMessageSender& sender, std::string_view who, std::ostream& err);

// Posts "fun.quorle.kernova/ReloadPreferences" as a system-wide notification.
// Does nothing when the session has no bus; says on `err` when the bus cannot
// be reached although the session names one.
void announceReloadOnSessionBus(std::ostream& err);

}  // namespace kernova::cli
