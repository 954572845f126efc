// `kernova doctor [--json]`: checks what Kernova needs from this session (the
// display, a compositor, the selections, the hotkey, kernovad and its bus
// activation, autostart, the preferences, OCR data, the modules) and prints
// each finding with the command that fixes a problem. It always answers: no
// display, no bus or no kernovad are findings. Exit status 0 when nothing is
// a problem (notes do not count), 1 otherwise, 2 for bad arguments.
#pragma once

#include <iosfwd>
#include <span>
#include <string>
#include <vector>

namespace kernova::cli {

struct Finding {
    enum class Level { ok, note, problem };
    std::string check;  // "display", "kernovad", "ocr-data jpn", ...
    Level level = Level::ok;
    std::string detail;  // names and outcomes, never a selection's text
    std::string fix;     // the command that fixes it; empty when ok
};

int runDoctor(std::span<const std::string> args, std::istream& in, std::ostream& out,
              std::ostream& err);

}  // namespace kernova::cli
