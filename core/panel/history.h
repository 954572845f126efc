// The history: the texts the panel showed, most recent first, in the history
// file ("items"), which is read afresh and written whole at every use. The
// "History" action and the "showHistory" message list them in a sheet;
// picking one opens a new panel on it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "base/context.h"

namespace kernova {

inline constexpr const char* kHistoryTitle = "<==History==>";
inline constexpr const char* kHistoryCancelTitle = "取消";
// An entry of the sheet shows at most this many characters.
inline constexpr std::size_t kHistoryEntryCharacters = 80;

// The texts of the history file, most recent first; empty when the file is
// missing or malformed. Entries that are not text are left out.
std::vector<std::string> loadHistory(const Context& context);

// Records `text` as the most recent entry. With "historyCount" c (0 or less:
// nothing is recorded): a list of c entries or more first loses the one entry
// at c - 1 (a longer list keeps its length); then, when the most recent entry
// is already `text`, nothing is written at all. A malformed file is replaced.
void recordHistory(const Context& context, const std::string& text);

// How the sheet shows an entry: each line break as "⏎", and at most
// kHistoryEntryCharacters characters, elided in the middle with "…".
std::string historyEntryTitle(std::string_view text);

}  // namespace kernova
