// The commands that need Qt Gui (`render`, `ocr`, `doctor`, `splode
// --primary` and `--clipboard`) run in a helper program, `kernova-gui`, which
// the `kernova` command starts in its place: the command's other uses (a
// request to kernovad above all) never load Qt Gui and the libraries under it.
// `kernova prefs` likewise starts the preferences window's own program.
#pragma once

#include <iosfwd>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kernova::cli {

// Replaces this process with the helper running `command` on `args`; returns
// (status 1, with a message) only when the helper cannot be started.
int runInGuiHelper(std::string_view command, std::span<const std::string> args, std::ostream& out,
                   std::ostream& err);

// Replaces this process with one of Kernova's helper programs: installed at
// `relative` to this program's folder, else at `buildPath` (the build tree's),
// with `args` after its name. Returns status 1, after saying so on `err` as
// `who`, only when it cannot be started.
int execHelperProgram(const char* relative, const char* buildPath, std::vector<std::string> args,
                      std::string_view who, std::ostream& out, std::ostream& err);

}  // namespace kernova::cli
