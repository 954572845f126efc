#include "server/share_activities.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "support/escaping.h"

namespace kernova {
namespace {

constexpr const char* kWhere = "share";
constexpr std::string_view kPrivatePrefix = "share-";
constexpr std::string_view kPrivateSuffix = ".txt";

// The folder exists (made now when missing), is a real folder, belongs to
// this user, and only this user may enter it.
bool preparePrivateFolder(const std::filesystem::path& folder) {
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) return false;
    struct stat info {};
    if (::lstat(folder.c_str(), &info) != 0) return false;
    if (!S_ISDIR(info.st_mode) || info.st_uid != ::geteuid()) return false;
    if ((info.st_mode & 077) != 0 && ::chmod(folder.c_str(), 0700) != 0) return false;
    return true;
}

bool writeAll(int fd, std::string_view text) {
    while (!text.empty()) {
        ssize_t written = ::write(fd, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

bool isPrivateFileName(const std::string& name) {
    return name.size() > kPrivatePrefix.size() + kPrivateSuffix.size() &&
           name.starts_with(kPrivatePrefix) && name.ends_with(kPrivateSuffix);
}

}  // namespace

bool TextActivity::canPerformWithActivityItems(const std::vector<ui::ActivityItem>& items) const {
    for (const ui::ActivityItem& item : items) {
        if (item.kind() == ui::ActivityItem::Kind::text) return true;
    }
    return false;
}

void TextActivity::prepareWithActivityItems(const std::vector<ui::ActivityItem>& items) {
    text_.clear();
    bool first = true;
    for (const ui::ActivityItem& item : items) {
        if (item.kind() != ui::ActivityItem::Kind::text) continue;
        if (!first) text_ += '\n';
        text_ += item.string();
        first = false;
    }
}

void SaveTextActivity::performActivity() {
    auto services = sharedServices();
    std::string shared = text();
    // The sheet goes first: the save dialog comes up on its own.
    activityDidFinish(true);
    services->host.saveText(std::move(shared), [services](SaveOutcome outcome) {
        switch (outcome) {
            case SaveOutcome::saved:
                services->log.info(kWhere, "text saved to a file");
                break;
            case SaveOutcome::cancelled:
                services->log.info(kWhere, "save dialog closed without a file");
                break;
            case SaveOutcome::failed:
                services->log.warn(kWhere, "the text could not be saved");
                if (services->notice) services->notice("The text could not be saved");
                break;
        }
    });
}

void EmailActivity::performActivity() {
    auto services = sharedServices();
    std::string url = mailtoUrl(text());
    activityDidFinish(true);
    services->host.openUrl(url);
    services->log.info(kWhere, "email of " + std::to_string(text().size()) + " bytes opened");
}

void ApplicationActivity::performActivity() {
    auto services = sharedServices();
    const std::string id = entry_.id;
    const std::string name = entry_.name;
    std::optional<std::filesystem::path> file =
        writePrivateTextFile(services->host.runtimeDirectory(), text());
    std::vector<std::string> argv;
    if (file) argv = expandExec(entry_, {file->string()});
    activityDidFinish(true);
    if (argv.empty()) {
        if (file) {
            std::error_code ec;
            std::filesystem::remove(*file, ec);
        }
        services->log.warn(kWhere, file ? "application " + id + " has no command to start"
                                        : "no private file for application " + id);
        if (services->notice) services->notice("Cannot share with " + name);
        return;
    }
    services->host.launch(std::move(argv), [services, id, name](bool started) {
        if (started) {
            services->log.info(kWhere, "application " + id + " started");
            return;
        }
        services->log.warn(kWhere, "application " + id + " did not start");
        if (services->notice) services->notice("Cannot start " + name);
    });
}

std::vector<std::shared_ptr<ui::Activity>> makeShareActivities(ShareServices services) {
    auto shared = std::make_shared<const ShareServices>(std::move(services));
    std::vector<std::shared_ptr<ui::Activity>> activities{
        std::make_shared<SaveTextActivity>(shared), std::make_shared<EmailActivity>(shared)};
    const DesktopEntries entries = DesktopEntries::load(shared->host.environment());
    for (const DesktopEntry* entry : entries.handling(kSharedTextMimeType)) {
        if (entry->exec.empty()) continue;
        activities.push_back(std::make_shared<ApplicationActivity>(shared, *entry));
    }
    return activities;
}

std::string mailtoUrl(std::string_view body) {
    std::string lines;
    lines.reserve(body.size());
    for (std::size_t i = 0; i < body.size(); ++i) {
        if (body[i] == '\n' && (i == 0 || body[i - 1] != '\r')) lines += '\r';
        lines += body[i];
    }
    return "mailto:?body=" + queryEscape(lines);
}

std::optional<std::filesystem::path> writePrivateTextFile(const std::filesystem::path& folder,
                                                          std::string_view text) {
    if (folder.empty() || !preparePrivateFolder(folder)) return std::nullopt;
    std::string pattern =
        (folder / (std::string(kPrivatePrefix) + "XXXXXX" + std::string(kPrivateSuffix))).string();
    int fd = ::mkostemps(pattern.data(), static_cast<int>(kPrivateSuffix.size()), O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    bool ok = ::fchmod(fd, 0600) == 0 && writeAll(fd, text);
    ok = ::close(fd) == 0 && ok;
    if (!ok) {
        ::unlink(pattern.c_str());
        return std::nullopt;
    }
    return std::filesystem::path(pattern);
}

std::size_t removePrivateTextFiles(const std::filesystem::path& folder) {
    std::size_t removed = 0;
    std::error_code ec;
    std::filesystem::directory_iterator it(folder, ec);
    if (ec) return 0;
    for (const auto& entry : it) {
        std::error_code typeError;
        if (!entry.is_regular_file(typeError) || entry.is_symlink(typeError)) continue;
        if (!isPrivateFileName(entry.path().filename().string())) continue;
        std::error_code removeError;
        if (std::filesystem::remove(entry.path(), removeError)) ++removed;
    }
    return removed;
}

}  // namespace kernova
