// The share sheet as a model: items to share, extra activities an application
// adds, excluded system activity types, and the completion reported when the
// sheet goes away.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ui/image.h"
#include "ui/window.h"

namespace kernova::ui {

class Application;

// One shared object: text, a URL (as text) or an image.
class ActivityItem {
  public:
    enum class Kind { text, url, image };

    static ActivityItem text(std::string text) {
        return ActivityItem(Kind::text, std::move(text), {});
    }
    static ActivityItem url(std::string url) { return ActivityItem(Kind::url, std::move(url), {}); }
    static ActivityItem image(std::shared_ptr<const Image> image) {
        return ActivityItem(Kind::image, {}, std::move(image));
    }

    Kind kind() const { return kind_; }
    // The text or URL; empty for an image.
    const std::string& string() const { return string_; }
    const std::shared_ptr<const Image>& imageValue() const { return image_; }

  private:
    ActivityItem(Kind kind, std::string s, std::shared_ptr<const Image> image)
        : kind_(kind), string_(std::move(s)), image_(std::move(image)) {}
    Kind kind_;
    std::string string_;
    std::shared_ptr<const Image> image_;
};

// Activity types of the system's own entries.
inline constexpr const char* kActivityTypePostToFacebook =
    "com.apple.UIKit.activity.PostToFacebook";
inline constexpr const char* kActivityTypePostToTwitter = "com.apple.UIKit.activity.PostToTwitter";
inline constexpr const char* kActivityTypeMessage = "com.apple.UIKit.activity.Message";
inline constexpr const char* kActivityTypeMail = "com.apple.UIKit.activity.Mail";
inline constexpr const char* kActivityTypePrint = "com.apple.UIKit.activity.Print";
inline constexpr const char* kActivityTypeCopyToPasteboard =
    "com.apple.UIKit.activity.CopyToPasteboard";
inline constexpr const char* kActivityTypeAssignToContact =
    "com.apple.UIKit.activity.AssignToContact";
inline constexpr const char* kActivityTypeSaveToCameraRoll =
    "com.apple.UIKit.activity.SaveToCameraRoll";
inline constexpr const char* kActivityTypeAddToReadingList =
    "com.apple.UIKit.activity.AddToReadingList";
inline constexpr const char* kActivityTypeAirDrop = "com.apple.UIKit.activity.AirDrop";

class ActivityViewController;

// An entry an application adds to the share sheet (UIActivity).
class Activity {
  public:
    virtual ~Activity() = default;
    virtual std::string activityType() const = 0;
    virtual std::string activityTitle() const = 0;
    virtual std::shared_ptr<const Image> activityImage() const { return nullptr; }
    // The icon as the desktop names it (an icon-theme name or an absolute
    // file); empty for none.
    virtual std::string activityIconName() const { return {}; }
    virtual bool canPerformWithActivityItems(const std::vector<ActivityItem>& items) const = 0;
    virtual void prepareWithActivityItems(const std::vector<ActivityItem>& items) { (void)items; }
    // A controller to present instead of performActivity; none by default.
    virtual std::shared_ptr<ViewController> activityViewController() { return nullptr; }
    virtual void performActivity() { activityDidFinish(true); }
    // Tells the sheet the activity is over.
    void activityDidFinish(bool completed);

  private:
    friend class ActivityViewController;
    ActivityViewController* sheet_ = nullptr;
};

class ActivityViewController : public ViewController {
  public:
    using CompletionWithItemsHandler =
        std::function<void(const std::string& activityType, bool completed)>;

    // Applies the application's share-sheet hook to the activities.
    static std::shared_ptr<ActivityViewController> initWithActivityItems(
        Application& application, std::vector<ActivityItem> items,
        std::vector<std::shared_ptr<Activity>> applicationActivities);
    ActivityViewController(std::vector<ActivityItem> items,
                           std::vector<std::shared_ptr<Activity>> applicationActivities)
        : items_(std::move(items)), activities_(std::move(applicationActivities)) {}

    const std::vector<ActivityItem>& activityItems() const { return items_; }
    const std::vector<std::shared_ptr<Activity>>& applicationActivities() const {
        return activities_;
    }
    // The application activities that can act on the items (what the sheet lists).
    std::vector<std::shared_ptr<Activity>> availableApplicationActivities() const;
    const std::vector<std::string>& excludedActivityTypes() const { return excluded_; }
    void setExcludedActivityTypes(std::vector<std::string> types) { excluded_ = std::move(types); }
    bool isExcluded(const std::string& activityType) const;
    void setCompletionWithItemsHandler(CompletionWithItemsHandler handler) {
        completion_ = std::move(handler);
    }

    // Called by the platform. Choosing an application activity prepares and
    // performs it (the sheet goes away when it finishes); choosing a system one
    // dismisses the sheet and reports it completed. Excluded or unknown types
    // are refused (false).
    bool chooseActivity(const std::string& activityType);
    // The user closed the sheet without choosing.
    void cancel();

  private:
    friend class Activity;
    void finish(const std::string& activityType, bool completed);

    std::vector<ActivityItem> items_;
    std::vector<std::shared_ptr<Activity>> activities_;
    std::vector<std::string> excluded_;
    CompletionWithItemsHandler completion_;
    std::string running_;
};

}  // namespace kernova::ui
