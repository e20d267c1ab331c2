#pragma once

#include "output/Session.hpp"
#include "terminal/ListCursor.hpp"
#include "terminal/ScreenKey.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Deletion/DeletionCoordinator.hpp"
#include "KestrelCore/Model/RiskLevel.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCLI {

/// What would happen to the items that somebody wants to have gone, before anything does.
struct BrowsePlan {
    struct Item {
        KestrelCore::Text path;
        std::optional<std::int64_t> bytes{};  ///< absent where nothing is known of it
        KestrelCore::RiskLevel risk = KestrelCore::RiskLevel::normal;
        std::string refusal{};  ///< why it stays; empty for what would go
    };
    KestrelCore::DeletionMode mode = KestrelCore::DeletionMode::trash;
    std::vector<Item> items;
    std::size_t going = 0;               ///< how many would go
    std::int64_t freedBytes = 0;         ///< what really comes free then
    std::uint64_t unread = 0;            ///< how many could not be looked at
    std::vector<std::string> remarks{};  ///< sentences on what could not be looked up
    bool includesHighRisk = false;
    bool hasHighRisk = false;  ///< some are refused for their risk alone
};

/// What became of items.
struct BrowseResults {
    struct Item {
        KestrelCore::Text path;
        bool hasSucceeded = false;
        std::string message;
    };
    std::string summary;  ///< a sentence
    std::vector<Item> items;
    std::vector<KestrelCore::Text> gone;  ///< paths that are not in the scan any more
};

/// From the plan of a removal to its results: shows what would happen, asks, shows how far it is and what came of it. A
/// value; nothing is agreed to before the plan was shown.
class PlanPane {
public:
    PlanPane(const Session& session, Characters characters, KestrelCore::DeletionMode mode);

    struct Answer {
        enum class Kind {
            none,
            close,        ///< the pane is done with
            carryOut,     ///< what is shown was agreed to
            stop,         ///< what is being done is to be stopped
            planHighRisk  ///< plan again, items of high risk among those that may go or not
        };
        Kind kind = Kind::none;
    };
    [[nodiscard]] Answer press(const ScreenKey& key);
    void takePlan(BrowsePlan plan);
    void takeProgress(std::size_t done);  ///< how many have their result
    void takeResults(BrowseResults results);
    void takeFailure(std::string sentence);
    void resize(std::size_t columns, std::size_t rows);

    [[nodiscard]] bool isActing() const { return state_ == State::acting; }
    [[nodiscard]] const std::string& typed() const { return typed_; }
    [[nodiscard]] const BrowsePlan& plan() const { return plan_; }
    [[nodiscard]] std::vector<ScreenLine> lines() const;

private:
    enum class State { planning, asking, acting, done };

    [[nodiscard]] const BrowsePlan::Item* current() const;
    void layOut();
    void addItem(const std::string& size, const std::string& risk, Style riskStyle, const std::string& path,
                 const std::string& note, Style noteStyle);
    [[nodiscard]] std::vector<ScreenLine> foot() const;
    [[nodiscard]] bool isForGood() const { return plan_.mode == KestrelCore::DeletionMode::permanent; }

    const Session& session_;
    Characters characters_;
    State state_ = State::planning;
    BrowsePlan plan_;
    BrowseResults results_;
    std::string failure_;
    std::string typed_;
    bool isOtherWord_ = false;  ///< something else was typed than the word that is asked for
    std::size_t done_ = 0;
    std::vector<ScreenLine> text_;  ///< what is shown between title and foot, whole
    std::size_t first_ = 0;
    std::size_t columns_ = 80;
    std::size_t rows_ = 0;
};

}  // namespace KestrelCLI
