#include "panel/url_schemes.h"

#include "base/plist.h"
#include "floating/toast.h"
#include "panel/action_sheet.h"
#include "panel/tag_flow_container.h"
#include "server/settings.h"
#include "support/escaping.h"
#include "support/template_slots.h"

namespace kernova {
namespace {

constexpr std::string_view kPlaceholder = "%s";

// Sends the URL of `entry` as "openUrl"; an entry without a template sends nothing.
void openScheme(const Context& context, MessageSender& sender, const UrlScheme& entry,
                const SchemeText& text) {
    if (!entry.scheme) {
        context.log().info("panel", "URL template without \"scheme\": nothing opened");
        return;
    }
    sender.sendMessageName(
        "openUrl", Value(Dictionary{{"schemeToOpen", Value(buildSchemeUrl(*entry.scheme, text))}}));
}

}  // namespace

std::optional<std::vector<UrlScheme>> loadUrlSchemes(const Context& context) {
    const Value file = loadDictionary(context.paths().schemesFile());
    if (file.isAbsent()) return std::nullopt;
    std::vector<UrlScheme> entries;
    if (const Array* items = file["items"].asArray()) {
        for (const Value& item : *items) {
            UrlScheme entry;
            entry.name = item["name"].stringValue().value_or("");
            if (const std::string* scheme = item["scheme"].asString()) entry.scheme = *scheme;
            entries.push_back(std::move(entry));
        }
    }
    return entries;
}

std::string buildSchemeUrl(std::string_view templ, const SchemeText& text) {
    std::string url;
    // The template's pieces between placeholders: a value put in is never
    // looked at again.
    std::size_t from = 0;
    while (true) {
        const std::size_t at = templ.find(kPlaceholder, from);
        const std::string_view piece =
            templ.substr(from, at == std::string_view::npos ? std::string_view::npos : at - from);
        url +=
            text.slots ? fillTemplateSlots(piece, text.picks, text.text, {}) : std::string(piece);
        if (at == std::string_view::npos) break;
        url += text.text;
        from = at + kPlaceholder.size();
    }
    return queryAllowedEscape(url);
}

void GTagFlowContainer::schemeText(const std::string& text) {
    if (keyWindow_) keyWindow_->setHidden(true);
    const Context& context = application_.context();
    SchemeText filling{text, {}, readSettings(context).get(settings_key::kTemplateSlots)};
    if (filling.slots) {
        for (const GTagFlowItemRef& item : flowView_->selection().picks())
            filling.picks.push_back(item->text());
    }
    std::optional<std::vector<UrlScheme>> entries = loadUrlSchemes(context);
    if (!entries || entries->empty()) {
        toast(kNoSchemeTitle, kNoSchemeTimeout);
        leaveHiddenWindow();
        return;
    }
    MessageSender& sender = services_.sender;
    if (entries->size() == 1) {
        openScheme(context, sender, entries->front(), filling);
        leaveHiddenWindow();
        return;
    }
    std::vector<std::string> names;
    for (const UrlScheme& entry : *entries)
        names.push_back(entry.name);
    const ui::Rect monitor = sheetMonitor();
    ui::Application& application = application_;
    showActionSheet(application, monitor, text, names, kSchemeCancelTitle,
                    [&application, &sender, monitor, filling](std::size_t index) {
                        const Context& current = application.context();
                        // The choice reads the file again: it may have changed meanwhile.
                        std::optional<std::vector<UrlScheme>> now = loadUrlSchemes(current);
                        if (!now || now->empty()) {
                            showToastMessage(application, "", kNoSchemeTitle, kNoSchemeTimeout,
                                             monitor);
                            return;
                        }
                        if (index < now->size())
                            openScheme(current, sender, (*now)[index], filling);
                    });
    leaveHiddenWindow();
}

ui::Rect GTagFlowContainer::sheetMonitor() const {
    return keyWindow_ ? keyWindow_->frame() : application_.screen().bounds;
}

void GTagFlowContainer::leaveHiddenWindow() {
    services_.flags.popSplode = false;
    removeFromKeyWindow();
}

}  // namespace kernova
