#pragma once

#include "output/Session.hpp"
#include "terminal/ListCursor.hpp"
#include "terminal/ScreenKey.hpp"
#include "terminal/browse/BrowseRequest.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Snapshot/Summary.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCLI {

/// The files below a folder by groups: of each group how many there are and what they take. A value; whoever holds it
/// hands the question on and the answer back.
class SummaryPane {
public:
    SummaryPane(const Session& session, Characters characters, KestrelCore::Text folder,
                KestrelCore::SummaryGrouping grouping);

    struct Answer {
        bool isUsed = false;  ///< the key meant something here
        bool isToAsk = false;
        bool isToClose = false;
        bool isToOpen = false;  ///< the files of the chosen row are to be listed
    };
    [[nodiscard]] Answer press(const ScreenKey& key);
    /// An empty one where it could not be made; one that was not asked for last changes nothing.
    void take(std::uint64_t number, std::shared_ptr<const KestrelCore::Summary> summary, std::string failure);
    void resize(std::size_t columns, std::size_t rows);

    [[nodiscard]] const Summarise& question() const { return question_; }
    void setNumber(std::uint64_t number) { question_.number = number; }
    /// What finds the files of the chosen row; empty where nothing does.
    [[nodiscard]] std::optional<KestrelCore::SearchFilter> chosenFilter() const;
    /// As a title of a list of them.
    [[nodiscard]] std::string chosenName() const;
    [[nodiscard]] std::vector<ScreenLine> lines() const;

private:
    void setGrouping(KestrelCore::SummaryGrouping grouping);

    const Session& session_;
    Characters characters_;
    Summarise question_;
    std::shared_ptr<const KestrelCore::Summary> summary_;
    std::string failure_;
    ListCursor cursor_;
    std::size_t columns_ = 80;
    std::size_t rows_ = 0;
};

}  // namespace KestrelCLI
