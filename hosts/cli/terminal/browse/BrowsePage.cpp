#include "terminal/browse/BrowsePage.hpp"

#include "output/ByteFormat.hpp"
#include "output/GrowthTree.hpp"
#include "output/ModelJSON.hpp"
#include "output/TerminalText.hpp"
#include "output/Times.hpp"
#include "terminal/PageText.hpp"
#include "terminal/browse/BrowseKeys.hpp"

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Deletion/SafetyPolicy.hpp"
#include "KestrelCore/Model/FileKind.hpp"
#include "KestrelCore/Model/ItemCategory.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

// What is on top takes the keys: a text over a plan over what was found over the list. Keys that come while a folder is
// being read are kept for it, since they were meant for what is not seen yet; none of them may act on another item.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// More keys than anybody types ahead.
constexpr std::size_t mostHeld = 64;

Text parentOf(const Text& path) {
    const std::size_t slash = path.view().rfind('/');
    return slash == std::string_view::npos || slash == 0 ? Text{"/"} : Text{path.view().substr(0, slash)};
}

Text nameOf(const Text& path) {
    const std::size_t slash = path.view().rfind('/');
    return slash == std::string_view::npos ? path : Text{path.view().substr(slash + 1)};
}

std::string_view kindName(const FileRecord& record) {
    switch (record.kind()) {
    case FileKind::directory: return "folder";
    case FileKind::package: return "package";
    case FileKind::symbolicLink: return "symbolic link";
    case FileKind::file: return "file";
    case FileKind::other: break;
    }
    return "other (no file, folder or link)";
}

/// The parts as far as they have room, the first in any case: none is cut.
std::string joined(const std::vector<std::string>& parts, std::string_view between, std::size_t columns) {
    std::string text;
    for (const std::string& part : parts) {
        const std::string longer = text.empty() ? part : fmt::format("{}{}{}", text, between, part);
        if (!text.empty() && TerminalText::width(longer) > columns) break;
        text = longer;
    }
    return text;
}

/// Something that comes after each other request.
BrowsePage::Outcome requesting(BrowseRequest request) {
    BrowsePage::Outcome outcome;
    outcome.requests.push_back(std::move(request));
    return outcome;
}

void append(BrowsePage::Outcome& outcome, BrowsePage::Outcome further) {
    outcome.isOver = outcome.isOver || further.isOver;
    for (BrowseRequest& request : further.requests) outcome.requests.push_back(std::move(request));
}

}  // namespace

BrowsePage::BrowsePage(const Session& session, Characters characters, Text folder, Options options)
    : session_{session}, characters_{characters}, options_{std::move(options)}, path_{std::move(folder)},
      list_{session, characters} {}

// ---- Answers -------------------------------------------------------------------------------------------------------

BrowsePage::Outcome BrowsePage::take(std::shared_ptr<const BrowseFolder> folder) {
    if (folder == nullptr || folder->path != path_) return {};
    const bool isNew = folder_ == nullptr;
    // While a scan puts in order what it has found nothing can be said of it; what is shown is as good as before.
    if (!isNew && !scan_.scan && !folder->failure.empty()) return {};
    folder_ = std::move(folder);
    list_.setFolder(folder_);
    if (isNew && toChoose_) list_.choose(*toChoose_);
    toChoose_.reset();
    Outcome outcome;
    // The earlier picture stays while the same folder is read again, since it hardly differs.
    if (isNew) picture_.reset();
    if (showsPicture_) outcome = requesting(ReadPicture{folder_});
    append(outcome, replay());
    return outcome;
}

void BrowsePage::take(std::shared_ptr<const BrowsePicture> picture) {
    // Its items are named by their places in the folder, so it fits that very reading of it only.
    if (!showsPicture_ || picture == nullptr || folder_ == nullptr || picture->folder != folder_) return;
    pictureItems_ = picture->items.size();
    picture_.emplace(picture->items, PicturePane::Options{.characters = characters_,
                                                          .colors = options_.colors,
                                                          .coloring = coloring_,
                                                          .units = session_.options.units,
                                                          .set = session_.settings.pageColors.value});
}

/// What was typed ahead, as far as it finds a folder to act on.
BrowsePage::Outcome BrowsePage::replay() {
    Outcome outcome;
    std::vector<ScreenKey> held = std::exchange(held_, {});
    for (std::size_t index = 0; index < held.size(); ++index) {
        if (folder_ == nullptr || outcome.isOver) {
            held_.assign(held.begin() + static_cast<std::ptrdiff_t>(index), held.end());
            break;
        }
        append(outcome, pressNow(held[index]));
    }
    return outcome;
}

void BrowsePage::take(BrowseNameOrder order) {
    if (folder_ != nullptr && order.folder == folder_) list_.setNameOrder(std::move(order.ranks));
}

void BrowsePage::takeTrashed(Text request, std::string question) {
    // Where it would not be seen, or a letter is meant for something else, nothing is asked.
    if (text_ || plan_ || rows_ < 3 || (found_ && found_->isTyping())) return;
    if (request.isEmpty()) return setMessage("Nothing that was moved to the Trash from here is there.", Style::plain);
    question_ = Question{std::move(request), std::move(question)};
}

void BrowsePage::take(std::shared_ptr<const BrowseFound> found) {
    if (found_ && found != nullptr && found->number == found_->query().number) found_->take(std::move(found));
}

void BrowsePage::take(std::uint64_t number, std::shared_ptr<const Summary> summary, std::string failure) {
    if (summary_) summary_->take(number, std::move(summary), std::move(failure));
}

void BrowsePage::take(std::uint64_t number, std::shared_ptr<const Suggestions> suggestions, std::string failure) {
    if (suggestions_) suggestions_->take(number, std::move(suggestions), std::move(failure));
}

void BrowsePage::takeFreedBytes(std::int64_t bytes, std::uint64_t version) {
    if (version == marks_.version()) marks_.setFreedBytes(bytes);
}

void BrowsePage::takePlan(BrowsePlan plan) {
    if (plan_) plan_->takePlan(std::move(plan));
}

void BrowsePage::takeProgress(std::size_t done) {
    if (plan_) plan_->takeProgress(done);
}

void BrowsePage::takeFailure(std::string sentence) {
    isPuttingBack_ = false;
    if (plan_) return plan_->takeFailure(std::move(sentence));
    setMessage(std::move(sentence), Style::bad);
}

BrowsePage::Outcome BrowsePage::takeResults(BrowseResults results) {
    isPuttingBack_ = false;
    marks_.remove(results.gone);
    if (plan_) {
        plan_->takeResults(std::move(results));
    } else {
        setMessage(results.summary, Style::heading);
    }
    // What is shown is read again, and keeps its place.
    Outcome outcome = requesting(ReadFolder{path_});
    if (found_) append(outcome, ask());
    if (summary_) append(outcome, askSummary());
    if (suggestions_) append(outcome, askSuggestions());
    // What stays marked frees something else now.
    append(outcome, measureMarks());
    return outcome;
}

// ---- Keys ----------------------------------------------------------------------------------------------------------

BrowsePage::Outcome BrowsePage::press(const ScreenKey& key, std::size_t columns, std::size_t rows) {
    resize(columns, rows);
    if (key.kind == Key::none || key.kind == Key::resized || key.kind == Key::woken) return {};
    if (key.kind == Key::closed) return {.isOver = true};
    // What is begun is waited for.
    if (isPuttingBack_) return {};
    if (std::exchange(isAskingForm_, false)) return write(key);
    if (question_) {
        const Question asked = *std::exchange(question_, std::nullopt);
        const bool isYes = key.kind == Key::character && (key.character == U'y' || key.character == U'Y');
        if (!isYes) return {};
        isPuttingBack_ = true;
        setMessage("Putting back …", Style::quiet);
        return requesting(PutBack{asked.request});
    }
    const bool isQuit = key.kind == Key::character && key.character == U'q';
    if (folder_ == nullptr && !text_ && !plan_ && !found_ && !summary_ && !suggestions_ && !isQuit) {
        if (held_.size() < mostHeld) held_.push_back(key);
        return {};
    }
    return pressNow(key);
}

BrowsePage::Outcome BrowsePage::pressNow(const ScreenKey& key) {
    message_.reset();
    if (text_) {
        if (!text_->press(key) && key.kind != Key::click && key.kind != Key::doubleClick) text_.reset();
        return {};
    }
    if (plan_) return pressInPlan(key);
    if (found_) return pressInFound(key);
    if (summary_) return pressInSummary(key);
    if (suggestions_) return pressInSuggestions(key);
    return pressInList(key);
}

BrowsePage::Outcome BrowsePage::pause() {
    if (!std::exchange(isAfterG_, false)) return {};
    if (folder_ != nullptr && !folder_->knowsChanges) {
        setMessage("There is no scan before this one to compare with.", Style::plain);
    } else {
        list_.sortBy(BrowseOrder::change);
    }
    return {};
}

BrowsePage::Outcome BrowsePage::pressInPlan(const ScreenKey& key) {
    switch (plan_->press(key).kind) {
    case PlanPane::Answer::Kind::none: break;
    case PlanPane::Answer::Kind::close: plan_.reset(); break;
    case PlanPane::Answer::Kind::carryOut: return requesting(CarryOutPlan{plan_->typed()});
    case PlanPane::Answer::Kind::stop: return requesting(StopAction{});
    case PlanPane::Answer::Kind::planHighRisk:
        return requesting(PlanDeletion{planned_, plan_->plan().mode, !plan_->plan().includesHighRisk});
    }
    return {};
}

BrowsePage::Outcome BrowsePage::pressInFound(const ScreenKey& key) {
    if (!found_->isTyping()) {
        if (auto outcome = pressOnItem(key)) return std::move(*outcome);
    }
    ScreenKey below = key;
    if (key.kind == Key::click || key.kind == Key::doubleClick) below.row = key.row - std::min<std::size_t>(key.row, 1);
    const FoundPane::Answer answer = found_->press(below);
    if (answer.isToFind) return ask();
    if (answer.isToOpen) {
        const FileRecord record = *found_->chosen();
        found_.reset();
        summary_.reset();
        suggestions_.reset();
        return go(parentOf(record.path()), nameOf(record.path()));
    }
    if (answer.isToClose) found_.reset();
    if (!answer.isUsed && key.kind == Key::character) {
        // As everywhere but in the folder itself it leads back.
        if (key.character == U'q') found_.reset();
        if (key.character == U'?') showHelp();
    }
    return {};
}

BrowsePage::Outcome BrowsePage::pressInSummary(const ScreenKey& key) {
    ScreenKey below = key;
    if (key.kind == Key::click || key.kind == Key::doubleClick) below.row = key.row - std::min<std::size_t>(key.row, 1);
    const SummaryPane::Answer answer = summary_->press(below);
    if (answer.isToAsk) return askSummary();
    if (answer.isToOpen) {
        FindBelow query{.folder = {}, .words = {}, .filter = *summary_->chosenFilter(), .order = SearchOrder::size};
        return find(summary_->chosenName(), std::move(query), false);
    }
    if (answer.isToClose) summary_.reset();
    if (!answer.isUsed && key.kind == Key::character) {
        if (key.character == U'q') summary_.reset();
        if (key.character == U'?') showHelp();
    }
    return {};
}

BrowsePage::Outcome BrowsePage::pressInSuggestions(const ScreenKey& key) {
    ScreenKey below = key;
    if (key.kind == Key::click || key.kind == Key::doubleClick) below.row = key.row - std::min<std::size_t>(key.row, 1);
    const SuggestionPane::Answer answer = suggestions_->press(below);
    if (answer.isToMark) return markSuggested();
    if (answer.isToOpen) {
        const ReclaimRule& rule = suggestions_->chosen()->rule;
        FindBelow query{.folder = {}, .words = {}, .filter = {}, .rule = rule.identifier};
        return find(rule.title.string(), std::move(query), false);
    }
    if (answer.isToClose) suggestions_.reset();
    if (answer.isUsed) return {};
    if (key.kind == Key::character && key.character == U'q') suggestions_.reset();
    if (key.kind == Key::character && key.character == U'?') showHelp();
    // What is marked may go from here; what else the keys act on is no item.
    const bool isToGo =
        key.kind == Key::remove || (key.kind == Key::character && (key.character == U't' || key.character == U'D'));
    if (isToGo && marks_.isEmpty()) {
        setMessage("Space marks what the chosen rule found; Enter lists it.", Style::plain);
        return {};
    }
    const bool isForMarks = isToGo || (key.kind == Key::character && (key.character == U'u' || key.character == U'z'));
    if (!isForMarks) return {};
    return pressOnItem(key).value_or(Outcome{});
}

BrowsePage::Outcome BrowsePage::pressInList(const ScreenKey& key) {
    if (std::exchange(isAfterG_, false)) {
        if (key.kind == Key::character && key.character == U'g') {
            list_.choosePlace(0);
            return {};
        }
        // A first g that no second followed sorts.
        if (folder_->knowsChanges) list_.sortBy(BrowseOrder::change);
    }
    if (auto outcome = pressOnItem(key)) return std::move(*outcome);
    if (showsPicture_) {
        if (auto outcome = pressInPicture(key)) return std::move(*outcome);
    }
    switch (key.kind) {
    case Key::enter:
    case Key::right: return open();
    case Key::left:
    case Key::backspace: return up();
    case Key::click:
    case Key::doubleClick: {
        const std::size_t above = rows_ >= 6 ? 3 : rows_ >= 3 ? 2 : rows_ > 1 ? 1 : 0;
        if (key.row < above) return {};
        ScreenKey moved = key;
        moved.kind = Key::click;
        moved.row = key.row - above;
        if (!list_.press(moved)) return {};
        return key.kind == Key::doubleClick ? open() : Outcome{};
    }
    case Key::character: break;
    default: (void)list_.press(key); return {};
    }
    if (auto outcome = pressForView(key.character)) return std::move(*outcome);
    pressOrder(key.character);
    (void)list_.press(key);
    return {};
}

/// The tile of an item: all that are too many have one.
std::optional<std::size_t> BrowsePage::pictured(std::optional<std::size_t> item) const {
    return item && pictureItems_ > 0 ? std::optional{std::min(*item, pictureItems_ - 1)} : std::nullopt;
}

std::optional<BrowsePage::Outcome> BrowsePage::pressInPicture(const ScreenKey& key) {
    ScreenKey::Kind direction = key.kind;
    if (key.kind == Key::character) {
        switch (key.character) {
        case U'h': direction = Key::left; break;
        case U'j': direction = Key::down; break;
        case U'k': direction = Key::up; break;
        case U'l': direction = Key::right; break;
        case U's':
        case U'n':
        case U'c':
        case U'm':
        case U'g':
        case U'a':
            setMessage("The picture shows what items take on the disk; p goes to the list, which can be sorted.",
                       Style::plain);
            return Outcome{};
        default: return std::nullopt;
        }
    }
    switch (direction) {
    case Key::left:
    case Key::right:
    case Key::up:
    case Key::down: {
        const auto chosen = pictured(list_.chosenIndex());
        const auto next = picture_ && chosen ? picture_->neighbour(*chosen, direction) : std::nullopt;
        if (next) list_.chooseIndex(*next);
        return Outcome{};
    }
    case Key::click:
    case Key::doubleClick: {
        const std::size_t above = rows_ >= 6 ? 2 : rows_ >= 3 ? 1 : 0;
        if (!picture_ || key.row < above) return Outcome{};
        const auto item = picture_->itemAt(key.row - above, key.column);
        if (!item) return Outcome{};
        list_.chooseIndex(*item);
        return key.kind == Key::doubleClick ? open() : Outcome{};
    }
    case Key::tab: {
        const bool knowsChanges = folder_->knowsChanges;
        coloring_ = coloring_ == PictureColoring::places ? PictureColoring::kinds
                    : coloring_ == PictureColoring::kinds
                        ? knowsChanges ? PictureColoring::changes : PictureColoring::places
                        : PictureColoring::places;
        if (picture_) picture_->setColoring(coloring_);
        return Outcome{};
    }
    default: return std::nullopt;
    }
}

std::optional<BrowsePage::Outcome> BrowsePage::pressOnItem(const ScreenKey& key) {
    if (key.kind == Key::remove) return plan(DeletionMode::trash);
    if (key.kind != Key::character) return std::nullopt;
    switch (key.character) {
    case U' ': {
        const FileRecord* const record = chosenRecord();
        if (record == nullptr) return Outcome{};
        if (!marks_.toggle(*record)) setMessage("It goes with a folder above it that is marked already.", Style::plain);
        const ScreenKey down{.kind = Key::down};
        if (found_) {
            (void)found_->press(down);
        } else {
            (void)list_.press(down);
        }
        return measureMarks();
    }
    case U'u': marks_.clear(); return Outcome{};
    case U't': return plan(DeletionMode::trash);
    case U'D': return plan(DeletionMode::permanent);
    case U'd':
        setMessage("t moves it to the Trash, from where z puts it back; D removes it for good.", Style::plain);
        return Outcome{};
    case U'z':
        if (!options_.whyReadOnly.empty()) {
            setMessage(options_.whyReadOnly, Style::plain);
            return Outcome{};
        }
        if (!scan_.scan || scan_.isScanning) {
            setMessage("A scan runs: what is to come back comes when it has ended.", Style::plain);
            return Outcome{};
        }
        return requesting(LookForTrashed{});
    case U'i': showInfo(); return Outcome{};
    case U'y':
        if (const FileRecord* const record = chosenRecord()) return requesting(CopyPath{record->path()});
        return requesting(CopyPath{path_});
    default: return std::nullopt;
    }
}

std::optional<BrowsePage::Outcome> BrowsePage::pressForView(char32_t character) {
    switch (character) {
    case U'q': return Outcome{.isOver = true};
    case U'?': showHelp(); return Outcome{};
    case U'l': return open();
    case U'h': return up();
    case U'g': isAfterG_ = true; return Outcome{};
    case U'/': return find("Found", {}, true);
    case U'f': {
        FindBelow largest{.folder = {}, .words = {}, .filter = {}, .order = SearchOrder::size};
        largest.filter.kinds = {FileKind::file};
        return find("Largest files", std::move(largest), false);
    }
    case U'p': return showPicture();
    case U'e': return summarise(SummaryGrouping::type);
    case U'o': return summarise(SummaryGrouping::age);
    case U'w': return suggest();
    case U'*':
        for (std::size_t place = 0; place < list_.count(); ++place) marks_.mark(list_.item(place).record());
        return measureMarks();
    case U'r': return requesting(ScanAgain{});
    case U'E':
        if (!scan_.scan) {
            setMessage("The scan still runs: it can be written when it has ended.", Style::plain);
            return Outcome{};
        }
        isAskingForm_ = rows_ >= 3;  // where it is seen
        return Outcome{};
    case U'!':
        // A shell can take away all that the page does not.
        if (!options_.whyReadOnly.empty()) {
            setMessage(options_.whyReadOnly, Style::plain);
            return Outcome{};
        }
        return requesting(OpenShell{path_});
    default: return std::nullopt;
    }
}

void BrowsePage::pressOrder(char32_t character) {
    switch (character) {
    case U's': list_.sortBy(BrowseOrder::size); break;
    case U'n': list_.sortBy(BrowseOrder::name); break;
    case U'c': list_.sortBy(BrowseOrder::items); break;
    case U'm': list_.sortBy(BrowseOrder::modified); break;
    case U'a': list_.setSizeKind(list_.sizeKind() == SizeKind::disk ? SizeKind::apparent : SizeKind::disk); break;
    case U'.': list_.showHidden(!list_.showsHidden()); break;
    default: break;
    }
}

const FileRecord* BrowsePage::chosenRecord() const {
    if (found_) return found_->chosen();
    const BrowseItem* const item = list_.chosen();
    return item == nullptr ? nullptr : &item->record();
}

BrowsePage::Outcome BrowsePage::go(Text folder, std::optional<Text> name) {
    if (const BrowseItem* const item = folder_ != nullptr ? list_.chosen() : nullptr)
        chosenIn_.insert_or_assign(path_.string(), item->record().name());
    if (folder == path_ && folder_ != nullptr) {
        if (name) list_.choose(*name);
        return {};
    }
    path_ = std::move(folder);
    folder_.reset();
    list_.setFolder(nullptr);
    const auto before = chosenIn_.find(path_.string());
    toChoose_ = name ? std::move(name) : before != chosenIn_.end() ? std::optional{before->second} : std::nullopt;
    return requesting(ReadFolder{path_});
}

BrowsePage::Outcome BrowsePage::open() {
    const BrowseItem* const item = list_.chosen();
    if (item == nullptr) return {};
    if (!item->record().isContainer()) {
        showInfo();
        return {};
    }
    return go(item->record().path(), std::nullopt);
}

BrowsePage::Outcome BrowsePage::up() {
    if (!folder_->hasParent) {
        setMessage("This is the top of the scan.", Style::plain);
        return {};
    }
    const Text from = path_;
    return go(parentOf(from), nameOf(from));
}

BrowsePage::Outcome BrowsePage::find(std::string title, FindBelow query, bool isTyping) {
    if (!scan_.scan) {
        setMessage("The scan still runs: what lies below is found when it has ended.", Style::plain);
        return {};
    }
    query.folder = path_;
    query.filter.inFolders = {path_};
    found_.emplace(session_, characters_, std::move(title), std::move(query), isTyping);
    resize(columns_, rows_);
    return isTyping ? Outcome{} : ask();
}

BrowsePage::Outcome BrowsePage::showPicture() {
    showsPicture_ = !showsPicture_;
    picture_.reset();
    return showsPicture_ ? requesting(ReadPicture{folder_}) : Outcome{};
}

BrowsePage::Outcome BrowsePage::summarise(SummaryGrouping grouping) {
    if (!scan_.scan) {
        setMessage("The scan still runs: what lies below is added up when it has ended.", Style::plain);
        return {};
    }
    summary_.emplace(session_, characters_, path_, grouping);
    resize(columns_, rows_);
    return askSummary();
}

BrowsePage::Outcome BrowsePage::askSummary() {
    summary_->setNumber(++questions_);
    return requesting(summary_->question());
}

/// The answer to what the folder is to be written as; any other key writes nothing.
BrowsePage::Outcome BrowsePage::write(const ScreenKey& key) {
    if (key.kind != Key::character || (key.character != U'r' && key.character != U'n')) return {};
    setMessage("Writing …", Style::quiet);
    return requesting(WriteFolder{path_, key.character == U'r' ? WriteFolder::Form::report : WriteFolder::Form::ncdu});
}

BrowsePage::Outcome BrowsePage::suggest() {
    if (!scan_.scan) {
        setMessage("The scan still runs: what can go is looked for when it has ended.", Style::plain);
        return {};
    }
    suggestions_.emplace(session_, characters_, path_);
    resize(columns_, rows_);
    return askSuggestions();
}

BrowsePage::Outcome BrowsePage::askSuggestions() {
    suggestions_->setNumber(++questions_);
    return requesting(suggestions_->question());
}

/// Marks all that the chosen rule found, or where all is marked nothing of it any more.
BrowsePage::Outcome BrowsePage::markSuggested() {
    const SuggestionGroup& group = *suggestions_->chosen();
    if (group.rule.isShownOnly) {
        setMessage(fmt::format("This goes by its owner's own command only: {}", group.rule.ownersCommand->view()),
                   Style::plain);
        return {};
    }
    if (static_cast<std::int64_t>(group.items.size()) < group.itemCount) {
        setMessage("These are too many to be marked at once; Enter lists the largest.", Style::plain);
        return {};
    }
    const auto isMarked = [this](const SuggestedItem& item) { return marks_.covers(item.record.path()); };
    const bool areAll = std::ranges::all_of(group.items, isMarked);
    for (const SuggestedItem& item : group.items) {
        if (areAll) {
            (void)marks_.toggle(item.record);
        } else {
            marks_.mark(item.record);
        }
    }
    (void)suggestions_->press({.kind = Key::down});
    return measureMarks();
}

BrowsePage::Outcome BrowsePage::ask() {
    found_->setNumber(++questions_);
    return requesting(found_->query());
}

BrowsePage::Outcome BrowsePage::measureMarks() {
    if (marks_.isEmpty()) return {};
    return requesting(MeasureMarks{marks_.paths(), marks_.version()});
}

BrowsePage::Outcome BrowsePage::plan(DeletionMode mode) {
    if (!options_.whyReadOnly.empty()) {
        setMessage(options_.whyReadOnly, Style::plain);
        return {};
    }
    // What a scan that runs has found may be gone by its end, and would stand in it.
    if (!scan_.scan || scan_.isScanning) {
        setMessage("A scan runs: what is to go is taken away when it has ended.", Style::plain);
        return {};
    }
    planned_ = marks_.records();
    if (planned_.empty()) {
        const FileRecord* const record = chosenRecord();
        if (record == nullptr) return {};
        planned_.push_back(*record);
    }
    plan_.emplace(session_, characters_, mode);
    plan_->resize(columns_, rows_);
    return requesting(PlanDeletion{.items = planned_, .mode = mode});
}

// ---- Texts ---------------------------------------------------------------------------------------------------------

void BrowsePage::showInfo() {
    const FileRecord* const record = chosenRecord();
    if (record == nullptr) return;
    std::vector<ScreenLine> lines;
    const auto add = [&](const std::string& name, const std::string& value) { addFact(lines, name, value, columns_); };
    add("path", TerminalText::escaped(record->path().view(), characters_));
    add("kind", std::string{kindName(*record)});
    if (const auto category = record->kind() == FileKind::file ? ItemCategories::of(*record) : std::nullopt)
        add("type", std::string{ItemCategories::nameOf(*category)});
    const auto bytes = [&](std::int64_t size) {
        return session_.options.exactBytes ? session_.size(size)
                                           : fmt::format("{}  ({})", session_.size(size), ByteFormat::exact(size));
    };
    add("on disk", bytes(record->displayBytes()));
    const BrowseItem* const item = found_ ? nullptr : list_.chosen();
    if (item != nullptr && record->isContainer()) {
        add("length", bytes(item->entry.below.apparentBytes));
        add("holds", ByteFormat::items(item->entry.below.items));
    } else if (!record->isContainer()) {
        add("length", bytes(record->logicalBytes()));
    }
    if (item != nullptr && item->change) add("change", signedSize(session_, *item->change));
    if (const auto date = record->modifiedAt())
        add("modified", fmt::format("{}  ({})", localTime(*date), age(*date, Date::now())));
    if (record->isHidden()) add("hidden", "yes");
    if (record->isHardLinkDuplicate()) add("hard link", "a further name of a file that is counted elsewhere");
    if (record->isCloudPlaceholder()) add("cloud", "its content is not on this disk");
    if (const auto identity = record->identity())
        add("identity", fmt::format("device {}, inode {}", identity->device, identity->inode));
    add("risk", std::string{KestrelCLI::nameOf(record->risk())});
    if (const auto reason = SafetyPolicy::blockedReason(record->url()))
        add("stays", TerminalText::escaped(reason->view(), characters_));
    lines.emplace_back();
    lines.push_back({{"As it was scanned. Any key goes back.", Style::quiet}});
    text_.emplace(TerminalText::escaped(record->name().view(), characters_), std::move(lines), characters_);
    text_->resize(columns_, rows_);
}

void BrowsePage::showHelp() {
    text_.emplace("kestrel browse: keys", browseKeys(columns_, options_.whyReadOnly), characters_);
    text_->resize(columns_, rows_);
}

// ---- Lines ---------------------------------------------------------------------------------------------------------

/// Line by line: title, summary, what is in the middle, marks or a message, keys; of few rows the middle has most.
void BrowsePage::resize(std::size_t columns, std::size_t rows) {
    columns_ = columns;
    rows_ = rows;
    const std::size_t around = rows >= 6 ? 3 + (hasNotes() ? 1 : 0) : rows >= 3 ? 2 : 0;
    list_.resize(columns, rows - around);
    const std::size_t below = rows >= 3 ? rows - 2 - (hasNotes() && rows >= 6 ? 1 : 0) : rows;
    if (found_) found_->resize(columns, below);
    if (summary_) summary_->resize(columns, below);
    if (suggestions_) suggestions_->resize(columns, below);
    // The chosen item has a line below the picture.
    if (picture_) picture_->resize(columns, rows - around - (rows >= 6 ? 1 : 0));
    if (plan_) plan_->resize(columns, rows);
    if (text_) text_->resize(columns, rows);
}

std::string BrowsePage::scanText() const {
    if (scan_.isScanning) {
        const std::string seen =
            fmt::format("{}, {}", ByteFormat::items(scan_.itemsSeen), session_.size(scan_.bytesSeen));
        return (scan_.scan ? "scanning again: " : "scanning: ") + seen;
    }
    if (!scan_.scan) return "";
    return fmt::format("{}scanned {}", scan_.scan->isComplete ? "" : "incomplete, ",
                       age(scan_.scan->completedAt, Date::now()));
}

ScreenLine BrowsePage::title() const {
    const std::string right = scanText();
    const std::string path = session_.shownPath(path_.view());
    const std::size_t rightColumns = TerminalText::width(right) + 2;
    // The path matters more than how old the scan is.
    const bool hasBoth = columns_ >= rightColumns + std::min<std::size_t>(TerminalText::width(path), 24);
    const std::size_t room = hasBoth ? columns_ - rightColumns : columns_;
    ScreenLine line{{TerminalText::padded(fitted(path, room, characters_), room), Style::heading}};
    if (hasBoth) line.push_back({"  " + clipped(right, rightColumns - 2, characters_), Style::quiet});
    return line;
}

ScreenLine BrowsePage::summary() const {
    if (folder_ == nullptr) return {};
    if (!folder_->failure.empty())
        return {{clipped(TerminalText::escaped(folder_->failure, characters_), columns_, characters_), Style::warning}};
    const bool isDisk = showsPicture_ || list_.sizeKind() == SizeKind::disk;
    std::vector<std::string> parts;
    std::string text =
        fmt::format("{} {} in {}", session_.size(isDisk ? folder_->displayBytes : folder_->below.apparentBytes),
                    isDisk ? "on disk" : "of contents", ByteFormat::items(folder_->below.items));
    if (!folder_->isComplete) text += " so far";
    parts.push_back(std::move(text));
    if (isDisk && folder_->change && *folder_->change != 0 && scan_.earlier)
        parts.push_back(fmt::format("{} since {}", signedSize(session_, *folder_->change),
                                    timeOfEarlierScan(scan_.earlier->completedAt, Date::now())));
    if (list_.hiddenCount() > 0)
        parts.push_back(fmt::format("{} hidden", ByteFormat::count(static_cast<std::int64_t>(list_.hiddenCount()))));
    if (folder_->goneItems > 0)
        parts.push_back(
            fmt::format("gone: {} ({})", ByteFormat::count(folder_->goneItems), session_.size(folder_->goneBytes)));
    return {{clipped(joined(parts, ", ", columns_), columns_, characters_), Style::quiet}};
}

/// The item that is chosen in the picture, where many have no room for a name.
ScreenLine BrowsePage::chosenLine() const {
    const BrowseItem* const item = list_.chosen();
    if (item == nullptr) return {};
    const FileRecord& record = item->record();
    ScreenLine line{
        {marks_.covers(record.path()) ? (characters_ == Characters::unicode ? "● " : "* ") : "", Style::match}};
    std::string text = session_.size(record.displayBytes());
    if (record.isContainer()) text += fmt::format(" in {}", ByteFormat::items(item->entry.below.items));
    if (item->change.value_or(0) != 0) text += fmt::format(", {}", signedSize(session_, *item->change));
    const std::size_t room = columns_ > text.size() + 4 ? columns_ - text.size() - 4 : 0;
    line.push_back(
        {fitted(TerminalText::escaped(record.name().view(), characters_), room, characters_), Style::selected});
    line.push_back({"  " + text, Style::plain});
    if (const ScreenLine legend = picture_->legend(columns_); !legend.empty()) {
        std::size_t used = 4;
        for (const ScreenSpan& span : line) used += TerminalText::width(span.text);
        std::size_t wanted = 0;
        for (const ScreenSpan& span : legend) wanted += TerminalText::width(span.text);
        if (used + wanted <= columns_) {
            line.push_back({std::string(columns_ - used - wanted + 4, ' '), Style::plain});
            line.insert(line.end(), legend.begin(), legend.end());
        }
    }
    return line;
}

bool BrowsePage::hasNotes() const { return message_ || question_ || isAskingForm_ || !marks_.isEmpty(); }

ScreenLine BrowsePage::marksLine() const {
    if (isAskingForm_)
        return {{clipped("Write this folder as: r a page for browsers, n a file for ncdu", columns_, characters_),
                 Style::warning}};
    if (question_)
        return {{fitted(TerminalText::escaped(question_->text, characters_), columns_, characters_), Style::warning}};
    if (message_)
        return {{clipped(TerminalText::escaped(message_->text, characters_), columns_, characters_), message_->style}};
    const std::string freed = marks_.freedBytes()
                                  ? fmt::format("{} would come free", session_.size(*marks_.freedBytes()))
                                  : session_.size(marks_.shownBytes()) + " …";
    const std::string count = ByteFormat::count(static_cast<std::int64_t>(marks_.count()));
    return {
        {clipped(joined({fmt::format("{} marked, {}", count, freed), "(t Trash, D for good, u none)"}, "  ", columns_),
                 columns_, characters_),
         Style::match}};
}

ScreenLine BrowsePage::foot() const {
    const char* keys = "? keys  q quit  Enter open  Backspace up  / find  Space mark  t Trash  w what can go  f "
                       "largest  s n c m g sort  "
                       "i about  r scan again";
    if (found_) {
        keys = found_->isTyping()
                   ? "Enter to the list  Esc closes"
                   : "Enter shows it in its folder  / other words  Space mark  t Trash  Esc closes  ? keys";
    }
    if (showsPicture_ && !found_)
        keys = "? keys  q quit  p list  arrows  Enter open  Backspace up  Tab colours  Space mark  t Trash";
    if (suggestions_ && !found_ && !summary_)
        keys = "Enter lists them  Space marks them  t Trash  D for good  Esc closes  ? keys";
    if (summary_ && !found_) keys = "Enter lists them  Tab by type, extension, age, depth, size  Esc closes  ? keys";
    std::vector<std::string> parts;
    for (std::string_view rest = keys; !rest.empty();) {
        const std::size_t end = std::min(rest.find("  "), rest.size());
        parts.emplace_back(rest.substr(0, end));
        rest.remove_prefix(std::min(rest.size(), end + 2));
    }
    return {{clipped(joined(parts, "  ", columns_), columns_, characters_), Style::quiet}};
}

std::vector<ScreenLine> BrowsePage::body() const {
    if (found_) return found_->lines(marks_);
    if (summary_) return summary_->lines();
    if (suggestions_) return suggestions_->lines(marks_);
    if (folder_ == nullptr) return {{{clipped("Reading …", columns_, characters_), Style::quiet}}};
    std::vector<ScreenLine> lines;
    if (!showsPicture_) {
        lines = list_.lines(marks_);
    } else if (picture_) {
        lines = picture_->lines(pictured(list_.chosenIndex()));
        if (rows_ >= 6) lines.push_back(chosenLine());
    }
    if (folder_->items.empty() && folder_->failure.empty()) {
        const char* const text =
            folder_->isComplete ? "Nothing lies in this folder." : "Nothing was found here so far.";
        lines = {{{clipped(text, columns_, characters_), Style::quiet}}};
    } else if (list_.count() == 0 && folder_->failure.empty()) {
        lines = {{{clipped("All items are hidden ones; . shows them.", columns_, characters_), Style::quiet}}};
    }
    return lines;
}

std::vector<ScreenLine> BrowsePage::lines(std::size_t columns, std::size_t rows) {
    resize(columns, rows);
    if (rows == 0) return {};
    std::vector<ScreenLine> lines = text_ ? text_->lines() : plan_ ? plan_->lines() : wholePage(rows);
    for (ScreenLine& line : lines) line = clipped(line, columns, characters_);
    return lines;
}

std::vector<ScreenLine> BrowsePage::wholePage(std::size_t rows) const {
    std::vector<ScreenLine> lines;
    if (rows >= 3) lines.push_back(title());
    if (rows >= 6 && !found_ && !summary_ && !suggestions_) lines.push_back(summary());
    for (ScreenLine& line : body()) lines.push_back(std::move(line));
    const std::size_t below = rows >= 6 ? (hasNotes() ? 2 : 1) : rows >= 3 ? 1 : 0;
    // The foot stays at the bottom.
    lines.resize(rows - below);
    if (rows >= 6 && hasNotes()) lines.push_back(marksLine());
    // Of few rows the one for keys is for what there is to be said.
    if (rows >= 3) lines.push_back(rows < 6 && hasNotes() ? marksLine() : foot());
    return lines;
}

}  // namespace KestrelCLI
