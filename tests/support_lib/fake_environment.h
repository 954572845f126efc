// An environment of the given variables only, for code that reads one through
// an EnvironmentLookup.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "base/paths.h"

namespace kernova::testing {

inline EnvironmentLookup environmentOf(std::map<std::string, std::string> vars) {
    return [vars = std::move(vars)](const char* name) -> std::optional<std::string> {
        auto it = vars.find(name);
        return it == vars.end() ? std::nullopt : std::optional(it->second);
    };
}

}  // namespace kernova::testing
