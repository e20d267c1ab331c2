#include "commands/BrowseRun.hpp"

#include "commands/BrowseScan.hpp"
#include "output/Times.hpp"
#include "store/DeletionRun.hpp"
#include "store/Places.hpp"
#include "store/Restoration.hpp"
#include "store/ScanSaving.hpp"
#include "terminal/Interruption.hpp"
#include "terminal/LiveScreen.hpp"
#include "terminal/Shell.hpp"
#include "terminal/browse/BrowsePage.hpp"

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/EventStream.hpp"
#include "KestrelCore/Model/KestrelError.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

// One loop on the main thread has the terminal: keys go into the page, and what the page asks for is done on threads of
// their own, one for each sort of work. Their answers come back as functions that the loop calls. A new request of the
// same sort overtakes the one before, which is told to stop and whose answer nobody reads; nobody waits for a thread
// that hangs in a system call.

namespace KestrelCLI {

namespace {

using namespace KestrelCore;
using namespace std::chrono_literals;

/// Sorts of work that go on beside each other.
enum class Work : std::size_t { folder, picture, find, summary, marks, action, saving };
constexpr std::size_t workCount = 7;

using Answer = std::function<BrowsePage::Outcome(BrowsePage&)>;
using Answers = EventStream<Answer>;
using Out = Answers::Continuation;

/// How long the loop waits for a key where other things are looked after, too.
constexpr std::chrono::milliseconds scanInterval = 100ms;
constexpr std::chrono::milliseconds secondKeyInterval = 300ms;
constexpr std::chrono::milliseconds idleInterval = 20s;  // "2 minutes ago" gets older
constexpr std::chrono::milliseconds closedInterval = 20ms;
/// A folder of a scan that runs is read again after as many looks at the scan.
constexpr int looksPerRefresh = 3;

/// Wakes the screen from other threads for as long as there is one.
class WakeUp {
public:
    explicit WakeUp(LiveScreen& screen) : screen_{&screen} {}
    void wake() {
        const std::lock_guard guard{mutex_};
        if (screen_ != nullptr) screen_->wake();
    }
    void end() {
        const std::lock_guard guard{mutex_};
        screen_ = nullptr;
    }

private:
    std::mutex mutex_;
    LiveScreen* screen_;
};

/// The means to take things away, which one thread uses at a time.
struct Removal {
    std::mutex mutex;
    DeletionRun run;
    std::optional<DeletionProposal> proposal;
    DeletionMode mode = DeletionMode::trash;
    std::vector<std::string> remarks;

    explicit Removal(const Session& session)
        : run{session, [this](std::string_view sentence) { remarks.emplace_back(sentence); }} {}
};

/// What threads that are left behind may still read.
struct Shared {
    explicit Shared(const Session& whole) : session{whole}, removal{session} {}
    Session session;
    Removal removal;
};

std::string itemCount(std::size_t count) { return count == 1 ? "1 item" : fmt::format("{} items", count); }

BrowsePlan planOf(const DeletionProposal& proposal, const PlanDeletion& request) {
    BrowsePlan plan{.mode = request.mode,
                    .items = {},
                    .freedBytes = proposal.freedBytes,
                    .unread = proposal.unread,
                    .includesHighRisk = request.includesHighRisk};
    for (const ProposedItem& item : proposal.items) {
        BrowsePlan::Item& shown = plan.items.emplace_back(BrowsePlan::Item{.path = item.path});
        if (item.record) shown.bytes = item.record->displayBytes();
        shown.risk = item.risk;
        if (item.refusal) shown.refusal = item.refusal->string();
        // The key of this page, in place of the option of a command.
        if (item.isHighRiskAlone) shown.refusal = "The item is of high risk; h lets it go.";
        if (!item.refusal) ++plan.going;
        plan.hasHighRisk = plan.hasHighRisk || item.isHighRiskAlone;
    }
    return plan;
}

bool hasGoneInPart(const DeletionItemResult& result) {
    return !result.succeeded &&
           result.message.view().find("Some of its contents were removed") != std::string_view::npos;
}

BrowseResults resultsOf(const Session& session, const DeletionOutcome& outcome, std::size_t asked, DeletionMode mode,
                        const std::vector<std::string>& remarks) {
    BrowseResults results{.summary = {}, .items = {}, .gone = outcome.gone};
    for (const DeletionItemResult& result : outcome.results)
        results.items.push_back({result.path, result.succeeded, withoutSpaceSentence(result)});
    for (const std::string& remark : remarks) results.items.push_back({Text{}, false, remark});
    const bool isTrash = mode == DeletionMode::trash;
    results.summary = outcome.gone.empty()
                          ? fmt::format("Nothing was {}.", isTrash ? "moved to the Trash" : "removed")
                          : fmt::format("{} {}{} ({}).", isTrash ? "Moved" : "Removed", itemCount(outcome.gone.size()),
                                        isTrash ? " to the Trash" : "", session.size(outcome.freedBytes));
    // Nothing but a scan can tell what is left of an item that went in part.
    if (std::ranges::any_of(outcome.results, hasGoneInPart))
        results.summary +=
            " Of what is told of above a part is gone, which the saved scan shows still: scan again (r).";
    if (outcome.isInterrupted)
        results.summary += fmt::format(" Stopped: {} left as they were.", itemCount(asked - outcome.results.size()));
    if (isTrash && !outcome.gone.empty())
        results.summary +=
            " z puts them back; until the Trash is emptied they still count as used (kestrel trash --empty).";
    return results;
}

BrowseResults resultsOf(const RestoreOutcome& outcome, const std::vector<std::string>& remarks) {
    BrowseResults results;
    std::string reasons;
    for (const RestoreResult& result : outcome.results) {
        if (!result.item.succeeded)
            reasons += fmt::format(" {}: {}", result.item.path.view(), result.item.message.view());
    }
    for (const std::string& remark : remarks) reasons += ' ' + remark;
    results.summary = outcome.results.empty() ? "Nothing that was moved to the Trash from here is there."
                                              : fmt::format("Put back {}.{}", itemCount(outcome.restored), reasons);
    return results;
}

class BrowseRun {
public:
    BrowseRun(const Session& session, BrowseStart start)
        : session_{session}, start_{std::move(start)}, shared_{std::make_shared<Shared>(session)},
          screen_{session.hasColor()}, wakeUp_{std::make_shared<WakeUp>(screen_)},
          page_{session,
                screen_.characters(),
                start_.folder,
                {.colors = screen_.colors(), .whyReadOnly = start_.whyReadOnly}} {}
    ~BrowseRun() { wakeUp_->end(); }
    BrowseRun(const BrowseRun&) = delete;
    BrowseRun& operator=(const BrowseRun&) = delete;

    /// Until the page is closed.
    void show() {
        if (start_.scan != nullptr) {
            std::shared_ptr<const SavedScan> earlier;
            if (start_.history != nullptr) {
                const Generation& scan = start_.scan->summary();
                earlier = scanBefore(*start_.history, scan.scope.root.path(), scan);
            }
            folders_ = std::make_shared<const BrowseFolders>(start_.scan, std::move(earlier));
        } else {
            beginScan(*start_.toScan);
        }
        tellScan();
        handle({.requests = {ReadFolder{page_.folder()}}});
        bool isChanged = true;
        while (!isOver_ || page_.isActing()) {
            if (takeAnswers() || lookAtScan() || isChanged)
                screen_.draw(page_.lines(screen_.columns(), screen_.rows()));
            isChanged = step();
        }
    }

    /// After `show`: a first scan that was not waited for; null where there is none.
    std::unique_ptr<BrowseScan> unfinishedScan() { return folders_->scan() == nullptr ? std::move(scan_) : nullptr; }
    /// After `show`: what became of a removal that was stopped together with the page.
    [[nodiscard]] const std::optional<BrowseResults>& lastWords() const { return lastWords_; }
    /// After `show`: the end of what is being saved still, if anything is.
    std::optional<Answers> unfinishedSaving() {
        return std::exchange(work_[static_cast<std::size_t>(Work::saving)], std::nullopt);
    }

    /// Why that failed, once it has ended; else empty.
    [[nodiscard]] std::shared_ptr<const std::string> savingFailure() const { return savingFailure_; }

private:
    /// One wait for a key. Whether the page may look different now.
    bool step() {
        const auto limit = page_.awaitsKey() ? secondKeyInterval : scan_ != nullptr ? scanInterval : idleInterval;
        const ScreenKey key = screen_.wait(limit);
        if (Interruption::isRequested() || key.kind == ScreenKey::Kind::closed) {
            // What is being taken away is stopped, and its end waited for: nothing may be left half-way.
            if (!isOver_ && page_.isActing()) stop_.cancel();
            isOver_ = true;
            // A terminal that has gone ends every wait at once.
            if (key.kind == ScreenKey::Kind::closed && page_.isActing()) std::this_thread::sleep_for(closedInterval);
            return true;
        }
        if (key.kind == ScreenKey::Kind::woken) return false;
        if (key.kind == ScreenKey::Kind::none) {
            handle(page_.pause());
            return true;
        }
        handle(page_.press(key, screen_.columns(), screen_.rows()));
        return true;
    }

    /// Answers that have come. Whether there were any.
    bool takeAnswers() {
        bool isNew = false;
        for (auto& stream : work_) {
            while (stream) {
                auto next = stream->next(0ns);
                if (auto* answer = std::get_if<Answer>(&next)) {
                    handle((*answer)(page_));
                    isNew = true;
                    continue;
                }
                if (std::holds_alternative<Answers::Ended>(next)) stream.reset();
                break;
            }
        }
        return isNew;
    }

    /// Begins work on a thread of its own; what was begun of this sort before is overtaken.
    void start(Work sort, std::function<void(const Out&)> work) {
        auto& stream = work_[static_cast<std::size_t>(sort)];
        stream = Answers::start([work = std::move(work), wakeUp = wakeUp_](const Out& out) {
            work(out);
            wakeUp->wake();
        });
    }

    void handle(BrowsePage::Outcome outcome) {
        isOver_ = isOver_ || outcome.isOver;
        for (BrowseRequest& request : outcome.requests) std::visit([this](auto& each) { carryOut(each); }, request);
    }

    // ---- Requests --------------------------------------------------------------------------------------------------

    void carryOut(const ReadFolder& request) {
        start(Work::folder, [folders = folders_, path = request.path, wakeUp = wakeUp_](const Out& out) {
            const auto folder = folders->folder(path);
            out.yield([folder](BrowsePage& page) { return page.take(folder); });
            // Of many names the order takes longer than the rest, so it comes after what is seen first.
            wakeUp->wake();
            auto order = nameOrder(folder, out.cancellation());
            if (!order) return;
            out.yield([order = std::move(*order)](BrowsePage& page) {
                page.take(order);
                return BrowsePage::Outcome{};
            });
        });
    }

    void carryOut(const ReadPicture& request) {
        start(Work::picture, [folders = folders_, folder = request.folder](const Out& out) {
            auto picture = folders->picture(folder, out.cancellation());
            if (picture == nullptr) return;
            out.yield([picture](BrowsePage& page) {
                page.take(picture);
                return BrowsePage::Outcome{};
            });
        });
    }

    void carryOut(const FindBelow& request) {
        start(Work::find, [folders = folders_, request](const Out& out) {
            auto found = folders->find(request, out.cancellation());
            if (found == nullptr) return;
            out.yield([found](BrowsePage& page) {
                page.take(found);
                return BrowsePage::Outcome{};
            });
        });
    }

    void carryOut(const Summarise& request) {
        start(Work::summary, [folders = folders_, request](const Out& out) {
            std::shared_ptr<const Summary> summary;
            std::string failure;
            try {
                summary = folders->summary(request.folder, request.grouping, out.cancellation());
                if (summary == nullptr) failure = "This folder is not in the scan any more.";
            } catch (const std::exception& error) {
                failure = error.what();
            }
            out.yield([summary, failure, number = request.number](BrowsePage& page) {
                page.take(number, summary, failure);
                return BrowsePage::Outcome{};
            });
        });
    }

    void carryOut(const MeasureMarks& request) {
        start(Work::marks, [shared = shared_, request](const Out& out) {
            const std::lock_guard guard{shared->removal.mutex};
            if (out.cancellation().isCancelled()) return;
            const auto bytes = shared->removal.run.chosenBytes(request.paths, out.cancellation());
            if (!bytes) return;
            out.yield([freed = bytes->freed, version = request.version](BrowsePage& page) {
                page.takeFreedBytes(freed, version);
                return BrowsePage::Outcome{};
            });
        });
    }

    void carryOut(const PlanDeletion& request) {
        drop(Work::marks);  // it would be waited for
        start(Work::action, [shared = shared_, request](const Out& out) {
            const std::lock_guard guard{shared->removal.mutex};
            // Threads get the lock in any order: one that was overtaken must not take away a newer plan.
            if (out.cancellation().isCancelled()) return;
            try {
                std::vector<DeletionTarget> targets;
                for (const FileRecord& item : request.items) targets.push_back({.path = item.path(), .seen = item});
                Removal& removal = shared->removal;
                removal.remarks.clear();
                auto proposal = removal.run.propose(
                    targets, request.includesHighRisk ? HighRisk::goes : HighRisk::stays, out.cancellation());
                if (!proposal) return;
                removal.proposal = std::move(proposal);
                removal.mode = request.mode;
                BrowsePlan plan = planOf(*removal.proposal, request);
                plan.remarks = removal.remarks;
                out.yield([plan = std::move(plan)](BrowsePage& page) {
                    page.takePlan(plan);
                    return BrowsePage::Outcome{};
                });
            } catch (const std::exception& error) {
                out.yield(failure(error.what()));
            }
        });
    }

    void carryOut(const CarryOutPlan& request) {
        drop(Work::marks);
        stop_ = CancellationToken{};
        start(Work::action, [this, folders = folders_, history = start_.history, shared = shared_, request,
                             stop = stop_, wakeUp = wakeUp_](const Out& out) {
            const std::lock_guard guard{shared->removal.mutex};
            try {
                Removal& removal = shared->removal;
                if (!removal.proposal) {
                    out.yield(failure("Nothing is planned any more; nothing was touched."));
                    return;
                }
                const DeletionProposal proposal = *std::exchange(removal.proposal, std::nullopt);
                std::size_t done = 0;
                const auto onResult = [&](const DeletionItemResult&) {
                    out.yield([count = ++done](BrowsePage& page) {
                        page.takeProgress(count);
                        return BrowsePage::Outcome{};
                    });
                    wakeUp->wake();
                    return !stop.isCancelled();
                };
                const std::optional<Text> typed =
                    removal.mode == DeletionMode::permanent ? std::optional<Text>{request.typed} : std::nullopt;
                const DeletionOutcome outcome = removal.run.execute(proposal, removal.mode, typed, onResult, stop);
                auto results = resultsOf(shared->session, outcome, proposal.records().size(), removal.mode,
                                         std::exchange(removal.remarks, {}));
                out.yield([this, newer = folders->newest(*history), results](BrowsePage& page) {
                    // Whoever ended the page meanwhile does not see it there.
                    if (isOver_) lastWords_ = results;
                    show(newer);
                    return page.takeResults(results);
                });
            } catch (const std::exception& error) {
                out.yield(failure(error.what()));
            }
        });
    }

    void carryOut(const StopAction&) { stop_.cancel(); }

    void carryOut(const LookForTrashed&) {
        start(Work::action, [shared = shared_](const Out& out) {
            const std::lock_guard guard{shared->removal.mutex};
            try {
                const Restoration restoration{shared->session, [](std::string_view) {}};
                const std::vector<KnownReceipt> receipts = restoration.receipts();
                std::vector<const KnownReceipt*> back = lastRequest(receipts);
                std::erase_if(back, [](const KnownReceipt* each) { return !each->place; });
                const Text request = back.empty() ? Text{} : back.front()->receipt.id.uuidString();
                std::string question;
                if (!back.empty()) {
                    question = fmt::format("Put back {}{}, trashed {}? [y/N]",
                                           shared->session.shownPath(back.front()->receipt.path.view()),
                                           back.size() > 1 ? fmt::format(" and {} more", back.size() - 1) : "",
                                           age(back.front()->receipt.trashedAt, Date::now()));
                }
                out.yield([request, question](BrowsePage& page) {
                    page.takeTrashed(request, question);
                    return BrowsePage::Outcome{};
                });
            } catch (const std::exception& error) {
                out.yield(failure(error.what()));
            }
        });
    }

    void carryOut(const PutBack& request) {
        stop_ = CancellationToken{};
        start(Work::action, [this, folders = folders_, history = start_.history, shared = shared_, request,
                             stop = stop_](const Out& out) {
            const std::lock_guard guard{shared->removal.mutex};
            try {
                std::vector<std::string> remarks;
                const Restoration restoration{shared->session,
                                              [&](std::string_view sentence) { remarks.emplace_back(sentence); }};
                const std::vector<KnownReceipt> receipts = restoration.receipts();
                const std::vector<const KnownReceipt*> back = lastRequest(receipts);
                // What was agreed to is still what went last.
                if (std::ranges::none_of(back, [&](const KnownReceipt* each) {
                        return Text{each->receipt.id.uuidString()} == request.request;
                    })) {
                    out.yield(failure("Something else was moved to the Trash meanwhile; nothing was put back."));
                    return;
                }
                const RestoreOutcome outcome = restoration.execute(
                    back, {}, [](const RestoreResult&) {}, [&] { return stop.isCancelled(); });
                out.yield(
                    [this, newer = folders->newest(*history), results = resultsOf(outcome, remarks)](BrowsePage& page) {
                        show(newer);
                        return page.takeResults(results);
                    });
            } catch (const std::exception& error) {
                out.yield(failure(error.what()));
            }
        });
    }

    void carryOut(const ScanAgain&) {
        if (scan_ != nullptr) return page_.setMessage("A scan runs already.", Style::plain);
        if (!start_.whyNoScan.empty()) return page_.setMessage(start_.whyNoScan, Style::plain);
        beginScan(folders_->scan()->summary().scope);
        tellScan();
    }

    void carryOut(const CopyPath& request) {
        const bool isAsked = screen_.copy(request.path.view());
        page_.setMessage(isAsked ? fmt::format("Copied: {}", session_.shownPath(request.path.view()))
                                 : "This terminal can't be asked to copy.",
                         Style::plain);
    }

    void carryOut(const OpenShell& request) {
        std::string failure;
        screen_.suspended([&] { failure = runShell(request.folder.string()); });
        if (!failure.empty()) page_.setMessage(failure, Style::bad);
    }

    /// An answer that says what went wrong.
    static Answer failure(std::string sentence) {
        return [sentence = std::move(sentence)](BrowsePage& page) {
            page.takeFailure(sentence);
            return BrowsePage::Outcome{};
        };
    }

    // ---- Scans -----------------------------------------------------------------------------------------------------

    void beginScan(const ScanScope& scope) {
        scan_ = std::make_unique<BrowseScan>(scope);
        if (folders_ != nullptr) return;
        std::shared_ptr<const SavedScan> earlier;
        if (start_.history != nullptr) earlier = scanBefore(*start_.history, scope.root.path(), std::nullopt);
        folders_ = std::make_shared<const BrowseFolders>(scope.root.path(), scan_->listing(), std::move(earlier));
    }

    /// Whether there is something new of a scan to be shown.
    bool lookAtScan() {
        if (scan_ == nullptr) return false;
        try {
            if (!scan_->look()) {
                // What has been found is shown as it grows.
                if (folders_->scan() == nullptr && ++looks_ % looksPerRefresh == 0)
                    handle({.requests = {ReadFolder{page_.folder()}}});
                tellScan();
                return true;
            }
        } catch (const std::exception& error) {
            scan_.reset();
            if (folders_->scan() == nullptr) throw;
            page_.setMessage(error.what(), Style::bad);
            tellScan();
            return true;
        }
        const ScanSnapshot snapshot = scan_->result();
        scan_.reset();
        if (folders_->scan() == nullptr) {
            show(std::make_shared<const BrowseFolders>(std::make_shared<const SavedScan>(snapshot),
                                                       folders_->sharedEarlier()));
        }
        save(snapshot);
        return true;
    }

    /// Saves, and goes on with what was saved: of that only what is asked for is in memory.
    void save(const ScanSnapshot& snapshot) {
        page_.setMessage("Saving the scan …", Style::quiet);
        start(Work::saving, [this, history = start_.history, snapshot, failure = savingFailure_](const Out& out) {
            try {
                const Generation saved = history->add(snapshot);
                auto kept = std::make_shared<const BrowseFolders>(
                    std::make_shared<const SavedScan>(history->open(saved.number)),
                    scanBefore(*history, saved.scope.root.path(), saved));
                // What this leaves in is the next scan's to take out.
                try {
                    (void)history->thin({}, Date::now());
                } catch (const KestrelError&) {
                }
                out.yield([this, kept](BrowsePage& page) {
                    show(kept);
                    page.setMessage("The scan is finished and kept.", Style::plain);
                    return BrowsePage::Outcome{};
                });
            } catch (const std::exception& error) {
                *failure = error.what();
                out.yield([this, snapshot, reason = std::string{error.what()}](BrowsePage& page) {
                    show(std::make_shared<const BrowseFolders>(std::make_shared<const SavedScan>(snapshot),
                                                               folders_->sharedEarlier()));
                    page.setMessage("The scan could not be saved: " + reason, Style::bad);
                    return BrowsePage::Outcome{};
                });
            }
        });
    }

    void show(std::shared_ptr<const BrowseFolders> folders) {
        folders_ = std::move(folders);
        tellScan();
        handle({.requests = {ReadFolder{page_.folder()}}});
    }

    void tellScan() {
        BrowseScanState state;
        if (const SavedScan* const scan = folders_->scan()) state.scan = scan->summary();
        if (const SavedScan* const earlier = folders_->earlier()) state.earlier = earlier->summary();
        state.isScanning = scan_ != nullptr;
        if (scan_ != nullptr) {
            state.itemsSeen = scan_->progress().filesSeen;
            state.bytesSeen = scan_->progress().allocatedBytesSeen;
        }
        page_.setScan(std::move(state));
    }

    void drop(Work sort) { work_[static_cast<std::size_t>(sort)].reset(); }

    const Session& session_;
    BrowseStart start_;
    std::shared_ptr<Shared> shared_;
    LiveScreen screen_;
    std::shared_ptr<WakeUp> wakeUp_;
    BrowsePage page_;
    std::shared_ptr<const BrowseFolders> folders_;
    std::unique_ptr<BrowseScan> scan_;  ///< while one runs
    std::array<std::optional<Answers>, workCount> work_;
    CancellationToken stop_;  ///< of what is being done
    bool isOver_ = false;
    std::optional<BrowseResults> lastWords_;
    /// Why a scan was not saved: written by the thread that saves, for who has seen its end.
    std::shared_ptr<std::string> savingFailure_ = std::make_shared<std::string>();
    int looks_ = 0;
};

/// Keeps what was found by a scan that was not waited for.
void keepFound(const Session& session, BrowseScan& scan) {
    const std::optional<ScanCompleted> found = scan.stop();
    // Of the root alone nothing is to be learned.
    if (!found || found->snapshot.records().size() <= 1) return;
    ScanSaving saving{session};
    if (!found->isComplete) {
        (void)saving.keepFound(found->snapshot);
        return;
    }
    if (const auto saved = saving.save(found->snapshot))
        session.say(fmt::format("The scan was finished, and is saved as number {}.", saved->number));
}

}  // namespace

ExitCode runBrowse(const Session& session, BrowseStart start) {
    std::unique_ptr<BrowseScan> scan;
    std::optional<Answers> saving;
    std::optional<BrowseResults> lastWords;
    std::shared_ptr<const std::string> savingFailure;
    {
        BrowseRun run{session, std::move(start)};
        run.show();
        scan = run.unfinishedScan();
        saving = run.unfinishedSaving();
        savingFailure = run.savingFailure();
        lastWords = run.lastWords();
    }
    if (lastWords) {
        for (const BrowseResults::Item& item : lastWords->items) {
            if (!item.hasSucceeded) session.say(fmt::format("{}: {}", item.path.view(), item.message));
        }
        session.say(lastWords->summary);
    }
    if (scan != nullptr) keepFound(session, *scan);
    if (saving) {
        // What is half saved would be lost. The answer is for a page that is not there any more.
        session.say("Saving the scan; Ctrl-C loses it.");
        bool isEnded = false;
        while (!isEnded && !Interruption::isRequested())
            isEnded = std::holds_alternative<Answers::Ended>(saving->next(50ms));
        if (isEnded && !savingFailure->empty()) {
            session.say(whyNotSaved(historyPath(), *savingFailure));
            return ExitCode::failed;
        }
    }
    return Interruption::isRequested() ? ExitCode::interrupted : ExitCode::done;
}

}  // namespace KestrelCLI
