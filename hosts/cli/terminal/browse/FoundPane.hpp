#pragma once

#include "output/Session.hpp"
#include "terminal/ListCursor.hpp"
#include "terminal/ScreenKey.hpp"
#include "terminal/browse/BrowseMarks.hpp"
#include "terminal/browse/BrowseModel.hpp"
#include "terminal/browse/BrowseRequest.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCLI {

/// What lies below a folder as a flat list: what a typed search finds, or the largest files, or those of one kind. A
/// value; whoever holds it hands the query on and what it finds back.
class FoundPane {
public:
    /// What is listed, as a person reads it ("Largest files"); with `isTyping` the words are typed first.
    FoundPane(const Session& session, Characters characters, std::string title, FindBelow query, bool isTyping);

    struct Answer {
        bool isUsed = false;    ///< the key meant something here
        bool isToFind = false;  ///< the query has changed
        bool isToClose = false;
        bool isToOpen = false;  ///< what is chosen is to be shown in its folder
    };
    [[nodiscard]] Answer press(const ScreenKey& key);
    void take(std::shared_ptr<const BrowseFound> found) { setFound(std::move(found)); }
    void resize(std::size_t columns, std::size_t rows);

    [[nodiscard]] const FindBelow& query() const { return query_; }
    void setNumber(std::uint64_t number) { query_.number = number; }
    [[nodiscard]] bool isTyping() const { return isTyping_; }
    [[nodiscard]] const KestrelCore::FileRecord* chosen() const;
    [[nodiscard]] std::vector<ScreenLine> lines(const BrowseMarks& marks) const;

private:
    void setFound(std::shared_ptr<const BrowseFound> found);
    [[nodiscard]] std::vector<ScreenLine> head() const;
    [[nodiscard]] ScreenLine lineOf(const KestrelCore::FileRecord& record, bool isMarked, bool isChosen) const;

    const Session& session_;
    Characters characters_;
    std::string title_;
    FindBelow query_;
    bool isTyping_;
    bool isPending_ = true;
    std::shared_ptr<const BrowseFound> found_;
    ListCursor cursor_;
    std::size_t columns_ = 80;
    std::size_t rows_ = 0;
};

}  // namespace KestrelCLI
