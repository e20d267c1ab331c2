#include "fleet/Publication.hpp"

#include "fleet/BatchQueue.hpp"
#include "fleet/Gzip.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/UUID.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <set>
#include <stdexcept>
#include <thread>
#include <utility>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// Each batch is some tens of megabytes before it is compressed.
constexpr std::size_t mostReady = 2;
/// Within it another publisher may still be at work.
constexpr std::uint64_t secondsOfGrace = 86'400;
constexpr const char* ofOwner =
    "host = (SELECT v FROM terms WHERE i = 0) AND volume = (SELECT v FROM terms WHERE i = 1)";

std::string insertInto(std::string_view table, std::string_view columns) {
    return fmt::format("INSERT INTO {} ({}) FORMAT RowBinary", table, columns);
}

/// Ends the thread that makes batches when nobody takes any more.
class NobodyTakes {};

/// Takes no more when it goes, so that the other thread ends, and waits for that.
class Maker {
public:
    Maker(BatchQueue& queue, std::function<void()> make)
        : queue_{queue}, thread_{[&queue, make = std::move(make)] {
              try {
                  make();
                  queue.end();
              } catch (const NobodyTakes&) {
                  queue.end();
              } catch (...) {
                  queue.end(std::current_exception());
              }
          }} {}
    ~Maker() {
        queue_.close();
        thread_.join();
    }
    Maker(const Maker&) = delete;
    Maker& operator=(const Maker&) = delete;

private:
    BatchQueue& queue_;
    std::thread thread_;
};

}  // namespace

Publication::Publication(Server& server, PublicationPlan plan, const Generation& scan)
    : server_{server}, plan_{std::move(plan)}, scan_{scan} {
    const Text root = scan.scope.root.path();
    std::uint64_t newest = 0;
    for (const Line& line : lines()) {
        newest = std::max(newest, line.publication >> 32U);
        const Text other{line.root};
        if (!replaced_ && line.root == root.view()) replaced_ = line;
        if (other == root) continue;
        if (!Path::isBeneath(other, root) && !Path::isBeneath(root, other)) continue;
        throw std::runtime_error{
            fmt::format("{} is published already as a part of the volume {} of {}, and {} would count twice with it: "
                        "--volume names "
                        "another volume, or the other part’s lines in the table snapshots go first.",
                        line.root, plan_.volume, plan_.host, root.view())};
    }
    beginSeconds_ = static_cast<std::uint64_t>(std::max(0.0, Date::now().secondsSince1970()));
    // Later than what is there, whatever this machine's clock says: the latest number holds.
    if (newest >= beginSeconds_) beginSeconds_ = newest + 1;
    const auto random = UUID::random().bytes;
    std::uint64_t number = beginSeconds_ << 32U;
    for (unsigned i = 0; i < 4; ++i) number |= std::uint64_t{random[i]} << 8U * i;
    key_ = {.host = plan_.host, .volume = plan_.volume, .publication = number};
}

std::vector<Publication::Line> Publication::lines() {
    std::vector<Line> lines;
    server_.query<std::string, std::uint64_t, std::string, std::uint32_t, std::uint8_t, std::uint8_t>(
        fmt::format("SELECT MARK, root, publication, snapshot, completed, complete, has_files FROM snapshots WHERE {} "
                    "ORDER BY publication DESC",
                    ofOwner),
        {plan_.host, plan_.volume},
        [&](std::string root, std::uint64_t publication, std::string snapshot, std::uint32_t completed,
            std::uint8_t isComplete, std::uint8_t hasFiles) {
            lines.push_back({.root = std::move(root),
                             .publication = publication,
                             .snapshot = std::move(snapshot),
                             .completed = completed,
                             .isComplete = isComplete != 0,
                             .hasFiles = hasFiles != 0});
        });
    return lines;
}

std::vector<std::string> Publication::losses() const {
    std::vector<std::string> sentences;
    if (!replaced_) return sentences;
    if (std::floor(scan_.completedAt.secondsSince1970()) < replaced_->completed)
        sentences.emplace_back("A later scan of it is published, whose place this earlier one takes.");
    if (replaced_->hasFiles && !plan_.hasFiles) {
        sentences.emplace_back("What is published of it has every item; now only sums of folders take that place, in "
                               "which nothing can be searched. --files sends the items, too.");
    }
    if (replaced_->isComplete && !scan_.isComplete)
        sentences.emplace_back("A whole scan of it is published, whose place this one takes, which ended early.");
    return sentences;
}

PublishedRows Publication::send(const ScanSnapshot& snapshot, const std::vector<PublishedSuggestion>& suggestions,
                                const Progress& progress, const CancellationToken& cancellation) {
    const PublicationRows rows{snapshot, key_};
    // What stays on this machine is soonest there as it is.
    const auto coding = server_.address().isLoopback() ? Server::Coding::plain : Server::Coding::gzip;
    const auto coded = [&](std::string&& bytes) {
        return coding == Server::Coding::gzip ? gzipped(bytes) : std::move(bytes);
    };
    PublishedRows result{.publication = key_.publication};
    const auto send = [&](const Batch& batch) {
        server_.insert(*batch.insert, batch.rows, coding);
        result.bytes += static_cast<std::int64_t>(batch.rows.size());
    };

    const std::string intoFolders = insertInto("folders", PublicationRows::folderColumns());
    const std::string intoFiles = insertInto("files", PublicationRows::fileColumns());
    BatchQueue queue{mostReady};
    const auto make = [&] {
        const auto putInto = [&](const std::string& insert) {
            return [&queue, &coded, &insert](std::string&& bytes, std::int64_t count) {
                if (!queue.put({.insert = &insert, .rows = coded(std::move(bytes)), .count = count}))
                    throw NobodyTakes{};
            };
        };
        if (!rows.folders(putInto(intoFolders), cancellation)) return;
        if (plan_.hasFiles) (void)rows.files(putInto(intoFiles), cancellation);
    };
    {
        const Maker maker{queue, make};
        const auto items = static_cast<std::int64_t>(snapshot.records().size());
        while (const auto batch = queue.take()) {
            const bool isFile = batch->insert == &intoFiles;
            progress(isFile ? result.files : result.folders, isFile ? items : 0);
            send(*batch);
            (isFile ? result.files : result.folders) += batch->count;
        }
    }
    Interruption::check();
    if (cancellation.isCancelled()) throw Interrupted{};
    result.suggestions = static_cast<std::int64_t>(suggestions.size());
    if (!suggestions.empty()) {
        const std::string into = insertInto("suggestions", PublicationRows::suggestionColumns());
        send({.insert = &into, .rows = coded(rows.suggestions(suggestions)), .count = result.suggestions});
    }
    const std::string line = rows.line(scan_, {.published = Date::now(),
                                               .hasFiles = plan_.hasFiles,
                                               .folders = result.folders,
                                               .keep = plan_.keep,
                                               .program = plan_.program});
    server_.insert(insertInto("snapshots", PublicationRows::lineColumns()), line, Server::Coding::plain);
    return result;
}

std::vector<std::uint64_t> Publication::publicationsWithRows(const std::string& table) {
    std::vector<std::uint64_t> found;
    server_.query<std::uint64_t>(
        fmt::format("SELECT MARK, publication FROM {} WHERE {} GROUP BY publication", table, ofOwner),
        {plan_.host, plan_.volume}, [&](std::uint64_t publication) { found.push_back(publication); });
    return found;
}

void Publication::remove(const std::string& table, std::uint64_t owner,
                         const std::vector<std::uint64_t>& publications) {
    if (publications.empty()) return;
    // Numbers alone: no text is ever part of SQL. Those of two hosts may be equal by chance.
    server_.command(fmt::format("ALTER TABLE {} DELETE WHERE cityHash64(host, volume) = {} AND publication IN ({})",
                                table, owner, fmt::join(publications, ", ")));
}

bool Publication::tidy() {
    bool isDistributed = false;
    server_.query<std::string>(
        "SELECT MARK, engine FROM system.tables WHERE database = currentDatabase() AND name = 'files'", {},
        [&](const std::string& engine) { isDistributed = engine == "Distributed"; });
    if (isDistributed) return false;
    constexpr std::array tables{"files", "folders", "suggestions"};
    // Rows before lines: a publication that ends in between has its line by then.
    std::array<std::vector<std::uint64_t>, tables.size()> withRows;
    for (std::size_t i = 0; i < tables.size(); ++i) withRows[i] = publicationsWithRows(tables[i]);
    const std::vector<Line> all = lines();

    // Of one scan that was published twice, as after an answer that was lost, the later holds.
    const std::string root = scan_.scope.root.path().string();
    // One that ended early stands only until the next one, and for none of those that are kept.
    std::set<std::string> keptScans;
    bool isNewest = true;
    std::set<std::uint64_t> known;
    std::vector<std::uint64_t> outdated;
    for (const Line& line : all) {
        known.insert(line.publication);
        if (line.root != root) continue;
        const bool isKept =
            line.isComplete ? keptScans.size() < plan_.keep && keptScans.insert(line.snapshot).second : isNewest;
        isNewest = false;
        if (!isKept) outdated.push_back(line.publication);
    }
    std::uint64_t owner = 0;
    server_.query<std::uint64_t>(
        "SELECT MARK, cityHash64((SELECT v FROM terms WHERE i = 0), (SELECT v FROM terms WHERE i = 1))",
        {plan_.host, plan_.volume}, [&](std::uint64_t hash) { owner = hash; });
    // Lines first: what has none is not there, whatever else happens.
    remove("snapshots", owner, outdated);
    for (std::size_t i = 0; i < tables.size(); ++i) {
        std::vector<std::uint64_t> gone;
        for (const std::uint64_t each : withRows[i]) {
            const bool isOutdated = std::ranges::find(outdated, each) != outdated.end();
            const bool isAbandoned = !known.contains(each) && (each >> 32U) + secondsOfGrace < beginSeconds_;
            if (isOutdated || isAbandoned) gone.push_back(each);
        }
        remove(tables[i], owner, gone);
    }
    return true;
}

}  // namespace KestrelCLI
