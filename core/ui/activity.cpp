#include "ui/activity.h"

#include <algorithm>

#include "ui/application.h"

namespace kernova::ui {

void Activity::activityDidFinish(bool completed) {
    ActivityViewController* sheet = sheet_;
    sheet_ = nullptr;
    if (sheet) sheet->finish(activityType(), completed);
}

std::shared_ptr<ActivityViewController> ActivityViewController::initWithActivityItems(
    Application& application, std::vector<ActivityItem> items,
    std::vector<std::shared_ptr<Activity>> applicationActivities) {
    if (const auto& hook = application.activityViewControllerHook()) {
        applicationActivities = hook(std::move(applicationActivities));
    }
    return std::make_shared<ActivityViewController>(std::move(items),
                                                    std::move(applicationActivities));
}

bool ActivityViewController::isExcluded(const std::string& activityType) const {
    return std::find(excluded_.begin(), excluded_.end(), activityType) != excluded_.end();
}

std::vector<std::shared_ptr<Activity>> ActivityViewController::availableApplicationActivities()
    const {
    std::vector<std::shared_ptr<Activity>> list;
    for (const auto& activity : activities_) {
        if (activity && !isExcluded(activity->activityType()) &&
            activity->canPerformWithActivityItems(items_)) {
            list.push_back(activity);
        }
    }
    return list;
}

bool ActivityViewController::chooseActivity(const std::string& activityType) {
    if (activityType.empty() || isExcluded(activityType) || !running_.empty()) return false;
    auto self = std::static_pointer_cast<ActivityViewController>(shared_from_this());
    for (const auto& activity : availableApplicationActivities()) {
        if (activity->activityType() != activityType) continue;
        running_ = activityType;
        activity->sheet_ = this;
        activity->prepareWithActivityItems(items_);
        // The sheet closes before the activity runs, as it does on the phone.
        dismissViewControllerAnimated(true);
        if (auto controller = activity->activityViewController()) {
            (void)controller;  // activities with their own screens are not used here
        }
        activity->performActivity();
        return true;
    }
    if (activityType.rfind("com.apple.UIKit.activity.", 0) != 0) return false;
    running_ = activityType;
    dismissViewControllerAnimated(true);
    finish(activityType, true);
    return true;
}

void ActivityViewController::cancel() {
    auto self = std::static_pointer_cast<ActivityViewController>(shared_from_this());
    dismissViewControllerAnimated(true);
    finish("", false);
}

void ActivityViewController::finish(const std::string& activityType, bool completed) {
    running_.clear();
    for (const auto& activity : activities_) {
        if (activity && activity->sheet_ == this) activity->sheet_ = nullptr;
    }
    if (completion_) completion_(activityType, completed);
}

}  // namespace kernova::ui
