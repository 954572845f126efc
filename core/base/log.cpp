#include "base/log.h"

#include <cstdio>

namespace kernova {

void debugLog([[maybe_unused]] std::string_view where, [[maybe_unused]] std::string_view what) {
#ifndef NDEBUG
    std::fprintf(stderr, "kernova: %.*s: %.*s\n", static_cast<int>(where.size()), where.data(),
                 static_cast<int>(what.size()), what.data());
#endif
}

}  // namespace kernova
