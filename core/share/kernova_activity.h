// "OCR & Splode": recognises the words of one image and hands them to the
// server. With the web engine, first the OCR proxy is asked for the OCR
// service's URL, then the image is posted to that URL; with the local engine
// (the context's `OcrEngine`) the image is recognised on this machine. The
// words (or a failure sentence) go to the server as "notifySplode", or, with
// the copy flag, onto the clipboard, the same whichever engine ran. The
// preferences are read afresh each time; nothing is cached or retried.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/context.h"
#include "base/http.h"
#include "base/messaging.h"
#include "share/ocr_engine.h"
#include "ui/image.h"

namespace kernova {

class KernovaActivity : public std::enable_shared_from_this<KernovaActivity> {
  public:
    static constexpr const char* kDefaultTitle = "OCR & Splode";
    // The panel's text when the proxy cannot be reached (or none is set).
    static constexpr const char* kProxyFailed = "连接OCR api失败，请重试或等待api更新！";
    // The panel's text when the OCR service cannot be reached, or the proxy
    // named no usable URL.
    static constexpr const char* kServiceFailed =
        "Connecting to the OCR api failed, please try again or wait for the api to update!";
    // The service takes at most this much base64 of JPEG: the quality steps
    // down by 0.1 from 1.0 until the image fits.
    static constexpr std::size_t kMaxImageBase64Bytes = 4 * 1024 * 1024;
    // Seconds the OCR service may take to answer.
    static constexpr double kServiceTimeout = 60;

    struct Services {
        // Where "showRunning" and "notifySplode" go (the server's center).
        MessageSender* sender = nullptr;
        // Encodes the image as JPEG for the service and as PNG for the panel.
        const ui::ImageCodec* codec = nullptr;
        // The copy flag's result: puts the text on the clipboard.
        std::function<void(const std::string& text)> setPasteboardString;
    };

    // The context and everything in `services` must outlive the flow.
    static std::shared_ptr<KernovaActivity> make(Context& context, Services services);

    static std::string activityTypeString();  // "fun.quorle.KernovaActivity"
    std::string activityType() const { return activityTypeString(); }
    // "ocrMenuName" when present and not empty, else kDefaultTitle.
    std::string activityTitle() const;

    const std::string& text() const { return text_; }
    void setText(std::string text) { text_ = std::move(text); }
    bool copyFlag() const { return copyFlag_; }
    void setCopyFlag(bool on) { copyFlag_ = on; }
    const std::shared_ptr<const ui::Image>& image() const { return image_; }
    void setImage(std::shared_ptr<const ui::Image> image) { image_ = std::move(image); }

    // The OCR proxy's base URL: the setting "ocrProxy" when it is an http or
    // https URL, else the build's KERNOVA_OCR_PROXY; empty when neither is set.
    std::string proxyBaseUrl() const;
    // Whether the engine here recognises: "ocrEngine" is "local", or "auto"
    // (or unknown) while no OCR proxy is set.
    bool usesLocalEngine() const;

    // Runs the flow on the image. `finished` runs once, on the run loop,
    // after the flow's last message has been sent or the clipboard set. The
    // flow keeps the activity alive until then.
    void performActivity(std::function<void()> finished = {});
    // The second step on its own: posts the image to the service at `url`.
    void performOcr(const std::string& url);
    // Drops the request under way: nothing more is sent and `finished` never
    // runs (for an owner that goes away before the flow ends).
    void cancel();

    ~KernovaActivity();

  protected:
    KernovaActivity(Context& context, Services services);

  private:
    // Sends "notifySplode" with `selection` and, for a result, the image as
    // PNG; with the copy flag a result goes onto the clipboard instead (a
    // failure sentence still goes to the panel).
    void deliver(const std::string& selection, bool failure);
    void finish();
    // The flow with the context's engine instead of the web service.
    void recogniseHere();
    // The image as JPEG in base64, at the highest quality that fits; absent
    // when it cannot be encoded or does not fit.
    std::optional<std::string> jpegBase64() const;

    Context& context_;
    Services services_;
    std::string text_;
    bool copyFlag_ = false;
    std::shared_ptr<const ui::Image> image_;
    std::function<void()> finished_;
    std::unique_ptr<HttpTask> task_;
    std::unique_ptr<OcrTask> ocrTask_;
    // Keeps the activity alive from performActivity until the flow ends.
    std::shared_ptr<KernovaActivity> self_;
};

}  // namespace kernova
