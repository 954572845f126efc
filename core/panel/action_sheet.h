// The panel's action sheets (the history and the URL-template picker): a
// list of entries and a cancel entry, shown in an overlay window of its own
// over one monitor, which goes when the sheet does.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "ui/application.h"
#include "ui/geometry.h"

namespace kernova {

// Shows the sheet over `monitor`: `choose` gets the index of the entry picked;
// the cancel entry (last), Escape or a click outside the sheet picks nothing.
void showActionSheet(ui::Application& application, const ui::Rect& monitor,
                     const std::string& title, const std::vector<std::string>& entries,
                     const std::string& cancelTitle, std::function<void(std::size_t)> choose);

}  // namespace kernova
