// How a large text reaches its panel without holding up the run loop: a
// worker splits it (GSplodeStream) and hands the segments back in batches;
// on the run loop each turn makes the tags of one slice (bounded in time and
// in count), measures them and appends them to the board, which lays out only
// them. The first slice fills the first screen, and the panel shows then.
// Destroying the feed stops the worker and drops what has not arrived.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/context.h"
#include "base/worker.h"
#include "board/tag_flow_item.h"
#include "segment/splode_box.h"

namespace kernova {

class TagFeed {
  public:
    // Texts of this many bytes or more arrive in slices; smaller ones are made
    // in one go.
    static constexpr std::size_t kSlicedBytes = 32 * 1024;
    // A slice makes at most this many tags, and stops early after kSliceSeconds.
    static constexpr std::size_t kSliceTags = 4096;
    static constexpr double kSliceSeconds = 0.008;
    // The worker hands on the first segments soon, then larger batches.
    static constexpr std::size_t kFirstBatch = 1024;
    static constexpr std::size_t kBatch = 8192;

    using MakeTag = std::function<GTagFlowItemRef(const GSplodeItem& segment)>;
    // The first slice's tags (empty when the text has none), then each
    // later slice's tags, on the run loop.
    using Deliver = std::function<void(std::vector<GTagFlowItemRef> tags, bool first)>;
    using Done = std::function<void(std::size_t tags)>;
    using StartJob = std::function<std::unique_ptr<WorkerJob>(WorkerStep step)>;

    // Starts splitting at once on a job from `startJob`.
    TagFeed(Context& context, const std::string& text, MakeTag make, Deliver deliver, Done done,
            const StartJob& startJob);
    ~TagFeed();
    TagFeed(const TagFeed&) = delete;
    TagFeed& operator=(const TagFeed&) = delete;

    // Asked before each slice once the first was delivered: false stops the
    // feed for good (its panel was closed).
    void setWanted(std::function<bool()> wanted) { wanted_ = std::move(wanted); }
    bool stopped() const { return stopped_; }
    // Every tag delivered.
    bool complete() const { return complete_; }
    std::size_t delivered() const { return delivered_; }
    // Splits and delivers the rest now, on this turn (an action that needs
    // the whole text); nothing when complete.
    void finishNow();

  private:
    struct Shared;
    void wake();
    void slice();
    // Moves up to `limit` segments (no limit when 0) from the worker's
    // batches into tags; stops early once `deadline` passes (when positive).
    std::vector<GTagFlowItemRef> take(std::size_t limit, double deadline);
    void finishIfDone();

    Context& context_;
    MakeTag make_;
    Deliver deliver_;
    Done done_;
    std::function<bool()> wanted_;
    bool stopped_ = false;
    std::shared_ptr<Shared> shared_;
    std::unique_ptr<WorkerJob> job_;
    // The batch being turned into tags, and where in it.
    std::vector<GSplodeItem> batch_;
    std::size_t batchAt_ = 0;
    bool sliceScheduled_ = false;
    bool first_ = true;
    bool complete_ = false;
    std::size_t delivered_ = 0;
};

}  // namespace kernova
