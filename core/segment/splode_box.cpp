#include "segment/splode_box.h"

#include <algorithm>
#include <exception>
#include <optional>

#include "base/text.h"
#include "base/value.h"
#include "segment/break_text.h"
#include "segment/tokenizer.h"

namespace kernova {
namespace {

using segment_detail::BreakText;

// Every item holds at least one code unit, so the text's length bounds the count:
// one allocation instead of repeated growth, whose copies and fresh pages cost as
// much as a tenth of a large split. Pages of the unused tail are never touched.
void reserveItems(const BreakText& text, std::vector<GSplodeItem>& out) {
    constexpr std::size_t kMaxReserve = std::size_t{1} << 22;
    out.reserve(std::min(static_cast<std::size_t>(text.length()), kMaxReserve));
}

// One item per composed character sequence of `span`, cut as if the text ended
// at span.end.
template <class Out>
void appendCharacters(BreakText& text, BreakText::Span span, bool isSymbol, Out& out) {
    for (std::int32_t pos = span.begin; pos < span.end;) {
        std::int32_t end = text.clusterEnd(pos, span.end);
        out.push_back(GSplodeItem::splodeText(text.slice(pos, end), isSymbol));
        pos = end;
    }
}

// A word as the word enumeration reports it: its own range and the enclosing
// range that also covers the non-word characters up to the next word.
struct WordVisit {
    std::int64_t location = 0;
    std::int64_t length = 0;
    std::int64_t enclosingLocation = 0;
    std::int64_t enclosingLength = 0;
};

template <class Out>
void appendWord(BreakText& text, const WordVisit& v, Out& out) {
    std::int64_t wordEnd = v.location + v.length;
    std::int64_t enclosingEnd = v.enclosingLocation + v.enclosingLength;
    if (v.location > v.enclosingLocation) {
        // The run's length is the word's absolute location, not location minus the
        // enclosing start: exact for the first word, whose enclosing range starts at
        // 0, which is the only word with leading characters.
        appendCharacters(text, text.checkedRange(v.enclosingLocation, v.location), true, out);
    }
    const auto begin = static_cast<std::int32_t>(v.location);
    const auto end = static_cast<std::int32_t>(wordEnd);
    if (!text.isAllWhitespace(begin, end)) {
        out.push_back(GSplodeItem::splodeText(text.slice(begin, end), false));
    }
    if (v.location >= v.enclosingLocation && enclosingEnd > wordEnd) {
        appendCharacters(text, text.checkedRange(wordEnd, enclosingEnd - wordEnd), true, out);
    }
}

// Walks the word segments; each word is handled once the next word's start (the
// end of its enclosing range) is known.
template <class Out>
void splitWords(BreakText& text, Out& out) {
    if (text.empty()) return;
    icu::BreakIterator& it = text.words();
    std::optional<BreakText::Span> pending;
    bool first = true;
    auto flush = [&](std::int32_t nextWordStart) {
        std::int32_t enclosing = first ? 0 : pending->begin;
        first = false;
        appendWord(
            text,
            {pending->begin, pending->end - pending->begin, enclosing, nextWordStart - enclosing},
            out);
    };
    std::int32_t start = it.first();
    for (std::int32_t end = it.next(); end != icu::BreakIterator::DONE; end = it.next()) {
        if (segment_detail::isWordStatus(it.getRuleStatus())) {
            if (pending) flush(start);
            pending = BreakText::Span{start, end};
        }
        start = end;
    }
    if (pending) flush(text.length());
}

// Hands each item to the sink as it is made, counting them.
struct SinkOut {
    const GSplodeSink& sink;
    std::size_t count = 0;
    void push_back(GSplodeItem&& item) {
        ++count;
        sink(std::move(item));
    }
};

bool allWhitespace(std::string_view s) {
    for (std::size_t i = 0; i < s.size();) {
        std::size_t len = 0;
        if (!isWhitespaceOrNewline(decodeUtf8At(s, i, &len))) return false;
        i += len;
    }
    return true;
}

}  // namespace

std::string segmentationLocale(const EnvironmentLookup& env) {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG", "LANGUAGE"}) {
        std::optional<std::string> value = env ? env(name) : std::nullopt;
        if (!value) continue;
        std::string id = *value;
        if (std::string_view(name) == "LANGUAGE") id = id.substr(0, id.find(':'));
        // "de_DE.UTF-8@euro": the encoding and the modifier do not change word breaks.
        id = id.substr(0, id.find_first_of(".@"));
        if (id.empty() || id == "C" || id == "POSIX") continue;
        return id;
    }
    return kDefaultSegmentationLocale;
}

GSplodeItem GSplodeItem::splodeText(std::string text, bool isSymbol) {
    return GSplodeItem{std::move(text), isSymbol};
}

std::vector<GSplodeItem> GSplodeBox::splode(std::string_view text, std::string_view locale) {
    try {
        BreakText broken(text, locale);
        std::vector<GSplodeItem> result;
        reserveItems(broken, result);
        splitWords(broken, result);
        if (!broken.empty() && result.empty()) {
            result = segment_detail::tokenize(broken, kUnitWordBoundary);
        }
        return result;
    } catch (const std::exception&) {
        // Whatever was collected before the failure is dropped.
        return {};
    }
}

void GSplodeBox::splode(std::string_view text, const GSplodeSink& sink, std::string_view locale) {
    try {
        BreakText broken(text, locale);
        SinkOut out{sink};
        splitWords(broken, out);
        if (!broken.empty() && out.count == 0) {
            for (GSplodeItem& item : segment_detail::tokenize(broken, kUnitWordBoundary))
                sink(std::move(item));
        }
    } catch (const std::exception&) {
        // The items handed over before the failure stand; nothing follows them.
    }
}

std::vector<GSplodeItem> GSplodeBox::splodeWithOption(std::uint64_t option, std::string_view text,
                                                      std::string_view locale) {
    BreakText broken(text, locale);
    return segment_detail::tokenize(broken, option);
}

std::vector<GSplodeItem> GSplodeBox::splodeAll(std::string_view text, std::string_view locale) {
    BreakText broken(text, locale);
    std::vector<GSplodeItem> out;
    reserveItems(broken, out);
    appendCharacters(broken, {0, broken.length()}, false, out);
    return out;
}

void GSplodeBox::splodeAll(std::string_view text, const GSplodeSink& sink,
                           std::string_view locale) {
    BreakText broken(text, locale);
    SinkOut out{sink};
    appendCharacters(broken, {0, broken.length()}, false, out);
}

GSplodeStream::GSplodeStream(std::string_view text, std::string_view locale) {
    try {
        text_ = std::make_unique<BreakText>(text, locale);
    } catch (const std::exception&) {
        done_ = true;
    }
}

GSplodeStream::~GSplodeStream() = default;

bool GSplodeStream::next(std::size_t limit, const GSplodeSink& sink) {
    if (done_) return false;
    try {
        BreakText& text = *text_;
        SinkOut out{sink};
        if (text.empty()) {
            done_ = true;
            return false;
        }
        icu::BreakIterator& it = text.words();
        // The same walk as splitWords, stopping after `limit` segments.
        auto flush = [&](std::int32_t nextWordStart) {
            std::int32_t enclosing = first_ ? 0 : pendingBegin_;
            first_ = false;
            appendWord(
                text,
                {pendingBegin_, pendingEnd_ - pendingBegin_, enclosing, nextWordStart - enclosing},
                out);
        };
        if (!started_) {
            started_ = true;
            start_ = it.first();
        }
        while (out.count < limit) {
            const std::int32_t end = it.next();
            if (end == icu::BreakIterator::DONE) {
                if (pendingBegin_ >= 0) flush(text.length());
                count_ += out.count;
                if (count_ == 0) {
                    for (GSplodeItem& item :
                         segment_detail::tokenize(text, GSplodeBox::kUnitWordBoundary)) {
                        ++count_;
                        sink(std::move(item));
                    }
                }
                done_ = true;
                return false;
            }
            if (segment_detail::isWordStatus(it.getRuleStatus())) {
                if (pendingBegin_ >= 0) flush(start_);
                pendingBegin_ = start_;
                pendingEnd_ = end;
            }
            start_ = end;
        }
        count_ += out.count;
        return true;
    } catch (const std::exception&) {
        done_ = true;
        return false;
    }
}

bool GSplodeBox::isEmptAllSapce(const Value* object) {
    if (object == nullptr) return true;
    const std::string* s = object->asString();
    return s != nullptr && allWhitespace(*s);
}

bool GSplodeBox::isEmptAllSapce(std::string_view text) {
    return allWhitespace(text);
}

}  // namespace kernova
