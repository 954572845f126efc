#include "server/tag_feed.h"

#include <deque>
#include <mutex>
#include <utility>

namespace kernova {

// What the worker and the run loop share. The worker pushes batches and posts
// one wake-up at a time; `owner` is the loop's alone.
struct TagFeed::Shared {
    std::mutex mutex;
    std::deque<std::vector<GSplodeItem>> batches;
    bool done = false;
    bool wakePosted = false;
    TagFeed* owner = nullptr;
    // Used by the worker's steps while the job runs, by the loop once it has
    // stopped (finishNow).
    std::unique_ptr<GSplodeStream> stream;
};

TagFeed::TagFeed(Context& context, const std::string& text, MakeTag make, Deliver deliver,
                 Done done, const StartJob& startJob)
    : context_(context),
      make_(std::move(make)),
      deliver_(std::move(deliver)),
      done_(std::move(done)),
      shared_(std::make_shared<Shared>()) {
    shared_->owner = this;
    shared_->stream = std::make_unique<GSplodeStream>(text, context.locale());
    RunLoop& loop = context.runLoop();
    auto step = [shared = shared_, &loop, limit = kFirstBatch]() mutable {
        std::vector<GSplodeItem> batch;
        batch.reserve(limit);
        const bool more =
            shared->stream->next(limit, [&](GSplodeItem&& s) { batch.push_back(std::move(s)); });
        limit = kBatch;
        bool post = false;
        {
            std::lock_guard lock(shared->mutex);
            if (!batch.empty()) shared->batches.push_back(std::move(batch));
            shared->done = !more;
            post = !shared->wakePosted;
            shared->wakePosted = true;
        }
        if (post) {
            loop.post([weak = std::weak_ptr<Shared>(shared)] {
                auto s = weak.lock();
                if (!s) return;
                {
                    std::lock_guard lock(s->mutex);
                    s->wakePosted = false;
                }
                if (s->owner) s->owner->wake();
            });
        }
        return more;
    };
    job_ = startJob(std::move(step));
}

TagFeed::~TagFeed() {
    job_.reset();
    shared_->owner = nullptr;
    context_.runLoop().cancelAll(this);
}

void TagFeed::wake() {
    if (sliceScheduled_ || complete_) return;
    sliceScheduled_ = true;
    context_.runLoop().after(0, this, [this] { slice(); });
}

std::vector<GTagFlowItemRef> TagFeed::take(std::size_t limit, double deadline) {
    std::vector<GTagFlowItemRef> tags;
    RunLoop& loop = context_.runLoop();
    constexpr std::size_t kClockEvery = 64;
    while (limit == 0 || tags.size() < limit) {
        if (batchAt_ >= batch_.size()) {
            std::lock_guard lock(shared_->mutex);
            if (shared_->batches.empty()) break;
            batch_ = std::move(shared_->batches.front());
            shared_->batches.pop_front();
            batchAt_ = 0;
        }
        tags.push_back(make_(batch_[batchAt_++]));
        if (deadline > 0 && tags.size() % kClockEvery == 0 && loop.now() >= deadline) break;
    }
    if (batchAt_ >= batch_.size()) {
        batch_.clear();
        batchAt_ = 0;
    }
    return tags;
}

void TagFeed::slice() {
    sliceScheduled_ = false;
    if (!first_ && wanted_ && !wanted_()) {
        stopped_ = true;
        complete_ = true;
        job_.reset();
        context_.runLoop().cancelAll(this);
        context_.log().info("server", "large text stopped after " + std::to_string(delivered_) +
                                          " tags: its panel closed");
        return;
    }
    std::vector<GTagFlowItemRef> tags = take(kSliceTags, context_.runLoop().now() + kSliceSeconds);
    bool more = batchAt_ < batch_.size();
    bool done = false;
    {
        std::lock_guard lock(shared_->mutex);
        more = more || !shared_->batches.empty();
        done = shared_->done;
    }
    delivered_ += tags.size();
    if (!tags.empty() || (first_ && done && !more)) {
        const bool first = first_;
        first_ = false;
        deliver_(std::move(tags), first);
    }
    if (more) {
        wake();
    } else {
        finishIfDone();
    }
}

void TagFeed::finishIfDone() {
    if (complete_) return;
    {
        std::lock_guard lock(shared_->mutex);
        if (!shared_->done || !shared_->batches.empty() || batchAt_ < batch_.size()) return;
    }
    complete_ = true;
    job_.reset();
    // Nothing is split any more: the text's copy and the batch's room go now,
    // not when the panel closes.
    std::vector<GSplodeItem>().swap(batch_);
    shared_->stream.reset();
    context_.runLoop().cancelAll(this);
    context_.log().info("server", "large text complete: " + std::to_string(delivered_) + " tags");
    if (done_) done_(delivered_);
}

void TagFeed::finishNow() {
    if (complete_) return;
    // The worker stops between two steps; the rest is split here.
    job_.reset();
    std::vector<GSplodeItem> rest;
    shared_->stream->next(static_cast<std::size_t>(-1),
                          [&](GSplodeItem&& s) { rest.push_back(std::move(s)); });
    {
        std::lock_guard lock(shared_->mutex);
        if (!rest.empty()) shared_->batches.push_back(std::move(rest));
        shared_->done = true;
    }
    std::vector<GTagFlowItemRef> tags = take(0, 0);
    delivered_ += tags.size();
    if (!tags.empty() || first_) {
        const bool first = first_;
        first_ = false;
        deliver_(std::move(tags), first);
    }
    finishIfDone();
}

}  // namespace kernova
