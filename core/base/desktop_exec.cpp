// The Exec key of desktop entries: its quoting and its field codes; and ids
// compared with or without their ".desktop".
#include "base/desktop_entries.h"

namespace kernova {
namespace {

constexpr std::string_view kSuffix = ".desktop";

std::string_view withoutSuffix(std::string_view id) {
    if (id.ends_with(kSuffix)) id.remove_suffix(kSuffix.size());
    return id;
}

bool isQuotedEscape(char c) {
    return c == '"' || c == '`' || c == '$' || c == '\\';
}

}  // namespace

bool sameDesktopEntryId(std::string_view a, std::string_view b) {
    if (a.empty() || b.empty()) return false;
    return withoutSuffix(a) == withoutSuffix(b);
}

std::optional<std::vector<std::string>> splitExec(std::string_view exec) {
    std::vector<std::string> args;
    std::string arg;
    bool inArg = false;  // an argument has begun (it may be "" quoted)
    bool quoted = false;
    for (std::size_t i = 0; i < exec.size(); ++i) {
        char c = exec[i];
        if (quoted) {
            if (c == '"') {
                quoted = false;
            } else if (c == '\\' && i + 1 < exec.size() && isQuotedEscape(exec[i + 1])) {
                arg += exec[++i];
            } else {
                arg += c;
            }
        } else if (c == ' ' || c == '\t' || c == '\n') {
            if (inArg) args.push_back(std::move(arg));
            arg.clear();
            inArg = false;
        } else if (c == '"') {
            quoted = true;
            inArg = true;
        } else if (c == '\\' && i + 1 < exec.size()) {
            // Not allowed unquoted; read leniently as escaping the next character.
            arg += exec[++i];
            inArg = true;
        } else {
            arg += c;
            inArg = true;
        }
    }
    if (quoted) return std::nullopt;
    if (inArg) args.push_back(std::move(arg));
    return args;
}

std::vector<std::string> expandExec(const DesktopEntry& entry,
                                    const std::vector<std::string>& files) {
    std::optional<std::vector<std::string>> args = splitExec(entry.exec);
    if (!args) return {};
    std::vector<std::string> out;
    for (const std::string& arg : *args) {
        if (arg == "%F" || arg == "%U") {
            out.insert(out.end(), files.begin(), files.end());
            continue;
        }
        if (arg == "%i") {
            if (!entry.icon.empty()) {
                out.emplace_back("--icon");
                out.push_back(entry.icon);
            }
            continue;
        }
        std::string expanded;
        bool hadCode = false;
        for (std::size_t i = 0; i < arg.size(); ++i) {
            if (arg[i] != '%') {
                expanded += arg[i];
                continue;
            }
            if (++i == arg.size()) break;  // a lone "%" at the end is dropped
            char code = arg[i];
            if (code == '%') {
                expanded += '%';
                continue;
            }
            hadCode = true;
            switch (code) {
                case 'f':
                case 'F':
                case 'u':
                case 'U':
                    if (!files.empty()) expanded += files.front();
                    break;
                case 'i':
                    expanded += entry.icon;
                    break;
                case 'c':
                    expanded += entry.name;
                    break;
                case 'k':
                    expanded += entry.path.string();
                    break;
                default:
                    break;  // deprecated (%d %D %n %N %v %m) and unknown codes
            }
        }
        if (hadCode && expanded.empty()) continue;
        out.push_back(std::move(expanded));
    }
    return out;
}

}  // namespace kernova
