#include "desktop/ui/tree_fingerprint.h"

#include <bit>
#include <functional>
#include <string>

#include "ui/control.h"
#include "ui/image_view.h"
#include "ui/label.h"

namespace kernova::desktop {

namespace {

// FNV-1a over 64-bit words.
class Digest {
  public:
    void add(std::uint64_t word) {
        for (int i = 0; i < 8; ++i) {
            value_ ^= (word >> (i * 8)) & 0xffu;
            value_ *= 0x100000001b3ull;
        }
    }
    void add(double d) { add(std::bit_cast<std::uint64_t>(d)); }
    void add(bool b) { add(std::uint64_t{b}); }
    void add(const void* p) {
        add(static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(p)));
    }
    void add(const std::string& s) { add(static_cast<std::uint64_t>(std::hash<std::string>{}(s))); }
    void add(const ui::Rect& r) {
        add(r.origin.x), add(r.origin.y), add(r.size.width), add(r.size.height);
    }
    void add(const ui::Color& c) { add(c.red), add(c.green), add(c.blue), add(c.alpha); }
    void add(const ui::Font& f) { add(f.family), add(f.pointSize), add(f.bold); }
    std::uint64_t value() const { return value_; }

  private:
    std::uint64_t value_ = 0xcbf29ce484222325ull;
};

void addContent(Digest& digest, const ui::View& view) {
    if (const auto* label = dynamic_cast<const ui::Label*>(&view)) {
        digest.add(label->text()), digest.add(label->font()), digest.add(label->textColor());
        digest.add(static_cast<std::uint64_t>(label->textAlignment()));
        digest.add(static_cast<std::uint64_t>(label->numberOfLines()));
    } else if (const auto* image = dynamic_cast<const ui::ImageView*>(&view)) {
        digest.add(image->image().get());
        digest.add(static_cast<std::uint64_t>(image->contentMode()));
    } else if (const auto* button = dynamic_cast<const ui::Button*>(&view)) {
        digest.add(button->currentBackgroundImage().get());
    } else if (const auto* field = dynamic_cast<const ui::TextField*>(&view)) {
        digest.add(field->text()), digest.add(field->placeholder()), digest.add(field->font());
    } else if (const auto* blur = dynamic_cast<const ui::VisualEffectView*>(&view)) {
        digest.add(static_cast<std::uint64_t>(blur->effect() ? int(*blur->effect()) + 1 : 0));
    } else if (const auto* spinner = dynamic_cast<const ui::ActivityIndicatorView*>(&view)) {
        digest.add(spinner->isAnimating());
        digest.add(static_cast<std::uint64_t>(spinner->style()));
    }
}

void addView(Digest& digest, const ui::View& view) {
    digest.add(&view);
    digest.add(view.isHidden());
    if (view.isHidden()) return;
    digest.add(view.frame()), digest.add(view.bounds()), digest.add(view.alpha());
    digest.add(view.backgroundColor().value_or(ui::Color{0, 0, 0, -1}));
    digest.add(view.cornerRadius()), digest.add(view.clipsToBounds());
    digest.add(view.borderWidth()), digest.add(view.borderColor());
    digest.add(static_cast<std::uint64_t>(view.transitions().size()));
    addContent(digest, view);
    digest.add(static_cast<std::uint64_t>(view.subviews().size()));
    for (const auto& subview : view.subviews()) {
        if (subview) addView(digest, *subview);
    }
}

}  // namespace

std::uint64_t treeFingerprint(const ui::View& root) {
    Digest digest;
    addView(digest, root);
    return digest.value();
}

}  // namespace kernova::desktop
