#include "Reclaim/FittingItems.hpp"

#include "Base/Parallel.hpp"
#include "Reclaim/NameTable.hpp"
#include "Storage/History/ChunkColumns.hpp"
#include "Storage/History/RowValues.hpp"
#include "Storage/History/SnapshotRows.hpp"

#include <boost/unordered/unordered_flat_map.hpp>

#include <algorithm>
#include <atomic>
#include <bit>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>

// Folders are some eight of a hundred items, and their names are at hand. So all that asks for folders is settled with
// them, and it is noted in which of them files are worth a look, and for what. Then the files are gone through as they
// stand, on several threads: those of a folder that nobody asks about are not looked at, a chunk of which that holds
// for all is not read, and no column but names is read before a name fits or a folder has bytes enough for a large
// file.

namespace KestrelCore {

namespace {

/// What is to be looked for among the files right in one folder.
enum Wanted : std::uint8_t {
    names = 1,      ///< of rules that ask for files anywhere, or in this place
    contents = 2,   ///< a rule takes what lies in this folder
    witnesses = 4,  ///< a folder beside them or above them needs one
    versions = 8,   ///< it lies in a folder that fits a rule
    largeFiles = 16
};

/// A name that is to lie in one folder, so that another fits a rule.
struct Request {
    std::uint32_t in;  ///< the folder
    std::uint32_t item;
    const std::vector<Text>* names;
};

bool fitsAny(std::string_view name, const std::vector<Text>& patterns) {
    return std::ranges::any_of(patterns, [&](const Text& each) { return fitsPattern(name, each.view()); });
}

class Search {
public:
    Search(const OpenGeneration& generation, const std::vector<ReclaimRule>& rules, const SuggestionSettings& settings,
           const FolderFacts& facts)
        : generation_{generation}, rules_{rules}, settings_{settings}, facts_{facts}, table_{facts.table()},
          places_{rules, settings.places}, wanted_(table_.size()), placesOf_(table_.size()),
          searchedFrom_(table_.size()) {
        const Date now = settings.now.value_or(Date::now());
        for (std::uint32_t rule = 0; rule < rules.size(); ++rule) {
            latest_.push_back(latestChange(rules[rule], now));
            for (std::uint32_t match = 0; match < rules[rule].matches.size(); ++match) index({rule, match});
        }
    }

    FittingItems run() {
        FittingItems result;
        if (table_.size() == 0) return result;
        walkFolders();
        findEmptyFolders();
        requestWitnesses();
        wantVersions();
        walkFiles(result);
        settle(result);
        return result;
    }

private:
    [[nodiscard]] const ReclaimMatch& matchOf(RuleMatch match) const { return rules_[match.rule].matches[match.match]; }

    void index(RuleMatch at) {
        const ReclaimMatch& match = matchOf(at);
        const auto number = static_cast<std::uint32_t>(matches_.size());
        matches_.push_back(at);
        for (const Text& name : match.folders) folderNames_.add(name.view(), number);
        for (const Text& name : match.files) fileNames_.add(name.view(), number);
        isGlobal_.push_back(!match.files.empty() && match.inPlaces.empty());
        asksForFilesAnywhere_ = asksForFilesAnywhere_ || isGlobal_.back();
        if (match.finder == ReclaimFinder::largeOldFiles) {
            large_.push_back(at);
            leastLarge_ = std::min(leastLarge_, match.smallestBytes);
        }
        if (match.finder == ReclaimFinder::emptyFolders) empty_.push_back(at);
    }

    void walkFolders() {
        pathNodes_.emplace_back();
        pathNodes_.push_back(places_.top());
        placesOf_[0] = 1;
        std::vector<std::uint32_t> fits;
        for (std::uint32_t folder = 0; folder < table_.size(); ++folder) {
            if (folder > 0) step(folder);
            if (!facts_.isLookedAt(folder)) continue;
            std::uint8_t& wanted = wanted_[folder];
            if (searchedFrom_[folder] != 0 || (asksForFilesAnywhere_ && facts_.isOwn(folder))) wanted |= names;
            for (const RulePlaces::Node node : pathNodes_[placesOf_[folder]]) {
                if (!places_.contents(node).empty()) wanted |= contents;
            }
            if (facts_.isOwn(folder) && !large_.empty() &&
                facts_.inFiles(folder) >= static_cast<std::uint64_t>(leastLarge_))
                wanted |= largeFiles;
            if (folder > 0 && facts_.mayGo(folder)) addFits(folder, fits);
        }
    }

    /// Follows the places from the folder above.
    void step(std::uint32_t folder) {
        const std::uint32_t parent = table_.parent(folder);
        searchedFrom_[folder] = searchedFrom_[parent];
        const std::vector<RulePlaces::Node>& above = pathNodes_[placesOf_[parent]];
        if (above.empty()) return;
        std::vector<RulePlaces::Node> nodes = places_.below(above, table_.name(folder));
        if (nodes.empty()) return;
        placesOf_[folder] = static_cast<std::uint32_t>(pathNodes_.size());
        for (const RulePlaces::Node node : nodes) {
            if (places_.searched(node).empty()) continue;
            // All that is searched here, and what is searched from above.
            std::vector<RuleMatch> searched = searched_[searchedFrom_[folder]];
            searched.insert(searched.end(), places_.searched(node).begin(), places_.searched(node).end());
            searchedFrom_[folder] = static_cast<std::uint32_t>(searched_.size());
            searched_.push_back(std::move(searched));
        }
        pathNodes_.push_back(std::move(nodes));
    }

    void add(RuleMatch match, std::uint32_t folder) {
        found_.push_back({.match = match, .isFile = false, .position = folder});
    }

    void addFits(std::uint32_t folder, std::vector<std::uint32_t>& fits) {
        const std::string_view name = table_.name(folder);
        for (const RulePlaces::Node node : pathNodes_[placesOf_[folder]]) {
            for (const RuleMatch match : places_.items(node)) add(match, folder);
        }
        const std::uint32_t parent = table_.parent(folder);
        for (const RulePlaces::Node node : pathNodes_[placesOf_[parent]]) {
            for (const RuleMatch at : places_.contents(node)) {
                const ReclaimMatch& match = matchOf(at);
                if (match.takesFolders && (match.names.empty() || fitsAny(name, match.names))) add(at, folder);
            }
        }
        if (!facts_.isOwn(parent) || facts_.isOfProgram(parent)) return;
        fits.clear();
        folderNames_.each(name, [&](std::uint32_t number) { fits.push_back(number); });
        std::ranges::sort(fits);
        const auto repeated = std::ranges::unique(fits);
        fits.erase(repeated.begin(), repeated.end());
        for (const std::uint32_t number : fits) add(matches_[number], folder);
    }

    /// The outermost ones that hold nothing but such folders. What programs keep in hidden folders is theirs.
    void findEmptyFolders() {
        if (empty_.empty() || !generation_.stored().isComplete) return;
        const auto isEmpty = [&](std::uint32_t folder) {
            return table_.endOfFilesBelow(folder) == table_.firstFile(folder);
        };
        for (std::uint32_t folder = 1; folder < table_.size(); ++folder) {
            const std::uint32_t parent = table_.parent(folder);
            if (!facts_.mayGo(folder) || !facts_.isLookedAt(folder) || !facts_.isOwn(parent) ||
                facts_.isHidden(folder) || facts_.isOfProgram(folder) || !isEmpty(folder))
                continue;
            // Those right in a home directory are the desktop's.
            if (!facts_.mayGo(parent) || isEmpty(parent)) continue;
            for (const RuleMatch match : empty_) add(match, folder);
        }
    }

    /// Looks for witnesses among folders, and notes where files must be asked.
    void requestWitnesses() {
        std::vector<FittingItem> kept;
        for (FittingItem& each : found_) {
            const ReclaimMatch& match = matchOf(each.match);
            const auto item = static_cast<std::uint32_t>(kept.size());
            const std::uint32_t folder = each.position;
            bool isMissing = false;
            const auto ask = [&](const std::vector<Text>& names, std::uint32_t in, bool isBeside) {
                if (names.empty() || isMissing) return;
                if (const auto witness = folderWitness(each.match, names, in, folder, isBeside)) {
                    each.witnesses.push_back(table_.path(*witness));
                } else if (table_.fileCount(in) == 0) {
                    isMissing = true;
                } else {
                    requests_.push_back({.in = in, .item = item, .names = &names});
                    wanted_[in] |= witnesses;
                }
            };
            const std::size_t before = requests_.size();
            ask(match.beside, table_.parent(folder), true);
            ask(match.holds, folder, false);
            if (isMissing) {
                requests_.resize(before);
                continue;
            }
            kept.push_back(std::move(each));
        }
        found_ = std::move(kept);
        std::ranges::stable_sort(requests_, {}, &Request::in);
    }

    std::optional<std::uint32_t> folderWitness(RuleMatch match, const std::vector<Text>& names, std::uint32_t in,
                                               std::uint32_t itself, bool isBeside) {
        const auto find = [&](std::uint32_t except) -> std::uint32_t {
            for (std::uint32_t child = in + 1; child < table_.end(in); child = table_.end(child)) {
                if (child != except && fitsAny(table_.name(child), names)) return child;
            }
            return FolderTable::none;
        };
        std::uint32_t found = FolderTable::none;
        if (isBeside) {
            // Of many folders side by side each would look at all others.
            const auto key = std::pair{std::uint64_t{match.rule} << 32 | match.match, in};
            const auto known = besideKnown_.find(key);
            found = known != besideKnown_.end() ? known->second : find(FolderTable::none);
            if (known == besideKnown_.end()) besideKnown_.emplace(key, found);
            if (found == itself) found = find(itself);
        } else {
            found = find(FolderTable::none);
        }
        return found == FolderTable::none ? std::nullopt : std::optional{found};
    }

    void wantVersions() {
        std::uint32_t end = 0;
        for (const FittingItem& each : found_) {
            for (std::uint32_t i = std::max(end, each.position); i < table_.end(each.position); ++i)
                wanted_[i] |= versions;
            end = std::max(end, table_.end(each.position));
        }
    }

    /// What one thread has found.
    struct Part {
        std::vector<FittingItem> files;
        std::vector<std::pair<std::uint32_t, std::string>> witnesses;  ///< positions of requests
        std::vector<std::uint32_t> versioned;
        std::vector<std::uint32_t> scratch;
    };

    void walkFiles(FittingItems& result) {
        std::vector<std::uint32_t> wantedBefore(table_.size() + std::size_t{1});
        for (std::uint32_t folder = 0; folder < table_.size(); ++folder)
            wantedBefore[folder + std::size_t{1}] = wantedBefore[folder] + (wanted_[folder] != 0 ? 1U : 0U);
        const StreamView& files = generation_.rows().files();
        std::vector<StreamView::ChunkUse> uses;
        for (StreamView::ChunkUse& use : files.chunks()) {
            const std::uint32_t first = table_.folderOf(use.spans.front().position);
            const std::uint32_t last = table_.folderOf(use.spans.back().position + use.spans.back().count - 1);
            if (wantedBefore[last + std::size_t{1}] != wantedBefore[first]) uses.push_back(std::move(use));
        }
        constexpr std::size_t mostThreads = 16;
        const std::size_t machine = std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, mostThreads);
        const auto threads = static_cast<unsigned>(std::clamp<std::size_t>(uses.size(), 1, machine));
        std::vector<Part> parts(threads);
        std::atomic<std::size_t> next = 0;
        onThreads(threads, [&](unsigned thread) {
            RowReader nameReader{files, 0, true};
            RowReader valueReader{files,
                                  bit(HistoryField::kind) | bit(HistoryField::shape) | bit(HistoryField::logical) |
                                      bit(HistoryField::allocated) | bit(HistoryField::seconds),
                                  false};
            for (std::size_t at = next++; at < uses.size() && !isGivenUp(); at = next++) {
                for (const StreamView::Span& span : uses[at].spans)
                    walkSpan(span.position, span.position + span.count, nameReader, valueReader, parts[thread]);
            }
        });
        for (Part& part : parts) {
            std::ranges::move(part.files, std::back_inserter(result.files));
            result.versioned.insert(result.versioned.end(), part.versioned.begin(), part.versioned.end());
            for (auto& [request, path] : part.witnesses) {
                std::string& known = witnessOf_[request];
                if (known.empty() || path < known) known = std::move(path);
            }
        }
        std::ranges::sort(result.files, {}, [](const FittingItem& item) {
            return std::pair{item.position, item.match};
        });
        std::ranges::sort(result.versioned);
    }

    [[nodiscard]] bool isGivenUp() const { return settings_.cancellation && settings_.cancellation->isCancelled(); }

    void walkSpan(std::uint32_t first, std::uint32_t end, RowReader& nameReader, RowReader& valueReader, Part& part) {
        for (std::uint32_t folder = table_.folderOf(first); first < end; ++folder) {
            const std::uint32_t behind = std::min(end, table_.endOfFiles(folder));
            if (behind <= first) continue;
            if (wanted_[folder] != 0) lookAt(folder, first, behind, nameReader, valueReader, part);
            first = behind;
        }
    }

    void lookAt(std::uint32_t folder, std::uint32_t first, std::uint32_t end, RowReader& nameReader,
                RowReader& valueReader, Part& part) {
        const std::uint8_t wanted = wanted_[folder];
        if ((wanted & largeFiles) != 0) {
            for (std::uint32_t file = first; file < end; ++file) {
                for (const RuleMatch match : large_) addFile(match, file, valueReader, part);
            }
        }
        if ((wanted & ~largeFiles) == 0) return;
        const auto requests = std::ranges::equal_range(requests_, folder, {}, &Request::in);
        for (std::uint32_t file = first; file < end;) {
            const RowReader::Rows some = nameReader.at(file);
            const std::uint32_t count = std::min(some.count, end - file);
            for (std::uint32_t i = 0; i < count; ++i) {
                const std::string_view name = some.name(i);
                if ((wanted & versions) != 0 && FolderFacts::isOfVersionControl(name)) part.versioned.push_back(folder);
                if ((wanted & witnesses) != 0) {
                    for (const Request& request : requests) {
                        if (!fitsAny(name, *request.names)) continue;
                        part.witnesses.emplace_back(static_cast<std::uint32_t>(&request - requests_.data()),
                                                    pathOf(folder, name));
                    }
                }
                if ((wanted & (names | contents)) != 0) addNamed(folder, file + i, name, valueReader, part);
            }
            file += count;
        }
    }

    [[nodiscard]] std::string pathOf(std::uint32_t folder, std::string_view name) const {
        std::string path = table_.path(folder);
        if (path != "/") path += '/';
        return path += name;
    }

    void addNamed(std::uint32_t folder, std::uint32_t file, std::string_view name, RowReader& values, Part& part) {
        if ((wanted_[folder] & contents) != 0) {
            for (const RulePlaces::Node node : pathNodes_[placesOf_[folder]]) {
                for (const RuleMatch at : places_.contents(node)) {
                    const ReclaimMatch& match = matchOf(at);
                    if (match.takesFiles && (match.names.empty() || fitsAny(name, match.names)))
                        addFile(at, file, values, part);
                }
            }
        }
        if ((wanted_[folder] & names) == 0 && placesOf_[folder] == 0) return;
        part.scratch.clear();
        fileNames_.each(name, [&](std::uint32_t number) {
            const bool isMeantHere = isGlobal_[number] ? facts_.isOwn(folder) : isSearched(folder, matches_[number]);
            if (isMeantHere && std::ranges::find(part.scratch, number) == part.scratch.end()) {
                part.scratch.push_back(number);
                addFile(matches_[number], file, values, part);
            }
        });
    }

    [[nodiscard]] bool isSearched(std::uint32_t folder, RuleMatch match) const {
        const std::vector<RuleMatch>& searched = searched_[searchedFrom_[folder]];
        return std::ranges::find(searched, match) != searched.end();
    }

    void addFile(RuleMatch at, std::uint32_t file, RowReader& reader, Part& part) const {
        const RowReader::Rows row = reader.at(file);
        const std::uint64_t kind = row.value(HistoryField::kind, 0);
        constexpr std::uint64_t cloudPlaceholder = 0x40;
        if (static_cast<FileKind>(kind & 7) != FileKind::file || (kind & cloudPlaceholder) != 0) return;
        if ((kind >> 3 & 3) == static_cast<std::uint64_t>(RiskLevel::blocked)) return;
        const std::uint64_t shape = row.value(HistoryField::shape, 0);
        const std::int64_t allocated =
            allocationOf({.allocated = row.value(HistoryField::allocated, 0), .shape = shape},
                         static_cast<std::int64_t>(row.value(HistoryField::logical, 0)));
        if (allocated < matchOf(at).smallestBytes) return;
        if (latest_[at.rule] != std::numeric_limits<std::uint64_t>::max()) {
            if ((shape & RowShape::noDate) != 0) return;
            const std::uint64_t seconds = row.value(HistoryField::seconds, 0);
            const bool isRaw = (shape & RowShape::rawDate) != 0;
            if ((isRaw ? storedSeconds(std::bit_cast<double>(seconds)) : seconds) > latest_[at.rule]) return;
        }
        part.files.push_back({.match = at, .isFile = true, .position = file});
    }

    /// Keeps the folders whose witnesses were all found.
    void settle(FittingItems& result) {
        std::vector<bool> isMissing(found_.size());
        for (std::uint32_t i = 0; i < requests_.size(); ++i) {
            const auto witness = witnessOf_.find(i);
            if (witness == witnessOf_.end()) {
                isMissing[requests_[i].item] = true;
            } else {
                found_[requests_[i].item].witnesses.push_back(witness->second);
            }
        }
        for (std::size_t i = 0; i < found_.size(); ++i) {
            if (!isMissing[i]) result.folders.push_back(std::move(found_[i]));
        }
        std::ranges::stable_sort(result.folders, {}, &FittingItem::position);
    }

    const OpenGeneration& generation_;
    const std::vector<ReclaimRule>& rules_;
    const SuggestionSettings& settings_;
    const FolderFacts& facts_;
    const FolderTable& table_;
    RulePlaces places_;
    std::vector<std::uint64_t> latest_;  ///< of each rule

    std::vector<RuleMatch> matches_;  ///< what the tables of names have numbers of
    std::vector<bool> isGlobal_;      ///< of each of these: files anywhere
    NameTable folderNames_;
    NameTable fileNames_;
    bool asksForFilesAnywhere_ = false;
    std::vector<RuleMatch> large_;
    std::int64_t leastLarge_ = std::numeric_limits<std::int64_t>::max();
    std::vector<RuleMatch> empty_;

    std::vector<std::uint8_t> wanted_;                      ///< of each folder, `Wanted`
    std::vector<std::uint32_t> placesOf_;                   ///< of each folder: which of `pathNodes_`
    std::vector<std::vector<RulePlaces::Node>> pathNodes_;  ///< the first is empty
    std::vector<std::uint32_t> searchedFrom_;               ///< of each folder: which of `searched_`
    std::vector<std::vector<RuleMatch>> searched_{{}};

    std::vector<FittingItem> found_;
    std::vector<Request> requests_;  ///< by folder
    boost::unordered_flat_map<std::pair<std::uint64_t, std::uint32_t>, std::uint32_t> besideKnown_;
    boost::unordered_flat_map<std::uint32_t, std::string> witnessOf_;  ///< of each request that has one
};

}  // namespace

std::uint64_t latestChange(const ReclaimRule& rule, Date now) {
    if (rule.smallestAge.count() == 0) return std::numeric_limits<std::uint64_t>::max();
    constexpr double day = 86'400;
    return storedSeconds(now.secondsSinceReferenceDate - static_cast<double>(rule.smallestAge.count()) * day);
}

FittingItems fittingItems(const OpenGeneration& generation, const std::vector<ReclaimRule>& rules,
                          const SuggestionSettings& settings, const FolderFacts& facts) {
    return Search{generation, rules, settings, facts}.run();
}

}  // namespace KestrelCore
