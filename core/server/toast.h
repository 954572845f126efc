// The short notice: a button-less alert above every window that removes itself.
#pragma once

#include <string>

namespace kernova {

namespace ui {
class Application;
}  // namespace ui

// Shows `title` and `message` for `timeout` seconds (0.01 or less counts as 1)
// in a window of its own at the alert level plus 2.
void showToastMessage(ui::Application& application, const std::string& message,
                      const std::string& title, double timeout);

}  // namespace kernova
