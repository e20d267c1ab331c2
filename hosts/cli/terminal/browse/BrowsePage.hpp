#pragma once

#include "output/Session.hpp"
#include "terminal/ScreenKey.hpp"
#include "terminal/browse/BrowseList.hpp"
#include "terminal/browse/BrowseMarks.hpp"
#include "terminal/browse/BrowseModel.hpp"
#include "terminal/browse/BrowseRequest.hpp"
#include "terminal/browse/FoundPane.hpp"
#include "terminal/browse/PicturePane.hpp"
#include "terminal/browse/PlanPane.hpp"
#include "terminal/browse/SuggestionPane.hpp"
#include "terminal/browse/SummaryPane.hpp"
#include "terminal/browse/TextPane.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Storage/Generation.hpp"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace KestrelCLI {

/// What the page tells of the scan that it shows.
struct BrowseScanState {
    std::optional<KestrelCore::Generation> scan;     ///< what is shown; absent while a first scan runs
    std::optional<KestrelCore::Generation> earlier;  ///< what changes are counted from
    bool isScanning = false;
    std::int64_t itemsSeen = 0;  ///< of the scan that runs
    std::int64_t bytesSeen = 0;
};

/// The page of `kestrel browse`: keys and answers go in, lines and requests come out. A value; it draws nothing, reads
/// nothing and takes nothing away.
class BrowsePage {
public:
    struct Options {
        ColorDepth colors = ColorDepth::none;
        std::string whyReadOnly{};  ///< why nothing can be taken away here, as a sentence; empty where it can
    };
    /// Begins in the folder, which the caller then has to hand in.
    BrowsePage(const Session& session, Characters characters, KestrelCore::Text folder, Options options);

    /// What is to be done after a key or an answer.
    struct Outcome {
        bool isOver = false;  ///< the page is to be closed
        std::vector<BrowseRequest> requests{};
    };
    [[nodiscard]] Outcome press(const ScreenKey& key, std::size_t columns, std::size_t rows);
    /// Time has passed in which no key came: what waits for a second key goes on without it.
    [[nodiscard]] Outcome pause();
    /// Whether a second key is waited for, so that a pause is worth telling.
    [[nodiscard]] bool awaitsKey() const { return isAfterG_; }

    // Answers. One that is not waited for any more changes nothing.
    [[nodiscard]] Outcome take(std::shared_ptr<const BrowseFolder> folder);
    void take(std::shared_ptr<const BrowsePicture> picture);
    void take(BrowseNameOrder order);
    void take(std::shared_ptr<const BrowseFound> found);
    void take(std::uint64_t number, std::shared_ptr<const KestrelCore::Summary> summary, std::string failure);
    void take(std::uint64_t number, std::shared_ptr<const KestrelCore::Suggestions> suggestions, std::string failure);
    void takeFreedBytes(std::int64_t bytes, std::uint64_t version);
    void takePlan(BrowsePlan plan);
    void takeProgress(std::size_t done);
    [[nodiscard]] Outcome takeResults(BrowseResults results);
    /// What a plan, or what was agreed to, failed with altogether.
    void takeFailure(std::string sentence);
    /// What `z` would put back: asked about before it is done. An empty request: there is nothing.
    void takeTrashed(KestrelCore::Text request, std::string question);
    void setScan(BrowseScanState state) { scan_ = std::move(state); }
    /// Shown at the foot until the next key.
    void setMessage(std::string message, Style style) { message_ = {std::move(message), style}; }

    [[nodiscard]] const KestrelCore::Text& folder() const { return path_; }
    /// Something is being taken away or put back, whose end must be waited for.
    [[nodiscard]] bool isActing() const { return isPuttingBack_ || (plan_ && plan_->isActing()); }

    /// At most `rows` lines of at most `columns` columns.
    [[nodiscard]] std::vector<ScreenLine> lines(std::size_t columns, std::size_t rows);

private:
    struct Message {
        std::string text;
        Style style = Style::plain;
    };
    using Key = ScreenKey::Kind;

    void resize(std::size_t columns, std::size_t rows);
    [[nodiscard]] Outcome pressNow(const ScreenKey& key);
    [[nodiscard]] Outcome pressInPlan(const ScreenKey& key);
    [[nodiscard]] Outcome pressInFound(const ScreenKey& key);
    [[nodiscard]] Outcome pressInSummary(const ScreenKey& key);
    [[nodiscard]] Outcome pressInSuggestions(const ScreenKey& key);
    [[nodiscard]] Outcome pressInList(const ScreenKey& key);
    [[nodiscard]] std::optional<Outcome> pressInPicture(const ScreenKey& key);
    /// Keys that mean the same wherever an item is chosen.
    [[nodiscard]] std::optional<Outcome> pressOnItem(const ScreenKey& key);
    [[nodiscard]] std::optional<Outcome> pressForView(char32_t character);
    void pressOrder(char32_t character);
    [[nodiscard]] Outcome go(KestrelCore::Text folder, std::optional<KestrelCore::Text> name);
    [[nodiscard]] Outcome open();
    [[nodiscard]] Outcome up();
    [[nodiscard]] Outcome find(std::string title, FindBelow query, bool isTyping);
    [[nodiscard]] Outcome ask();
    [[nodiscard]] Outcome summarise(KestrelCore::SummaryGrouping grouping);
    [[nodiscard]] Outcome askSummary();
    [[nodiscard]] Outcome write(const ScreenKey& key);
    [[nodiscard]] Outcome suggest();
    [[nodiscard]] Outcome askSuggestions();
    [[nodiscard]] Outcome markSuggested();
    [[nodiscard]] Outcome showPicture();
    [[nodiscard]] std::optional<std::size_t> pictured(std::optional<std::size_t> item) const;
    [[nodiscard]] Outcome measureMarks();
    [[nodiscard]] Outcome plan(KestrelCore::DeletionMode mode);
    [[nodiscard]] Outcome replay();
    void showInfo();
    void showHelp();
    [[nodiscard]] const KestrelCore::FileRecord* chosenRecord() const;

    [[nodiscard]] ScreenLine title() const;
    [[nodiscard]] ScreenLine summary() const;
    [[nodiscard]] std::string scanText() const;
    [[nodiscard]] ScreenLine chosenLine() const;
    [[nodiscard]] bool hasNotes() const;
    [[nodiscard]] ScreenLine marksLine() const;
    [[nodiscard]] ScreenLine foot() const;
    [[nodiscard]] std::vector<ScreenLine> body() const;
    [[nodiscard]] std::vector<ScreenLine> wholePage(std::size_t rows) const;

    const Session& session_;
    Characters characters_;
    Options options_;
    BrowseScanState scan_;
    KestrelCore::Text path_;
    std::shared_ptr<const BrowseFolder> folder_;         ///< null while it is being read
    std::optional<KestrelCore::Text> toChoose_;          ///< a name, once the folder is there
    std::vector<ScreenKey> held_;                        ///< typed while the folder was being read
    std::map<std::string, KestrelCore::Text> chosenIn_;  ///< folder → what was chosen when it was left
    BrowseList list_;
    BrowseMarks marks_;
    bool showsPicture_ = false;
    PictureColoring coloring_ = PictureColoring::places;
    std::optional<PicturePane> picture_;  ///< empty while it is being read
    std::size_t pictureItems_ = 0;
    std::optional<FoundPane> found_;
    std::optional<SummaryPane> summary_;
    std::optional<SuggestionPane> suggestions_;
    std::uint64_t questions_ = 0;  ///< how many were asked
    std::optional<PlanPane> plan_;
    std::vector<KestrelCore::FileRecord> planned_;  ///< what the plan is about
    std::optional<TextPane> text_;
    struct Question {
        KestrelCore::Text request;
        std::string text;
    };
    std::optional<Question> question_;  ///< whether to put back what was moved to the Trash last
    bool isPuttingBack_ = false;
    bool isAskingForm_ = false;  ///< what the folder is to be written as
    std::optional<Message> message_;
    bool isAfterG_ = false;
    std::size_t columns_ = 80;
    std::size_t rows_ = 24;
};

}  // namespace KestrelCLI
