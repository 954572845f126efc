// The commands that need Qt Gui (`render`, `ocr`, `splode --primary` and
// `--clipboard`) run in a helper program, `kernova-gui`, which the `kernova`
// command starts in its place: the command's other uses (a request to
// kernovad above all) never load Qt Gui and the libraries under it.
#pragma once

#include <iosfwd>
#include <span>
#include <string>
#include <string_view>

namespace kernova::cli {

// Replaces this process with the helper running `command` on `args`; returns
// (status 1, with a message) only when the helper cannot be started.
int runInGuiHelper(std::string_view command, std::span<const std::string> args, std::ostream& out,
                   std::ostream& err);

}  // namespace kernova::cli
