// The system clipboard (the general pasteboard). Every process sees the same one;
// each change posts kPasteboardChangedNotification in every process's own
// notification center, on that process's run loop.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace kernova::ui {

inline constexpr const char* kPasteboardChangedNotification = "UIPasteboardChangedNotification";

class Pasteboard {
  public:
    virtual ~Pasteboard() = default;
    // The text on the clipboard; absent when it holds no text.
    virtual std::optional<std::string> string() const = 0;
    virtual void setString(const std::string& text) = 0;
    // Grows by one with every write, from any process.
    virtual std::uint64_t changeCount() const = 0;
};

}  // namespace kernova::ui
