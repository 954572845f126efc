#include "desktop/x11_selection.h"

#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <QObject>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "base/text.h"
#include "desktop/x11_connection.h"

namespace kernova::desktop {
namespace {

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
template <typename T>
using Reply = std::unique_ptr<T, FreeReply>;

// Everything of the property up to `limit` bytes, deleting it when read whole.
struct Property {
    xcb_atom_t type = XCB_ATOM_NONE;
    std::string bytes;
    bool complete = false;  // nothing was left beyond the limit
};

std::optional<Property> takeProperty(xcb_connection_t* connection, xcb_window_t window,
                                     xcb_atom_t property, std::size_t limit) {
    const auto words = static_cast<std::uint32_t>(limit / 4 + 1);
    Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        connection, xcb_get_property(connection, 1, window, property, XCB_ATOM_ANY, 0, words),
        nullptr));
    if (!reply) return std::nullopt;
    Property out;
    out.type = reply->type;
    const int length = xcb_get_property_value_length(reply.get());
    if (length > 0)
        out.bytes.assign(static_cast<const char*>(xcb_get_property_value(reply.get())),
                         static_cast<std::size_t>(length));
    out.complete = reply->bytes_after == 0 && out.bytes.size() <= limit;
    return out;
}

std::string latin1ToUtf8(const std::string& bytes) {
    std::string out;
    out.reserve(bytes.size());
    for (char c : bytes) {
        const auto b = static_cast<unsigned char>(c);
        if (b < 0x80) {
            out.push_back(c);
        } else {
            out.push_back(static_cast<char>(0xC0 | (b >> 6)));
            out.push_back(static_cast<char>(0x80 | (b & 0x3F)));
        }
    }
    return out;
}

}  // namespace

X11Selections::X11Selections(const EnvironmentLookup& env, const Logger& log) : log_(log) {
    timeout_.setSingleShot(true);
    timeout_.setInterval(kSelectionTimeoutMs);
    QObject::connect(&timeout_, &QTimer::timeout, &timeout_, [this] {
        log_.info("selection", "the selection's owner did not answer in time; no text");
        // Whatever the owner still sends goes to a window that is gone.
        makeWindow();
        finish(Outcome::failed);
    });
    const X11Connection opened =
        openX11Connection(env, log_, "selection", "selections read as empty");
    if (opened.connection == nullptr) return;
    connection_ = opened.connection;
    root_ = opened.root;
    const auto atoms =
        internAtoms<6>(connection_, {"CLIPBOARD", "TARGETS", "UTF8_STRING",
                                     "text/plain;charset=utf-8", "INCR", "KERNOVA_SELECTION"});
    clipboard_ = atoms[0];
    targets_ = atoms[1];
    utf8_ = atoms[2];
    textPlain_ = atoms[3];
    incr_ = atoms[4];
    property_ = atoms[5];
    makeWindow();
    notifier_ = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(connection_),
                                                  QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(),
                     [this] { readEvents(); });
}

X11Selections::~X11Selections() {
    timeout_.stop();
    notifier_.reset();
    if (connection_) {
        if (ownerAsked_) xcb_discard_reply(connection_, *ownerAsked_);
        xcb_disconnect(connection_);
    }
}

void X11Selections::makeWindow() {
    if (!connection_) return;
    if (window_ != 0) xcb_destroy_window(connection_, window_);
    window_ = xcb_generate_id(connection_);
    const std::array<std::uint32_t, 2> values{1, XCB_EVENT_MASK_PROPERTY_CHANGE};
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window_, root_, -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT,
                      XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values.data());
    if (xfixes_)
        xcb_xfixes_select_selection_input(connection_, window_, clipboard_,
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER);
    xcb_flush(connection_);
}

bool X11Selections::watchClipboardOwner(OwnerChanged changed) {
    if (!connection_) return false;
    const xcb_query_extension_reply_t* extension =
        xcb_get_extension_data(connection_, &xcb_xfixes_id);
    if (!extension || !extension->present) {
        log_.warn("selection", "the X server lacks XFixes; copied text is not noticed");
        return false;
    }
    Reply<xcb_xfixes_query_version_reply_t> version(xcb_xfixes_query_version_reply(
        connection_, xcb_xfixes_query_version(connection_, 5, 0), nullptr));
    if (!version) return false;
    xfixesEvent_ = extension->first_event;
    xfixes_ = true;
    ownerChanged_ = std::move(changed);
    xcb_xfixes_select_selection_input(connection_, window_, clipboard_,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER);
    xcb_flush(connection_);
    return true;
}

void X11Selections::readText(Which which, TextReply reply) {
    enqueue(which, [reply = std::move(reply)](Outcome, std::optional<std::string> text) {
        reply(std::move(text));
    });
}

void X11Selections::read(Which which, ResultReply reply) {
    enqueue(which, [reply = std::move(reply)](Outcome outcome, std::optional<std::string> text) {
        Result result;
        result.outcome = outcome;
        if (outcome == Outcome::text && text) result.text = std::move(*text);
        reply(std::move(result));
    });
}

void X11Selections::enqueue(Which which, Finished reply) {
    if (!connection_) {
        QTimer::singleShot(0, &timeout_,
                           [reply = std::move(reply)] { reply(Outcome::failed, std::nullopt); });
        return;
    }
    queue_.push_back(Read{which, std::move(reply)});
    startNext();
}

void X11Selections::startNext() {
    if (stage_ != Stage::idle || queue_.empty()) return;
    if (xcb_connection_has_error(connection_) != 0) {
        // A later turn: the reply never comes inside readText.
        QTimer::singleShot(0, &timeout_, [this] { finish(Outcome::failed); });
        stage_ = Stage::targets;
        return;
    }
    stage_ = Stage::targets;
    received_.clear();
    const xcb_atom_t selection =
        queue_.front().which == Which::clipboard ? clipboard_ : xcb_atom_t{XCB_ATOM_PRIMARY};
    xcb_delete_property(connection_, window_, property_);
    // Asked first, so that its answer is in when a refusal comes: no owner
    // means an empty selection, a refusing owner a failed read.
    ownerAsked_ = xcb_get_selection_owner(connection_, selection).sequence;
    xcb_convert_selection(connection_, window_, selection, targets_, property_, XCB_CURRENT_TIME);
    xcb_flush(connection_);
    timeout_.start();
}

bool X11Selections::ownerAnswered() {
    if (!ownerAsked_) return true;
    xcb_get_selection_owner_cookie_t cookie{*ownerAsked_};
    ownerAsked_.reset();
    // Answered before the selection's notice arrived: this does not wait.
    Reply<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(connection_, cookie, nullptr));
    return !reply || reply->owner != XCB_NONE;
}

void X11Selections::finish(Outcome outcome, std::optional<std::string> text) {
    timeout_.stop();
    stage_ = Stage::idle;
    received_.clear();
    if (ownerAsked_) {
        xcb_discard_reply(connection_, *ownerAsked_);
        ownerAsked_.reset();
    }
    if (queue_.empty()) return;
    Finished reply = std::move(queue_.front().reply);
    queue_.pop_front();
    startNext();
    reply(outcome, std::move(text));
}

void X11Selections::finishWith(std::string text) {
    const Outcome outcome = text.empty() ? Outcome::empty : Outcome::text;
    finish(outcome, std::move(text));
}

void X11Selections::readEvents() {
    while (xcb_generic_event_t* event = xcb_poll_for_event(connection_)) {
        const std::uint8_t type = event->response_type & 0x7f;
        if (type == XCB_SELECTION_NOTIFY) {
            auto* notify = reinterpret_cast<xcb_selection_notify_event_t*>(event);
            selectionNotified(notify->requestor, notify->selection, notify->property);
        } else if (type == XCB_PROPERTY_NOTIFY) {
            auto* notify = reinterpret_cast<xcb_property_notify_event_t*>(event);
            propertyChanged(notify->window, notify->atom, notify->state == XCB_PROPERTY_NEW_VALUE);
        } else if (xfixes_ && type == xfixesEvent_ + XCB_XFIXES_SELECTION_NOTIFY) {
            auto* notify = reinterpret_cast<xcb_xfixes_selection_notify_event_t*>(event);
            if (notify->selection == clipboard_ && notify->window == window_ && ownerChanged_)
                ownerChanged_(notify->owner);
        }
        std::free(event);
    }
    if (xcb_connection_has_error(connection_) != 0) {
        log_.warn("selection", "lost the X display; selections read as empty");
        notifier_->setEnabled(false);
        if (stage_ != Stage::idle) finish(Outcome::failed);
    }
}

void X11Selections::selectionNotified(std::uint32_t requestor, std::uint32_t selection,
                                      std::uint32_t property) {
    if (requestor != window_ || queue_.empty()) return;
    const xcb_atom_t asked =
        queue_.front().which == Which::clipboard ? clipboard_ : xcb_atom_t{XCB_ATOM_PRIMARY};
    if (selection != asked) return;
    if (property == XCB_ATOM_NONE) {
        if (stage_ == Stage::targets)
            finish(ownerAnswered() ? Outcome::failed : Outcome::empty);
        else if (stage_ == Stage::text)
            finish(Outcome::failed);
        return;
    }
    if (stage_ == Stage::targets) {
        ownerAnswered();
        targetsArrived();
    } else if (stage_ == Stage::text) {
        valueArrived();
    }
}

void X11Selections::targetsArrived() {
    std::optional<Property> list = takeProperty(connection_, window_, property_, 64 * 1024);
    std::vector<xcb_atom_t> offered;
    if (list && list->type == XCB_ATOM_ATOM) {
        offered.resize(list->bytes.size() / sizeof(xcb_atom_t));
        if (!offered.empty())
            std::memcpy(offered.data(), list->bytes.data(), offered.size() * sizeof(xcb_atom_t));
    }
    auto offers = [&](xcb_atom_t target) {
        return target != XCB_ATOM_NONE &&
               std::find(offered.begin(), offered.end(), target) != offered.end();
    };
    target_ = XCB_ATOM_NONE;
    for (xcb_atom_t target : {utf8_, textPlain_, xcb_atom_t{XCB_ATOM_STRING}}) {
        if (offers(target)) {
            target_ = target;
            break;
        }
    }
    if (target_ == XCB_ATOM_NONE) {
        log_.debug("selection", "the selection offers no text");
        finish(Outcome::failed);
        return;
    }
    stage_ = Stage::text;
    const xcb_atom_t selection =
        queue_.front().which == Which::clipboard ? clipboard_ : xcb_atom_t{XCB_ATOM_PRIMARY};
    xcb_convert_selection(connection_, window_, selection, target_, property_, XCB_CURRENT_TIME);
    xcb_flush(connection_);
}

void X11Selections::valueArrived() {
    std::optional<Property> value =
        takeProperty(connection_, window_, property_, kMaxSelectionBytes);
    if (!value) {
        finish(Outcome::failed);
        return;
    }
    if (value->type == incr_) {
        // Its value is a lower bound of the size; reading it deleted the
        // property, which asks the owner for the first piece.
        std::uint32_t atLeast = 0;
        if (value->bytes.size() >= sizeof atLeast) std::memcpy(&atLeast, value->bytes.data(), 4);
        if (atLeast > kMaxSelectionBytes) {
            log_.warn("selection", "refused a selection of " + std::to_string(atLeast) +
                                       " bytes: more than 8 MiB");
            makeWindow();
            finish(Outcome::failed);
            return;
        }
        stage_ = Stage::incremental;
        received_.clear();
        xcb_flush(connection_);
        timeout_.start();
        return;
    }
    if (!value->complete) {
        log_.warn("selection", "refused a selection of more than 8 MiB");
        xcb_delete_property(connection_, window_, property_);
        xcb_flush(connection_);
        finish(Outcome::failed);
        return;
    }
    finishWith(textOf(value->bytes));
}

void X11Selections::propertyChanged(std::uint32_t window, std::uint32_t atom, bool newValue) {
    if (stage_ == Stage::incremental && window == window_ && atom == property_ && newValue)
        incrementArrived();
}

void X11Selections::incrementArrived() {
    const std::size_t room = kMaxSelectionBytes - received_.size();
    std::optional<Property> piece = takeProperty(connection_, window_, property_, room);
    if (!piece) {
        finish(Outcome::failed);
        return;
    }
    if (!piece->complete) {
        log_.warn("selection", "refused an incremental selection of more than 8 MiB");
        makeWindow();
        finish(Outcome::failed);
        return;
    }
    xcb_flush(connection_);  // the deletion asks for the next piece
    if (piece->bytes.empty()) {
        std::string all = std::move(received_);
        finishWith(textOf(all));
        return;
    }
    received_ += piece->bytes;
    timeout_.start();  // the owner is answering: it has another 500 ms for the next piece
}

std::string X11Selections::textOf(const std::string& bytes) const {
    return target_ == XCB_ATOM_STRING ? latin1ToUtf8(bytes) : repairUtf8(bytes);
}

}  // namespace kernova::desktop
