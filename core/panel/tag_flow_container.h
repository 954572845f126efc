// The panel: the floating card that holds the tag board of one request, the
// action bar under it, the round close button with its gestures, the select
// all and inverse buttons, the gesture tips, the blinking header and the
// blurred backdrop. The server makes one per request, gives it an overlay
// window (its `keyWindow`), hands it the tags and shows it.
//
// The panel's own frame is its "screen": on the desktop a card of at most
// 430 x 932 points centred in the work area of one monitor, with the backdrop
// spread over the whole monitor around it; a tap on the backdrop outside the
// card, Escape, or the close button hides the panel, and Control+C copies.
//
// A panel is detached (in no window), shown, or parked (in its window, but
// off the screen while the tag editor or a video wants it). Once hidden it
// leaves its window, and with it every timer and observer it had.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/http.h"
#include "base/messaging.h"
#include "base/paths.h"
#include "board/tag_flow_view.h"
#include "floating/reentry_flags.h"
#include "floating/splode_window.h"
#include "ui/control.h"
#include "ui/image_view.h"
#include "ui/label.h"
#include "ui/scroll_view.h"
#include "ui/web_view.h"

namespace kernova {

// What a panel needs of the server process that shows it.
struct PanelServices {
    ServerFlags& flags;
    // The server's own message center ("shareText" and "openUrl" go through it).
    MessageSender& sender;
    // The environment the desktop's applications are read with (the default
    // browser's icon); none reads no applications.
    EnvironmentLookup environment = {};
    // Where the server keeps the translation request under way (one at a
    // time: a new one, a new panel or the server's end cancels it); without
    // it, the panel keeps its own.
    std::unique_ptr<HttpTask>* translation = nullptr;
};

class BrowserDelegate;

class GTagFlowContainer : public ui::View {
  public:
    // The band the board lives in: kBandTop points from the top to kBandBottom
    // points from the bottom of the panel.
    static constexpr double kBandTop = 125.0;
    static constexpr double kBandBottom = 225.0;
    static constexpr double kButtonSize = 35.0;
    static constexpr double kBarHeight = 75.0;
    static constexpr double kHeaderSize = 80.0;
    static constexpr double kHeaderBlinkSeconds = 1.2;
    static constexpr double kShowSeconds = 0.25;
    static constexpr double kHideSeconds = 0.025;
    static constexpr std::uint32_t kDefaultVibrate = 1519;
    static constexpr const char* kHeaderImageName = "header@2x.png";
    static constexpr const char* kNoSelectionTitle =
        "Please select the text before using the feature!";
    static constexpr double kNoSelectionTimeout = 0.7;
    // The browser: the web view from kBrowserTopPadding + 20 points below the
    // top to as far above the bottom, the close caption in the strip under it.
    static constexpr double kBrowserTopPadding = 30.0;
    static constexpr double kBrowserCornerRadius = 13.0;
    static constexpr double kBrowserFadeSeconds = 0.2;
    static constexpr const char* kCloseCaption = "Click here to close";
    static constexpr double kCloseCaptionFontSize = 24.0;
    // The open-in-browser button's picture when no default browser has an icon.
    static constexpr const char* kBrowserImageName = "Browser.png";

    // The action names, as the menus file and the bar spell them.
    static constexpr const char* kCopy = "Copy";
    static constexpr const char* kTranslate = "Translate";
    static constexpr const char* kSearch = "Search";
    static constexpr const char* kUrlScheme = "UrlScheme";
    static constexpr const char* kShare = "Share";
    static constexpr const char* kHistory = "History";
    // Only a button of exactly this name copies on a long press.
    static constexpr const char* kLongPressCopy = "复制";

    using ActionBlock = std::function<void(const std::string& name, const std::string& text)>;
    enum class State { detached, shown, parked };

    // A new panel of `frame` (its screen, in its window's coordinates), built
    // at once (loadUI) and listening for the hide and reload notices.
    static std::shared_ptr<GTagFlowContainer> initWithFrame(ui::Application& application,
                                                            PanelServices services,
                                                            const ui::Rect& frame);
    GTagFlowContainer(ui::Application& application, PanelServices services, const ui::Rect& frame);
    ~GTagFlowContainer() override;

    // The action names of the menus file ("menus" -> "Enabled"), or the
    // default six when the file or its "menus" is missing; an empty list when
    // "menus" has no "Enabled". Entries that are not text keep their slot empty.
    static std::vector<std::string> menuItems(const Context& context);

    // Building and layout.
    void loadUI();
    void createTopButton(const std::string& name, const ui::Rect& frame);
    void configDatas(std::vector<GTagFlowItemRef> items);
    void relodLayoutWithCollectionHeight(double height);
    // The close button's cross: two strokes corner to corner, white when no tint.
    static std::shared_ptr<const ui::Image> drawCloseImageSize(ui::Size size, double lineWidth,
                                                               std::optional<ui::Color> tintColor);

    // Lifecycle.
    void show();
    void hide();
    void hideOnce();
    void notifyReload();
    void closeContanier() { hide(); }
    void clearPopFlag();
    void showAnimationWithCompletion(std::function<void()> completion);
    void hideAnimationWithCompletion(std::function<void()> completion);
    void addToKeyWindow();
    void removeFromKeyWindow();
    State state() const;
    // Shown, in a visible window.
    bool isShown() const;
    // While the tags of a large text are still arriving: brings them all at
    // once. An action whose text reaches tags not yet there (nothing picked,
    // which means the whole text, or every tag picked by select all) and the
    // re-split call it first, so that they act on the whole text.
    void setCompleteBlock(std::function<void()> block) { completeBlock_ = std::move(block); }
    // The text the history records when the show ends, for a board whose tags
    // are still arriving then; without it, the text of the tags on the board.
    void setHistoryText(std::string text) { historyText_ = std::move(text); }
    // Called once the panel has left its window (hidden or released).
    void setDetachedBlock(std::function<void()> block) { detachedBlock_ = std::move(block); }

    // Feedback and gestures.
    void vibrateSplode();
    void closeBtnLongPress(ui::GestureRecognizer& recognizer);
    void fullLongPress(ui::GestureRecognizer& recognizer);
    void animeteHeader();

    // The action bar.
    void setActionBtnItems(std::vector<std::string> items);
    void actionBtnClick(ui::Button& button);
    void selectAll();
    void inverse();
    void copyText(const std::string& text);
    void copyLongPress(ui::GestureRecognizer& recognizer);
    void shareText(const std::string& text);
    void clearUsingFlag();
    void translateText(const std::string& text);
    // Translates `text` into `language` in the style "translateStyle" gives:
    // 0 the web page in the panel's browser, anything else the alert.
    void translateByStyle(std::int64_t style, const std::string& language, const std::string& text);
    // Asks Baidu's service (`language` already in its codes); its answer, or
    // its failure, reaches the server as "alertTrans".
    void baiduTrans(const std::string& language, const std::string& text);
    // Sends `result` to the server's result dialog ("alertTrans"); the
    // failure sentence stands for a null, empty or blank result.
    void alertTrans(const std::optional<std::string>& result);
    static bool isChinese(const std::string& text);
    void searchText(const std::string& text);
    void schemeText(const std::string& text);
    void history();
    // Records the text in the history (at the end of every show).
    void saveHistory(const std::string& text);

    // The browser (browser.cpp). Searching an empty text opens nothing.
    // prepareBrowser turns the panel into browser mode for good: the board,
    // buttons and tips go, a tap outside the web view closes the panel.
    void prepareBrowser();
    // The page to the desktop's browser: the panel hides first.
    void openUrl();
    void animateActivity();
    // The search URL for `text`: each "%s" of `searchTemplate` replaced by the
    // escaped text (searchTermEscape); a template without one is kept whole.
    static std::string searchURL(const std::string& searchTemplate, const std::string& text);
    const std::shared_ptr<ui::WebView>& webView() const { return webView_; }
    const ui::WebViewConfiguration& webViewConfig() const { return webViewConfig_; }
    const std::shared_ptr<ui::Label>& closeLabel() const { return closeLabel_; }
    const std::shared_ptr<ui::ActivityIndicatorView>& activityIndicatorView() const {
        return activityIndicatorView_;
    }
    double topPadding() const { return topPadding_; }
    bool isOpen() const { return isOpen_; }
    void setIsOpen(bool open) { isOpen_ = open; }

    // Properties.
    const ActionBlock& actionBlock() const { return actionBlock_; }
    void setActionBlock(ActionBlock block) { actionBlock_ = std::move(block); }
    const std::vector<std::string>& actionBtnItems() const { return actionBtnItems_; }
    const std::shared_ptr<GTagFlowView>& flowView() const { return flowView_; }
    const std::shared_ptr<GSplodeWindow>& keyWindow() const { return keyWindow_; }
    void setKeyWindow(std::shared_ptr<GSplodeWindow> window) { keyWindow_ = std::move(window); }
    const std::shared_ptr<const ui::Image>& image() const { return image_; }
    void setImage(std::shared_ptr<const ui::Image> image) { image_ = std::move(image); }
    // Pixels per point of the monitor the panel shows on (the picture is shown
    // one pixel to one pixel); the application's screen until set.
    double screenScale() const;
    void setScreenScale(double scale) { screenScale_ = scale; }
    bool useCustomLayout() const { return useCustomLayout_; }
    void setUseCustomLayout(bool use) { useCustomLayout_ = use; }
    ui::View& menuBackgroundView();
    const std::shared_ptr<ui::ScrollView>& photoView() const { return photoView_; }
    const std::shared_ptr<ui::View>& topContentView() const { return topContentView_; }
    const std::shared_ptr<ui::Button>& closeBtn() const { return closeBtn_; }
    const std::shared_ptr<ui::Button>& selectAllBtn() const { return selectAllBtn_; }
    const std::shared_ptr<ui::Button>& inverseBtn() const { return inverseBtn_; }
    const std::shared_ptr<ui::Button>& openUrlBtn() const { return openUrlBtn_; }
    const std::shared_ptr<ui::ImageView>& headerView() const { return headerView_; }
    // The eight tip labels, in the order: rightSwip, leftSwip, holdClose,
    // holdScreen, then their four descriptions.
    const std::vector<std::shared_ptr<ui::Label>>& tipLabels() const { return tipLabels_; }
    const std::shared_ptr<ui::View>& btmHorizontalLine() const { return btmHorizontalLine_; }
    const std::shared_ptr<ui::View>& tableViewHorizontalLine() const {
        return tableViewHorizontalLine_;
    }
    double maxFlowViewHeight() const { return maxFlowViewHeight_; }
    bool splodeAllFlag() const { return splodeAllFlag_; }
    TimerId headerTimer() const { return headerTimer_; }
    // The button the keyboard is on, or null while it is on the tags.
    ui::Button* focusedButton() const;

    // A point anywhere on the panel's window belongs to the panel: the
    // backdrop around the card takes the taps that close it.
    bool pointInside(ui::Point point) const override;

  private:
    // The backdrop and the board to `alpha` over `seconds`.
    void fade(double alpha, double seconds, std::function<void()> completion);
    void buildTips(std::int64_t tips);
    void placeTips(std::int64_t tips);
    // Spreads the backdrop over the whole window, with the card's surface on it.
    void coverWindow();
    bool handleKey(const ui::KeyEvent& event);
    // The buttons Tab walks through after the tags: the action bar, select
    // all, inverse, close.
    std::vector<ui::Button*> keyButtons() const;
    void focusButton(std::optional<std::size_t> index);
    void backdropTapped(ui::GestureRecognizer& recognizer);
    // The panel's selection as the action bar reads it: in the board's order
    // setting, or the whole text when nothing is picked.
    std::string actionText() const;
    void toast(const std::string& title, double timeout);
    // The monitor the panel's sheets show on: its window's.
    ui::Rect sheetMonitor() const;
    // After an action that hid the window for good: the panel leaves it too.
    void leaveHiddenWindow();
    void copyToClipboard(const std::string& text);
    // The keys of browser mode; false leaves the key to the page.
    bool browserKey(const ui::KeyEvent& event);
    // Whether a tap at `at` (panel coordinates) in browser mode closes it.
    bool closesBrowser(ui::Point at) const;
    std::shared_ptr<const ui::Image> browserIcon() const;

    ui::Application& application_;
    PanelServices services_;
    ActionBlock actionBlock_;
    std::vector<std::string> actionBtnItems_;
    std::shared_ptr<GTagFlowView> flowView_;
    std::shared_ptr<GSplodeWindow> keyWindow_;
    std::shared_ptr<const ui::Image> image_;
    bool useCustomLayout_ = false;
    std::optional<double> screenScale_;
    std::shared_ptr<ui::View> menuBackgroundView_;
    std::shared_ptr<ui::View> cardSurface_;
    std::shared_ptr<ui::ScrollView> photoView_;
    std::shared_ptr<ui::View> topContentView_;
    std::shared_ptr<ui::Button> closeBtn_;
    std::shared_ptr<ui::Button> selectAllBtn_;
    std::shared_ptr<ui::Button> inverseBtn_;
    std::shared_ptr<ui::Button> openUrlBtn_;
    std::vector<std::shared_ptr<ui::Label>> tipLabels_;
    std::shared_ptr<ui::View> topHorizontalLine_;
    std::shared_ptr<ui::View> midHorizontalLine_;
    std::shared_ptr<ui::View> btmHorizontalLine_;
    std::shared_ptr<ui::View> tableViewHorizontalLine_;
    std::shared_ptr<ui::ImageView> headerView_;
    ui::WebViewConfiguration webViewConfig_;
    std::shared_ptr<ui::WebView> webView_;
    std::shared_ptr<ui::Label> closeLabel_;
    std::shared_ptr<ui::ActivityIndicatorView> activityIndicatorView_;
    // The web view's delegates (shared: the type is the browser's own).
    std::shared_ptr<BrowserDelegate> browserDelegate_;
    double topPadding_ = 0;
    bool isOpen_ = false;
    double maxFlowViewHeight_ = 0;
    bool splodeAllFlag_ = false;
    TimerId headerTimer_ = 0;
    std::function<void()> detachedBlock_;
    std::function<void()> completeBlock_;
    std::optional<std::string> historyText_;
    std::unique_ptr<HttpTask> ownTranslation_;
    std::unique_ptr<HttpTask>& translationSlot();
    // Calls completeBlock_ (once) when the action bar's text needs every tag.
    void completeForWholeText();
    // The button the keyboard is on (the tags have it when absent), its ring,
    // and the tag it left.
    std::optional<std::size_t> focusedButton_;
    std::shared_ptr<ui::View> buttonRing_;
    std::optional<std::int64_t> lastFocusedTag_;
};

}  // namespace kernova
