// A digest of everything a view tree paints, so that an overlay repaints when
// and only when its window's model changed.
#pragma once

#include <cstdint>

#include "ui/view.h"

namespace kernova::desktop {

std::uint64_t treeFingerprint(const ui::View& root);

}  // namespace kernova::desktop
