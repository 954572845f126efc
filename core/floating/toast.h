// The short notice: a button-less alert above every window that removes itself.
#pragma once

#include <optional>
#include <string>

#include "ui/geometry.h"

namespace kernova {

namespace ui {
class Application;
}  // namespace ui

// Shows `title` and `message` for `timeout` seconds (0.01 or less counts as 1)
// in a window of its own at the alert level plus 2, covering `screen` (the
// application's screen when absent). The window never takes the keyboard and
// lets touches through to the windows beneath.
void showToastMessage(ui::Application& application, const std::string& message,
                      const std::string& title, double timeout,
                      const std::optional<ui::Rect>& screen = std::nullopt);

}  // namespace kernova
