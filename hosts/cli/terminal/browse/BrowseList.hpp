#pragma once

#include "output/Session.hpp"
#include "terminal/ListCursor.hpp"
#include "terminal/PageText.hpp"
#include "terminal/ScreenKey.hpp"
#include "terminal/browse/BrowseMarks.hpp"
#include "terminal/browse/BrowseModel.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace KestrelCLI {

/// What a folder's items are sorted by; each order has a usual direction, which can be reversed.
enum class BrowseOrder : std::uint8_t {
    size,      ///< largest first
    name,      ///< in the natural order of names
    items,     ///< most first
    modified,  ///< youngest first
    change     ///< what grew most first
};

/// The items of one folder: in which order they are shown, which are left out, which is chosen. A value; it touches no
/// terminal and no disk.
class BrowseList {
public:
    BrowseList(const Session& session, Characters characters) : session_{session}, characters_{characters} {}

    /// Shows the folder. What somebody chose stays chosen when it is the same folder as before; else the first is.
    void setFolder(std::shared_ptr<const BrowseFolder> folder);
    /// By which names are in order from now on, as long as this reading of the folder is shown.
    void setNameOrder(std::vector<std::uint32_t> ranks);
    /// Chooses the item of that name; false where none in view has it.
    bool choose(const KestrelCore::Text& name);
    void choosePlace(std::size_t place) {
        isChosen_ = true;
        cursor_.choose(place);
    }
    void resize(std::size_t columns, std::size_t rows);
    /// Moves; false for a key that does not.
    bool press(const ScreenKey& key) {
        isChosen_ = true;
        return cursor_.press(key);
    }

    /// The same order again turns it around.
    void sortBy(BrowseOrder order);
    void setSizeKind(SizeKind kind);
    void showHidden(bool isShown);
    [[nodiscard]] SizeKind sizeKind() const { return sizeKind_; }
    [[nodiscard]] BrowseOrder order() const { return order_; }
    [[nodiscard]] bool showsHidden() const { return showsHidden_; }

    [[nodiscard]] const BrowseItem* chosen() const;
    /// Its index among the folder's items; empty where none is.
    [[nodiscard]] std::optional<std::size_t> chosenIndex() const;
    /// Chooses the item with that index, if it is shown.
    void chooseIndex(std::size_t index);
    /// The items shown, in their order.
    [[nodiscard]] std::size_t count() const { return shown_.size(); }
    [[nodiscard]] const BrowseItem& item(std::size_t place) const { return folder_->items[shown_[place]]; }
    /// How many are left out since they are hidden.
    [[nodiscard]] std::size_t hiddenCount() const;

    /// The heading, and as many items as there is room for.
    [[nodiscard]] std::vector<ScreenLine> lines(const BrowseMarks& marks) const;

private:
    /// Widths of the columns that there is room for; 0 for one that there is not.
    struct Layout {
        std::size_t size = 0;
        std::size_t bar = 0;
        std::size_t share = 0;
        std::size_t items = 0;
        std::size_t change = 0;
        std::size_t modified = 0;
        std::size_t name = 0;
    };
    void arrange();
    [[nodiscard]] std::int64_t sortKey(const BrowseItem& item) const;
    [[nodiscard]] Layout layout() const;
    [[nodiscard]] ScreenLine heading(const Layout& layout) const;
    [[nodiscard]] ScreenLine lineOf(const BrowseItem& item, const Layout& layout, bool isMarked, bool isChosen) const;

    const Session& session_;
    Characters characters_;
    std::shared_ptr<const BrowseFolder> folder_;
    std::vector<std::uint32_t> ranks_;  ///< item → its place by name; empty: the items' own order
    std::vector<std::uint32_t> shown_;
    ListCursor cursor_;
    bool isChosen_ = false;  ///< somebody has moved in this folder, and not just come to it
    std::size_t columns_ = 80;
    std::size_t rows_ = 0;
    BrowseOrder order_ = BrowseOrder::size;
    bool isReversed_ = false;
    SizeKind sizeKind_ = SizeKind::disk;
    bool showsHidden_ = true;
    std::int64_t largest_ = 0;  ///< size of the largest item shown
};

}  // namespace KestrelCLI
