// The share sheet's own entries for a text: "Save as…" (a file the user
// picks), "Email" (a mailto: URL with the text as its body) and one entry per
// application whose desktop entry opens text/plain, which is started on a
// private copy of the text. What they need of the desktop goes through the
// ServerHost; outcomes are logged by name only, never with the text.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/desktop_entries.h"
#include "base/log.h"
#include "server/host.h"
#include "ui/activity.h"

namespace kernova {

inline constexpr const char* kShareSaveActivityType = "fun.quorle.kernova.share.save";
inline constexpr const char* kShareEmailActivityType = "fun.quorle.kernova.share.email";
// + the application's desktop-entry id.
inline constexpr const char* kShareApplicationActivityPrefix = "fun.quorle.kernova.share.app:";
// The type of file the applications must open to be offered.
inline constexpr const char* kSharedTextMimeType = "text/plain";

// What the activities use: the host, the log, and a short notice for failures.
struct ShareServices {
    ServerHost& host;
    const Logger& log;
    std::function<void(const std::string& title)> notice;
};

// An activity for text items: their strings joined by line breaks.
class TextActivity : public ui::Activity {
  public:
    explicit TextActivity(std::shared_ptr<const ShareServices> services)
        : services_(std::move(services)) {}
    bool canPerformWithActivityItems(const std::vector<ui::ActivityItem>& items) const override;
    void prepareWithActivityItems(const std::vector<ui::ActivityItem>& items) override;

  protected:
    const ShareServices& services() const { return *services_; }
    std::shared_ptr<const ShareServices> sharedServices() const { return services_; }
    const std::string& text() const { return text_; }

  private:
    std::shared_ptr<const ShareServices> services_;
    std::string text_;
};

// "Save as…": the host's save dialog writes the text.
class SaveTextActivity final : public TextActivity {
  public:
    using TextActivity::TextActivity;
    std::string activityType() const override { return kShareSaveActivityType; }
    std::string activityTitle() const override { return "Save as…"; }
    std::string activityIconName() const override { return "document-save-as"; }
    void performActivity() override;
};

// "Email": the URL opener gets mailto:?body=<the text>.
class EmailActivity final : public TextActivity {
  public:
    using TextActivity::TextActivity;
    std::string activityType() const override { return kShareEmailActivityType; }
    std::string activityTitle() const override { return "Email"; }
    std::string activityIconName() const override { return "mail-message-new"; }
    void performActivity() override;
};

// An application that opens text: started on a private file holding the text.
class ApplicationActivity final : public TextActivity {
  public:
    ApplicationActivity(std::shared_ptr<const ShareServices> services, DesktopEntry entry)
        : TextActivity(std::move(services)), entry_(std::move(entry)) {}
    std::string activityType() const override {
        return kShareApplicationActivityPrefix + entry_.id;
    }
    std::string activityTitle() const override { return entry_.name; }
    std::string activityIconName() const override { return entry_.icon; }
    const DesktopEntry& entry() const { return entry_; }
    void performActivity() override;

  private:
    DesktopEntry entry_;
};

// Save as…, Email, then the visible applications that open text/plain (by
// name), as the host's environment lists them now.
std::vector<std::shared_ptr<ui::Activity>> makeShareActivities(ShareServices services);

// "mailto:?body=" and the text percent-escaped, its line breaks as CR LF.
std::string mailtoUrl(std::string_view body);

// Writes `text` into a new file of its own in `folder` (made 0700 when
// missing; refused when it is not a folder this user alone may use), readable
// by this user only (0600). The file's path, or nothing when it failed.
std::optional<std::filesystem::path> writePrivateTextFile(const std::filesystem::path& folder,
                                                          std::string_view text);
// Removes the files writePrivateTextFile left in `folder`; how many.
std::size_t removePrivateTextFiles(const std::filesystem::path& folder);

}  // namespace kernova
