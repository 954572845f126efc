#include "desktop/ui/accessibility.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <algorithm>
#include <map>
#include <memory>
#include <vector>

#include "desktop/ui/overlay_widget.h"
#include "desktop/ui/qt_convert.h"

namespace kernova::desktop {
namespace {

// The readable views of a tree, in painting order; a readable view is read
// as a whole (its subviews are its own business).
void collect(ui::View& view, std::vector<std::weak_ptr<ui::View>>& out) {
    if (view.isHidden() || view.alpha() < 0.01) return;
    if (view.accessibilityRole() != ui::AccessibilityRole::none) {
        out.push_back(view.weak_from_this());
        return;
    }
    for (const auto& child : view.subviews())
        collect(*child, out);
}

QAccessible::Role roleOf(ui::AccessibilityRole role) {
    switch (role) {
        case ui::AccessibilityRole::button:
            return QAccessible::Button;
        case ui::AccessibilityRole::staticText:
            return QAccessible::StaticText;
        case ui::AccessibilityRole::cell:
            return QAccessible::ListItem;
        case ui::AccessibilityRole::none:
            break;
    }
    return QAccessible::NoRole;
}

class ViewAccessible final : public QAccessibleInterface, public QAccessibleActionInterface {
  public:
    ViewAccessible(QAccessibleInterface* parent, std::weak_ptr<ui::View> view)
        : parent_(parent), view_(std::move(view)) {}

    bool isValid() const override { return !view_.expired(); }
    QObject* object() const override { return nullptr; }
    QWindow* window() const override { return parent_ ? parent_->window() : nullptr; }
    QAccessibleInterface* parent() const override { return parent_; }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    void setText(QAccessible::Text, const QString&) override {}

    QString text(QAccessible::Text kind) const override {
        auto view = view_.lock();
        if (!view || kind != QAccessible::Name) return {};
        return toQString(view->accessibilityLabel());
    }
    QRect rect() const override {
        auto view = view_.lock();
        if (!view) return {};
        const ui::Rect bounds = view->bounds();
        const ui::Point origin = view->convertPointToScreen(bounds.origin);
        return QRectF(origin.x, origin.y, bounds.width(), bounds.height()).toAlignedRect();
    }
    QAccessible::Role role() const override {
        auto view = view_.lock();
        return view ? roleOf(view->accessibilityRole()) : QAccessible::NoRole;
    }
    QAccessible::State state() const override {
        QAccessible::State state;
        auto view = view_.lock();
        if (!view) {
            state.invalid = true;
            return state;
        }
        if (view->accessibilityRole() == ui::AccessibilityRole::cell) {
            state.selectable = true;
            state.selected = view->isAccessibilitySelected();
        }
        return state;
    }
    void* interface_cast(QAccessible::InterfaceType type) override {
        if (type == QAccessible::ActionInterface)
            return static_cast<QAccessibleActionInterface*>(this);
        return nullptr;
    }

    QStringList actionNames() const override {
        auto view = view_.lock();
        if (view && view->accessibilityRole() == ui::AccessibilityRole::button)
            return {pressAction()};
        return {};
    }
    void doAction(const QString& name) override {
        if (name != pressAction()) return;
        if (auto view = view_.lock()) view->accessibilityActivate();
    }
    QStringList keyBindingsForAction(const QString&) const override { return {}; }

  private:
    QAccessibleInterface* parent_;
    std::weak_ptr<ui::View> view_;
};

class OverlayAccessible final : public QAccessibleWidget {
  public:
    explicit OverlayAccessible(OverlayWidget* widget)
        : QAccessibleWidget(widget, QAccessible::Window) {}

    ~OverlayAccessible() override {
        for (const auto& [view, id] : children_)
            QAccessible::deleteAccessibleInterface(id);
    }

    int childCount() const override { return static_cast<int>(elements().size()); }
    QAccessibleInterface* child(int index) const override {
        std::vector<std::weak_ptr<ui::View>> all = elements();
        if (index < 0 || index >= static_cast<int>(all.size())) return nullptr;
        const std::weak_ptr<ui::View>& view = all[static_cast<std::size_t>(index)];
        // One interface per view, kept while the view lives; Qt owns it once
        // registered and this widget's interface deletes it.
        const ui::View* key = view.lock().get();
        if (auto found = children_.find(key); found != children_.end())
            return QAccessible::accessibleInterface(found->second);
        auto* element = new ViewAccessible(const_cast<OverlayAccessible*>(this), view);
        children_[key] = QAccessible::registerAccessibleInterface(element);
        return element;
    }
    int indexOfChild(const QAccessibleInterface* child) const override {
        if (!child) return -1;
        const QRect place = child->rect();
        std::vector<std::weak_ptr<ui::View>> all = elements();
        for (std::size_t i = 0; i < all.size(); ++i) {
            ViewAccessible probe(nullptr, all[i]);
            if (probe.rect() == place &&
                probe.text(QAccessible::Name) == child->text(QAccessible::Name))
                return static_cast<int>(i);
        }
        return -1;
    }
    QString text(QAccessible::Text kind) const override {
        if (kind == QAccessible::Name) return QStringLiteral("Kernova");
        return QAccessibleWidget::text(kind);
    }

  private:
    std::vector<std::weak_ptr<ui::View>> elements() const {
        std::vector<std::weak_ptr<ui::View>> all;
        auto* overlay = static_cast<OverlayWidget*>(widget());
        if (auto window = overlay->window()) collect(*window, all);
        // Interfaces of views that are gone (or no longer read) go too.
        for (auto it = children_.begin(); it != children_.end();) {
            const ui::View* view = it->first;
            bool current = std::any_of(all.begin(), all.end(), [view](const auto& weak) {
                return weak.lock().get() == view;
            });
            if (current) {
                ++it;
                continue;
            }
            QAccessible::deleteAccessibleInterface(it->second);
            it = children_.erase(it);
        }
        return all;
    }

    mutable std::map<const ui::View*, QAccessible::Id> children_;
};

// Overlay widgets carry no meta-object of their own: they are asked for as
// QWidget, and told apart by their type.
QAccessibleInterface* overlayFactory(const QString& className, QObject* object) {
    if (className != QLatin1String("QWidget")) return nullptr;
    if (auto* overlay = dynamic_cast<OverlayWidget*>(object)) return new OverlayAccessible(overlay);
    return nullptr;
}

}  // namespace

void installOverlayAccessibility() {
    static bool installed = false;
    if (installed) return;
    installed = true;
    QAccessible::installFactory(overlayFactory);
}

}  // namespace kernova::desktop
