#pragma once

#include "output/Session.hpp"
#include "terminal/ListCursor.hpp"
#include "terminal/ScreenKey.hpp"
#include "terminal/browse/BrowseMarks.hpp"
#include "terminal/browse/BrowseRequest.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Reclaim/Suggestions.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace KestrelCLI {

/// What may go below a folder, rule by rule: how much each would free, why it may go and how it comes back. A value;
/// whoever holds it hands the question on and the answer back.
class SuggestionPane {
public:
    SuggestionPane(const Session& session, Characters characters, KestrelCore::Text folder);

    struct Answer {
        bool isUsed = false;  ///< the key meant something here
        bool isToClose = false;
        bool isToOpen = false;  ///< the items of the chosen rule are to be listed
        bool isToMark = false;  ///< all of them are to be marked, or not any more
    };
    [[nodiscard]] Answer press(const ScreenKey& key);
    /// An empty one where it could not be made; one that was not asked for last changes nothing.
    void take(std::uint64_t number, std::shared_ptr<const KestrelCore::Suggestions> suggestions, std::string failure);
    void resize(std::size_t columns, std::size_t rows);

    [[nodiscard]] const Suggest& question() const { return question_; }
    void setNumber(std::uint64_t number) { question_.number = number; }
    /// Null where there is none.
    [[nodiscard]] const KestrelCore::SuggestionGroup* chosen() const;
    [[nodiscard]] std::vector<ScreenLine> lines(const BrowseMarks& marks) const;

private:
    [[nodiscard]] std::string total() const;
    [[nodiscard]] ScreenLine lineOf(const KestrelCore::SuggestionGroup& group, const BrowseMarks& marks) const;
    [[nodiscard]] std::vector<ScreenLine> reasons() const;
    void layOut();

    const Session& session_;
    Characters characters_;
    Suggest question_;
    std::shared_ptr<const KestrelCore::Suggestions> suggestions_;
    std::string failure_;
    ListCursor cursor_;
    std::size_t columns_ = 80;
    std::size_t rows_ = 0;
};

}  // namespace KestrelCLI
