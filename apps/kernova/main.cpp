// kernova: the command-line front end. Each subcommand lives in its own file;
// this only dispatches. Built twice on the desktop: `kernova` itself, without
// Qt Gui, and the helper `kernova-gui` (KERNOVA_HAS_GUI), which runs the
// commands that need it in its place.
#include <array>
#include <iostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kernova/apps_command.h"
#include "kernova/cli.h"
#include "kernova/layout_command.h"
#include "kernova/settings_command.h"
#include "kernova/split_command.h"
#ifdef KERNOVA_HAS_DESKTOP
#include "kernova/bus_client.h"
#include "kernova/prefs_command.h"
#include "kernova/send_command.h"
#include "kernova/splode_command.h"
#endif
#ifdef KERNOVA_HAS_GUI
#include "kernova/doctor_command.h"
#include "kernova/ocr_command.h"
#include "kernova/render_command.h"
#else
#include "kernova/gui_helper.h"
#endif

namespace {

using Command = int (*)(std::span<const std::string>, std::istream&, std::ostream&, std::ostream&);

struct Subcommand {
    std::string_view name;
    std::string_view summary;
    Command run;
};

// `set` tells kernovad over the session bus where there is one.
int runSet(std::span<const std::string> args, std::istream& in, std::ostream& out,
           std::ostream& err) {
#ifdef KERNOVA_HAS_DESKTOP
    return kernova::cli::runSet(args, in, out, err, kernova::cli::announceReloadOnSessionBus);
#else
    return kernova::cli::runSet(args, in, out, err, {});
#endif
}

// `apps` likewise after editing the enabled applications.
int runApps(std::span<const std::string> args, std::istream& in, std::ostream& out,
            std::ostream& err) {
#ifdef KERNOVA_HAS_DESKTOP
    return kernova::cli::runApps(args, in, out, err, kernova::cli::announceReloadOnSessionBus);
#else
    return kernova::cli::runApps(args, in, out, err, {});
#endif
}

#if defined(KERNOVA_HAS_DESKTOP) && !defined(KERNOVA_HAS_GUI)
// What needs Qt Gui runs in the helper program instead.
int runRender(std::span<const std::string> args, std::istream&, std::ostream& out,
              std::ostream& err) {
    return kernova::cli::runInGuiHelper("render", args, out, err);
}

int runOcr(std::span<const std::string> args, std::istream&, std::ostream& out, std::ostream& err) {
    return kernova::cli::runInGuiHelper("ocr", args, out, err);
}

int runDoctor(std::span<const std::string> args, std::istream&, std::ostream& out,
              std::ostream& err) {
    return kernova::cli::runInGuiHelper("doctor", args, out, err);
}

int runSplode(std::span<const std::string> args, std::istream& in, std::ostream& out,
              std::ostream& err) {
    const kernova::cli::SplodeParse parse = kernova::cli::parseSplodeArguments(args);
    using Source = kernova::cli::SplodeOptions::Source;
    if (parse.options && !parse.options->help &&
        (parse.options->source == Source::primary || parse.options->source == Source::clipboard))
        return kernova::cli::runInGuiHelper("splode", args, out, err);
    return kernova::cli::runSplodeReading(args, in, out, err, nullptr);
}
#elif defined(KERNOVA_HAS_GUI)
using kernova::cli::runDoctor;
using kernova::cli::runOcr;
using kernova::cli::runRender;
using kernova::cli::runSplode;
#endif

constexpr std::array kSubcommands{
    Subcommand{"split", "split a text into words and symbols", kernova::cli::runSplit},
    Subcommand{"layout", "lay a text out as tags on a board", kernova::cli::runLayout},
    Subcommand{"set", "change a setting", runSet},
    Subcommand{"get", "show a setting, or every setting with --all", kernova::cli::runGet},
    Subcommand{"apps", "list the applications, or enable and disable them", runApps},
#ifdef KERNOVA_HAS_DESKTOP
    Subcommand{"send", "send a named message to kernovad", kernova::cli::runSend},
    Subcommand{"splode", "open the panel on a text or the X11 selection", runSplode},
    Subcommand{"render", "paint a text's tag board into a PNG image", runRender},
    Subcommand{"ocr", "recognise the words of an image and open the panel on them", runOcr},
    Subcommand{"prefs", "open the preferences window", kernova::cli::runPrefs},
    Subcommand{"doctor", "check what Kernova needs from this session", runDoctor},
#endif
};

constexpr std::string_view kUsage = "usage: kernova <command> [arguments]";

void printHelp(std::ostream& out) {
    out << kUsage << "\n\ncommands:\n";
    for (const Subcommand& c : kSubcommands) {
        out << "  " << c.name << "  " << c.summary << '\n';
    }
    out << "\nRun \"kernova <command> --help\" for a command's arguments;\n"
           "\"kernova --version\" prints the version.\n";
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty()) {
        std::cerr << kUsage << '\n';
        return 2;
    }
    if (args[0] == "--version") {
        std::cout << "kernova " KERNOVA_VERSION "\n";
        return kernova::cli::finishOutput(std::cout, std::cerr, "--version");
    }
    if (args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
        printHelp(std::cout);
        return kernova::cli::finishOutput(std::cout, std::cerr, "--help");
    }
    for (const Subcommand& c : kSubcommands) {
        if (args[0] == c.name) {
            std::ios::sync_with_stdio(false);
            return c.run(std::span(args).subspan(1), std::cin, std::cout, std::cerr);
        }
    }
    std::cerr << "kernova: unknown command " << args[0] << '\n' << kUsage << '\n';
    return 2;
}
