#include "panel/history.h"

#include "base/plist.h"
#include "base/text.h"
#include "panel/action_sheet.h"
#include "panel/tag_flow_container.h"
#include "server/settings.h"

namespace kernova {
namespace {

constexpr const char* kReturnSymbol = "⏎";
constexpr const char* kEllipsis = "…";

bool isLineBreak(char32_t c) {
    return c == U'\n' || c == U'\r' || c == U'\v' || c == U'\f' || c == 0x85 || c == 0x2028 ||
           c == 0x2029;
}

}  // namespace

std::vector<std::string> loadHistory(const Context& context) {
    std::vector<std::string> texts;
    const Value file = loadDictionary(context.paths().historyFile());
    if (const Array* items = file["items"].asArray()) {
        for (const Value& item : *items)
            if (const std::string* text = item.asString()) texts.push_back(*text);
    }
    return texts;
}

void recordHistory(const Context& context, const std::string& text) {
    const std::int64_t capacity = readSettings(context).get(settings_key::kHistoryCount);
    if (capacity <= 0 || text.empty()) return;
    const auto path = context.paths().historyFile();
    const Value file = loadDictionary(path);
    Dictionary dictionary;
    if (const Dictionary* read = file.asDictionary()) dictionary = *read;
    Array items;
    if (const Array* read = file["items"].asArray()) items = *read;
    const auto limit = static_cast<std::size_t>(capacity);
    if (items.size() >= limit) items.erase(items.begin() + static_cast<std::ptrdiff_t>(limit - 1));
    if (!items.empty() && items.front().asString() && *items.front().asString() == text) return;
    items.insert(items.begin(), Value(text));
    dictionary["items"] = Value(std::move(items));
    if (SaveResult saved = savePropertyList(path, Value(std::move(dictionary))); !saved)
        context.log().warn("history", "the history file was not written: " + saved.error);
}

std::string historyEntryTitle(std::string_view text) {
    const std::string utf8 = repairUtf8(text);
    // The characters as shown, each as its UTF-8 bytes.
    std::vector<std::string> shown;
    for (std::size_t i = 0; i < utf8.size();) {
        std::size_t length = 1;
        const char32_t c = decodeUtf8At(utf8, i, &length);
        if (isLineBreak(c)) {
            if (c == U'\r' && i + 1 < utf8.size() && utf8[i + 1] == '\n') ++length;
            shown.emplace_back(kReturnSymbol);
        } else {
            shown.emplace_back(utf8.substr(i, length));
        }
        i += length;
    }
    std::string title;
    if (shown.size() <= kHistoryEntryCharacters) {
        for (const std::string& c : shown)
            title += c;
        return title;
    }
    const std::size_t head = kHistoryEntryCharacters / 2;
    const std::size_t tail = kHistoryEntryCharacters - head - 1;
    for (std::size_t i = 0; i < head; ++i)
        title += shown[i];
    title += kEllipsis;
    for (std::size_t i = shown.size() - tail; i < shown.size(); ++i)
        title += shown[i];
    return title;
}

void GTagFlowContainer::saveHistory(const std::string& text) {
    recordHistory(application_.context(), text);
}

void GTagFlowContainer::history() {
    const Context& context = application_.context();
    std::vector<std::string> titles;
    for (const std::string& text : loadHistory(context))
        titles.push_back(historyEntryTitle(text));
    context.log().info("panel", "history of " + std::to_string(titles.size()) + " entries shown");
    MessageSender& sender = services_.sender;
    showActionSheet(application_, sheetMonitor(), kHistoryTitle, titles, kHistoryCancelTitle,
                    [&context, &sender](std::size_t index) {
                        // The file may have changed while the sheet was up.
                        const std::vector<std::string> now = loadHistory(context);
                        if (index >= now.size()) return;
                        sender.sendMessageName("notifySplode",
                                               Value(Dictionary{{"callFromResponder", Value(true)},
                                                                {"selection", Value(now[index])}}));
                    });
}

}  // namespace kernova
