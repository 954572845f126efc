// The collection view: a scroll view that shows one cell per item, placed by a
// replaceable layout object. Only cells that intersect the visible rectangle
// exist; cells leaving it are kept for reuse exactly as they were last
// configured (prepareForReuse does nothing unless a cell overrides it).
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ui/collection_layout.h"
#include "ui/scroll_view.h"

namespace kernova::ui {

class CollectionView;

class CollectionViewCell : public View {
  public:
    explicit CollectionViewCell(Rect frame = {});

    // Where cells put their content; it follows the cell's bounds.
    View& contentView() { return *contentView_; }
    const std::string& reuseIdentifier() const { return reuseIdentifier_; }
    bool isSelected() const { return selected_; }
    virtual void setSelected(bool selected) { selected_ = selected; }
    bool isHighlighted() const { return highlighted_; }
    virtual void setHighlighted(bool highlighted) { highlighted_ = highlighted; }

    // Called when the cell is dequeued again; does nothing by default.
    virtual void prepareForReuse() {}
    virtual void applyLayoutAttributes(const LayoutAttributes& attributes);
    void layoutSubviews() override;

  private:
    friend class CollectionView;
    std::shared_ptr<View> contentView_;
    std::string reuseIdentifier_;
    bool selected_ = false;
    bool highlighted_ = false;
};

class CollectionViewDataSource {
  public:
    virtual ~CollectionViewDataSource() = default;
    virtual std::int64_t numberOfSections(CollectionView& collectionView) {
        (void)collectionView;
        return 1;
    }
    virtual std::int64_t numberOfItemsInSection(CollectionView& collectionView,
                                                std::int64_t section) = 0;
    // Must return a cell from dequeueReusableCellWithReuseIdentifier.
    virtual std::shared_ptr<CollectionViewCell> cellForItemAtIndexPath(
        CollectionView& collectionView, const IndexPath& indexPath) = 0;
};

class CollectionViewDelegate : public ScrollViewDelegate {
  public:
    virtual bool shouldSelectItemAtIndexPath(CollectionView& collectionView,
                                             const IndexPath& indexPath) {
        (void)collectionView, (void)indexPath;
        return true;
    }
    virtual void didSelectItemAtIndexPath(CollectionView& collectionView,
                                          const IndexPath& indexPath) {
        (void)collectionView, (void)indexPath;
    }
    virtual void willDisplayCell(CollectionView& collectionView, CollectionViewCell& cell,
                                 const IndexPath& indexPath) {
        (void)collectionView, (void)cell, (void)indexPath;
    }
    virtual void didEndDisplayingCell(CollectionView& collectionView, CollectionViewCell& cell,
                                      const IndexPath& indexPath) {
        (void)collectionView, (void)cell, (void)indexPath;
    }
};

class CollectionView : public ScrollView {
  public:
    using CellFactory = std::function<std::shared_ptr<CollectionViewCell>()>;
    // How far a finger may move between down and up for a tap to select.
    static constexpr double kTapMovement = 10.0;

    CollectionView(Rect frame, std::shared_ptr<CollectionViewLayout> layout);
    ~CollectionView() override;

    // Data source and delegate are not owned.
    CollectionViewDataSource* dataSource() const { return dataSource_; }
    void setDataSource(CollectionViewDataSource* dataSource);
    CollectionViewDelegate* delegate() const { return delegate_; }
    void setDelegate(CollectionViewDelegate* delegate);

    const std::shared_ptr<CollectionViewLayout>& collectionViewLayout() const { return layout_; }
    // Null is ignored.
    void setCollectionViewLayout(std::shared_ptr<CollectionViewLayout> layout);

    void registerClass(CellFactory factory, const std::string& reuseIdentifier);
    // A kept cell of that identifier (after prepareForReuse), else a new one from
    // the registered factory; null when nothing is registered under it.
    std::shared_ptr<CollectionViewCell> dequeueReusableCellWithReuseIdentifier(
        const std::string& reuseIdentifier, const IndexPath& indexPath);

    // Forgets every visible cell (kept for reuse) and asks again on the next pass.
    void reloadData();
    // Asks the data source again for those items (when visible) on the next pass.
    void reloadItemsAtIndexPaths(const std::vector<IndexPath>& indexPaths);
    // Runs `updates`, then lays out again at once; `completion` runs afterwards
    // with finished = true.
    void performBatchUpdates(const std::function<void()>& updates,
                             const std::function<void(bool)>& completion);

    std::int64_t numberOfSections();
    std::int64_t numberOfItemsInSection(std::int64_t section);
    std::optional<IndexPath> indexPathForItemAtPoint(Point point) const;
    std::optional<IndexPath> indexPathForCell(const CollectionViewCell* cell) const;
    // The visible cell showing that item, or null.
    CollectionViewCell* cellForItemAtIndexPath(const IndexPath& indexPath) const;
    std::vector<CollectionViewCell*> visibleCells() const;
    std::vector<IndexPath> indexPathsForVisibleItems() const;
    std::optional<LayoutAttributes> layoutAttributesForItemAtIndexPath(const IndexPath& ip) const;
    // Kept cells waiting for reuse, over all identifiers.
    std::size_t reusableCellCount() const;

    void layoutSubviews() override;
    void setBounds(const Rect& bounds) override;
    void setFrame(const Rect& frame) override;

    void touchesBegan(const Touch& touch) override;
    void touchesMoved(const Touch& touch) override;
    void touchesEnded(const Touch& touch) override;
    void touchesCancelled(const Touch& touch) override;

  private:
    void prepareIfNeeded();
    void enqueue(const IndexPath& indexPath);
    void realiseCell(const LayoutAttributes& attributes);

    std::shared_ptr<CollectionViewLayout> layout_;
    CollectionViewDataSource* dataSource_ = nullptr;
    CollectionViewDelegate* delegate_ = nullptr;
    std::map<std::string, CellFactory> factories_;
    std::map<std::string, std::vector<std::shared_ptr<CollectionViewCell>>> reusable_;
    std::map<IndexPath, std::shared_ptr<CollectionViewCell>> visible_;
    std::optional<IndexPath> pressed_;
    Point pressLocation_;
};

}  // namespace kernova::ui
