#include "kernova/prefs_command.h"

#include <vector>

#include "kernova/gui_helper.h"

namespace kernova::cli {

int runPrefs(std::span<const std::string> args, std::istream&, std::ostream& out,
             std::ostream& err) {
    return execHelperProgram(KERNOVA_PREFS_RELATIVE_PATH, KERNOVA_PREFS_BUILD_PATH,
                             std::vector<std::string>(args.begin(), args.end()), "kernova prefs",
                             out, err);
}

}  // namespace kernova::cli
