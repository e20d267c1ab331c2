#include "Snapshot/Search/SnapshotSearch.hpp"

#include "Base/Checked.hpp"
#include "Base/TextScan.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "Snapshot/Search/MatchedBytes.hpp"
#include "Snapshot/Search/ParallelBlocks.hpp"
#include "Snapshot/Search/QueryFolding.hpp"
#include "Snapshot/Search/SearchIndex.hpp"
#include "Snapshot/SnapshotContents.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <string_view>

// A search looks at every record, and nearly all of them are turned away. So each record meets the cheap questions
// first:
//
//   1. The filters that its row answers (sizes, kind, extension, dates).
//   2. For every term: does the path of its folder hold it (asked once per folder, FolderAnswers), or has its name at
//      least the letters for it (asked once per snapshot, SearchIndex)? If neither, the record can't match.
//   3. Only what is left has its name lowercased and scored (NameMatcher).
//
// Both kinds of answers err on one side only: they let a record through that step 3 then rejects, never the reverse.
//
// Records whose path is not their folder's path and their name (RecordStorage calls them irregular) skip the answers
// about folders; their paths are read as they are. So do the patterns for which FolderAnswers has no room: a record
// that gets past so many other terms is rare.

namespace KestrelCore {

namespace {

constexpr std::string_view sourceFile = "KestrelCore/Search";

/// How many records pass between two looks at the cancellation token.
constexpr std::size_t recordsBetweenLooks = 256;

/// What "developer" stands for: a record qualifies when its path holds one of these anywhere, lowercased.
constexpr std::array<std::string_view, 9> developerFolders = {
    "developer", "node_modules", ".npm", ".nvm", "pnpm", ".cargo", ".rustup", ".gradle", "deriveddata"};

/// The terms as the user typed them, with one blank between two; a single term is a phrase too.
Text phraseOf(const std::vector<Text>& terms) {
    std::string phrase;
    for (const Text& term : terms) {
        if (&term != &terms.front()) phrase += ' ';
        phrase += term.view();
    }
    return Text{phrase};
}

}  // namespace

/// The record that is looked at, and what was found out about it so far.
struct SnapshotSearch::Candidate {
    const Row* row = nullptr;
    LetterMask letters = 0;
    NameMatcher name;
    bool hasName = false;  ///< whether `name` is this record's
    std::string path;
    bool hasPath = false;    ///< whether `path` is this record's, lowercased
    std::string storedPath;  ///< only for its memory

    void set(const Row& nextRow, LetterMask nextLetters) {
        row = &nextRow;
        letters = nextLetters;
        hasName = false;
        hasPath = false;
    }
    void readName(const RecordStorage& storage, const SearchIndex& index) {
        if (hasName) return;
        name.set(storage.nameOf(*row), row->isASCII != 0, index.loweredExtension(row->extension));
        hasName = true;
    }
    void readPath(const RecordStorage& storage) {
        if (hasPath) return;
        storage.assignPath(*row, storedPath);
        path.clear();
        lowercase(storedPath, path);
        hasPath = true;
    }
};

SnapshotSearch::SnapshotSearch(const RecordStorage& storage, const SearchIndex& index, const StorageSearchPlan& plan,
                               const SearchSettings& settings)
    : storage_{storage}, index_{index}, plan_{plan}, settings_{settings}, filter_{storage, settings.filter} {
    narrowBounds();
    addPathFilters();
    addWordFilters();
    addTerms();
    folders_ = FolderAnswers{storage, index, patterns_};
    for (const FileKind kind : plan.kinds) kindBits_ |= 1U << rawValue(kind);
    allowExtensions();
}

void SnapshotSearch::addPathFilters() {
    bool hasDeveloperMarker = false;
    for (const Text& word : plan_.pathTerms) {
        if (word == StorageSearchPlan::developerMarker()) {
            hasDeveloperMarker = true;
        } else if (const auto [number, isNew] = add(word); isNew) {
            pathPatterns_.push_back(number);
        }
    }
    if (!hasDeveloperMarker) return;
    for (const std::string_view folder : developerFolders) developerPatterns_.push_back(add(folder).number);
}

void SnapshotSearch::narrowBounds() {
    const SearchFilter& filter = settings_.filter;
    minimumBytes_ = std::max(plan_.minimumBytes, filter.minimumBytes);
    maximumBytes_ = plan_.maximumBytes;
    if (filter.maximumBytes)
        maximumBytes_ = std::min(*filter.maximumBytes, maximumBytes_.value_or(*filter.maximumBytes));
    modifiedAfter_ = plan_.modifiedAfter;
    if (filter.modifiedAfter)
        modifiedAfter_ = std::max(*filter.modifiedAfter, modifiedAfter_.value_or(*filter.modifiedAfter));
    modifiedBefore_ = plan_.modifiedBefore;
    if (filter.modifiedBefore)
        modifiedBefore_ = std::min(*filter.modifiedBefore, modifiedBefore_.value_or(*filter.modifiedBefore));
}

void SnapshotSearch::addWordFilters() {
    for (const Text& word : settings_.filter.wordsInPath) wantedPatterns_.push_back(add(foldedQuery(word)).number);
    for (const Text& word : settings_.filter.wordsNotInPath) unwantedPatterns_.push_back(add(foldedQuery(word)).number);
}

void SnapshotSearch::addTerms() {
    std::unordered_map<PatternNumber, std::size_t> positions;
    for (const Text& text : plan_.terms) {
        const PatternNumber number = add(text).number;
        const auto [position, isNew] = positions.emplace(number, terms_.size());
        if (isNew) terms_.push_back(Term{number, 0});
        ++terms_[position->second].times;
    }
    if (!plan_.terms.empty()) phrase_ = add(phraseOf(plan_.terms)).number;
}

SnapshotSearch::Added SnapshotSearch::add(const Text& text) {
    const auto [found, isNew] = numbers_.emplace(text, patterns_.size());
    if (isNew) patterns_.emplace_back(text);
    return {found->second, isNew};
}

void SnapshotSearch::allowExtensions() {
    const std::set<Text>& further = settings_.filter.extensions;
    if (plan_.extensions.empty() && further.empty()) return;
    allowedExtensions_.resize(index_.extensionCount());
    for (std::size_t i = 0; i < allowedExtensions_.size(); ++i) {
        const Text& extension = index_.loweredExtension(i);
        allowedExtensions_[i] = (plan_.extensions.empty() || plan_.extensions.contains(extension)) &&
                                (further.empty() || further.contains(extension));
    }
}

std::optional<SnapshotSearch::Found> SnapshotSearch::run(std::int64_t limit, unsigned threads) const {
    struct Worker {
        BoundedSearchResults results;
        Candidate candidate;
        std::int64_t matches = 0;
        std::vector<std::uint32_t> matched;  ///< all of them, where they are to be measured
    };
    const std::optional<CancellationToken>& cancellation = settings_.cancellation;
    const bool measures = settings_.measuresMatches;
    std::vector<Worker> workers;
    workers.reserve(threads);
    for (unsigned i = 0; i < threads; ++i)
        workers.push_back(Worker{BoundedSearchResults{storage_, limit, settings_.order}, {}, 0, {}});

    std::atomic<bool> isAbandoned = false;
    forEachBlock(storage_.size(), threads, [&](std::size_t begin, std::size_t end, unsigned thread) {
        Worker& worker = workers[thread];
        for (std::size_t i = begin; i < end; ++i) {
            if (i % recordsBetweenLooks == 0 && cancellation && cancellation->isCancelled()) {
                isAbandoned = true;
                return false;
            }
            const Row& row = storage_.row(i);
            if (!passesFilters(row) || !mayMatch(row, index_.nameMask(i))) continue;
            worker.candidate.set(row, index_.nameMask(i));
            if (const auto found = score(worker.candidate)) {
                worker.results.insert(static_cast<std::uint32_t>(i), *found);
                ++worker.matches;
                if (measures) worker.matched.push_back(static_cast<std::uint32_t>(i));
            }
        }
        return true;
    });
    if (isAbandoned) return std::nullopt;
    Worker& first = workers.front();
    for (std::size_t i = 1; i < workers.size(); ++i) {
        first.results.merge(workers[i].results);
        first.matches += workers[i].matches;
        first.matched.insert(first.matched.end(), workers[i].matched.begin(), workers[i].matched.end());
    }
    return Found{.best = first.results.bestFirst(),
                 .matches = first.matches,
                 .bytes = measures ? std::optional{bytesOnDisk(storage_, first.matched)} : std::nullopt};
}

bool SnapshotSearch::passesFilters(const Row& row) const {
    const std::int64_t bytes = row.displayBytes();
    if (bytes < minimumBytes_) return false;
    if (maximumBytes_ && bytes > *maximumBytes_) return false;
    if (kindBits_ != 0 && (kindBits_ >> row.kindValue & 1U) == 0) return false;
    if (!allowedExtensions_.empty() && allowedExtensions_[row.extension] == 0) return false;
    // Without a date a record passes no bound: it is older than any for one, younger than any for the other.
    if (modifiedAfter_) {
        const Date date = row.hasModified ? Date{row.modifiedAt} : Date::distantPast();
        if (date < *modifiedAfter_) return false;
    }
    if (modifiedBefore_) {
        const Date date = row.hasModified ? Date{row.modifiedAt} : Date::distantFuture();
        if (!(date < *modifiedBefore_)) return false;
    }
    if (filter_.hasTypes() && !filter_.isOfType(row)) return false;
    return !plan_.hiddenOnly || row.isHidden;
}

// What the masks and the folders say.

bool SnapshotSearch::isAnswered(const Row& row, PatternNumber number) const {
    return !row.isIrregular && number < FolderAnswers::mostPatterns;
}

bool SnapshotSearch::mayMatchPath(const Row& row, LetterMask letters, PatternNumber number) const {
    if (!isAnswered(row, number)) return true;
    const FolderAnswers::Bits bit = FolderAnswers::Bits{1} << number;
    if ((folders_.contained(row.folder) & bit) != 0) return true;
    // In a regular record's name there is no "/".
    if (patterns_[number].hasSlash()) return (folders_.completable(row.folder) & bit) != 0;
    return patterns_[number].mayOccur(letters);
}

bool SnapshotSearch::mayMatchTerm(const Row& row, LetterMask letters, PatternNumber number) const {
    return patterns_[number].mayBeNear(letters) || mayMatchPath(row, letters, number);
}

bool SnapshotSearch::mayMatch(const Row& row, LetterMask letters) const {
    for (const Term& term : terms_) {
        if (!mayMatchTerm(row, letters, term.pattern)) return false;
    }
    for (const PatternNumber number : pathPatterns_) {
        if (!mayMatchPath(row, letters, number)) return false;
    }
    if (filter_.isUnwanted(row)) return false;
    return isAtWantedPlace(row, [&](PatternNumber number) { return mayMatchPath(row, letters, number); });
}

template <typename IsInPath>
bool SnapshotSearch::isAtWantedPlace(const Row& row, IsInPath&& isInPath) const {
    if (settings_.filter.inFolders.empty() && wantedPatterns_.empty()) return true;
    return filter_.isBelowWanted(row) || std::any_of(wantedPatterns_.begin(), wantedPatterns_.end(), isInPath);
}

// What the name and the path say.

std::optional<std::int64_t> SnapshotSearch::score(Candidate& candidate) const {
    if (!passesPathFilters(candidate)) return std::nullopt;
    std::int64_t sum = 0;
    for (const Term& term : terms_) {
        const std::int64_t termScore = this->termScore(candidate, term.pattern);
        if (termScore == TermScore::none) return std::nullopt;
        sum = Checked::add(sum, Checked::multiply(termScore, term.times, sourceFile), sourceFile);
    }
    return Checked::add(sum, phraseBonus(candidate), sourceFile);
}

bool SnapshotSearch::passesPathFilters(Candidate& candidate) const {
    const auto isInPath = [&](PatternNumber number) { return pathContains(candidate, number); };
    return std::all_of(pathPatterns_.begin(), pathPatterns_.end(), isInPath) &&
           std::none_of(unwantedPatterns_.begin(), unwantedPatterns_.end(), isInPath) &&
           isAtWantedPlace(*candidate.row, isInPath) &&
           (developerPatterns_.empty() || std::any_of(developerPatterns_.begin(), developerPatterns_.end(), isInPath));
}

// The first rule that holds counts. A slip is looked for only where the term stands nowhere, not even in the path,
// though it then gives more than the path does: it is the dearest question, and the name is what a user remembers.
std::int64_t SnapshotSearch::termScore(Candidate& candidate, PatternNumber number) const {
    const SearchPattern& term = patterns_[number];
    if (term.mayOccur(candidate.letters)) {
        candidate.readName(storage_, index_);
        const std::int64_t inName = candidate.name.score(term);
        if (inName != TermScore::none) return inName;
    }
    if (pathContains(candidate, number)) return TermScore::inPath;
    if (!term.mayBeNear(candidate.letters)) return TermScore::none;
    candidate.readName(storage_, index_);
    return candidate.name.isNear(term) ? TermScore::nearWord : TermScore::none;
}

// What the words add when they stand together, as they were typed: so the item that is called exactly that comes before
// all that merely hold the words. A single word is a phrase, too.
std::int64_t SnapshotSearch::phraseBonus(Candidate& candidate) const {
    constexpr std::int64_t isStem = 220;
    constexpr std::int64_t inName = 80;
    constexpr std::int64_t inPath = 30;
    if (!phrase_) return 0;
    const SearchPattern& phrase = patterns_[*phrase_];
    if (phrase.mayOccur(candidate.letters)) {
        candidate.readName(storage_, index_);
        if (candidate.name.isStem(phrase)) return isStem;
        if (candidate.name.contains(phrase)) return inName;
    }
    return pathContains(candidate, *phrase_) ? inPath : 0;
}

bool SnapshotSearch::nameContains(Candidate& candidate, PatternNumber number) const {
    if (!patterns_[number].mayOccur(candidate.letters)) return false;
    candidate.readName(storage_, index_);
    return candidate.name.contains(patterns_[number]);
}

bool SnapshotSearch::pathContains(Candidate& candidate, PatternNumber number) const {
    const SearchPattern& pattern = patterns_[number];
    const Row& row = *candidate.row;
    if (isAnswered(row, number)) {
        const FolderAnswers::Bits bit = FolderAnswers::Bits{1} << number;
        if ((folders_.contained(row.folder) & bit) != 0) return true;
        if (!pattern.hasSlash()) return nameContains(candidate, number);
        if ((folders_.completable(row.folder) & bit) == 0) return false;
        candidate.readName(storage_, index_);
        if (pattern.isASCII() && !candidate.name.mayBegin(pattern.bytes().substr(pattern.bytes().rfind('/') + 1))) {
            return false;
        }
    }
    candidate.readPath(storage_);
    return isASCII(candidate.path) && pattern.isASCII() ? pattern.occursInASCII(candidate.path)
                                                        : pattern.occursIn(Text{candidate.path});
}

// The interface of the snapshot.

std::optional<SearchAnswer> ScanSnapshot::search(const SearchQuery& query, std::int64_t limit,
                                                 const SearchSettings& settings) const {
    const StorageSearchPlan plan{query, settings.now.value_or(Date::now())};
    SearchAnswer answer{.explanation = plan, .results = {}};
    if (limit <= 0) return answer;
    const RecordStorage& storage = *contents_->storage;
    const unsigned threads = worthwhileThreads(storage.size(), settings.threads);
    const SearchIndex& index =
        contents_->searchIndex.get([&] { return std::make_shared<const SearchIndex>(storage, threads); });
    const SnapshotSearch search{storage, index, plan, settings};
    const auto found = search.run(limit, threads);
    if (!found) return std::nullopt;
    answer.matches = found->matches;
    answer.matchedBytes = found->bytes;
    answer.results.reserve(found->best.size());
    for (const BoundedSearchResults::Match& match : found->best) {
        answer.results.push_back(ScoredRecord{storage.record(match.record), match.score});
    }
    return answer;
}

std::optional<std::vector<FileRecord>> ScanSnapshot::search(const SearchQuery& query, std::int64_t limit,
                                                            const CancellationToken& cancellation) const {
    auto answer = search(query, limit, SearchSettings{.cancellation = cancellation, .now = {}, .threads = 0});
    if (!answer) return std::nullopt;
    std::vector<FileRecord> records;
    records.reserve(answer->results.size());
    for (ScoredRecord& result : answer->results) records.push_back(std::move(result.record));
    return records;
}

std::vector<FileRecord> ScanSnapshot::search(const SearchQuery& query, std::int64_t limit) const {
    return search(query, limit, CancellationToken{}).value_or(std::vector<FileRecord>{});
}

}  // namespace KestrelCore
