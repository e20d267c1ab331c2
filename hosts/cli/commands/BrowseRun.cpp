#include "commands/BrowseRun.hpp"

#include "commands/BrowseOutcomes.hpp"
#include "commands/BrowseScan.hpp"
#include "commands/BrowseWork.hpp"
#include "commands/FolderFiles.hpp"
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
#include "KestrelCore/Model/KestrelError.hpp"

#include <fmt/format.h>

#include <algorithm>
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
// their own, whose answers the loop hands to the page.

namespace KestrelCLI {

namespace {

using namespace KestrelCore;
using namespace std::chrono_literals;

/// How long the loop waits for a key where other things are looked after, too.
constexpr std::chrono::milliseconds scanInterval = 100ms;
constexpr std::chrono::milliseconds secondKeyInterval = 300ms;
constexpr std::chrono::milliseconds idleInterval = 20s;  // "2 minutes ago" gets older
constexpr std::chrono::milliseconds closedInterval = 20ms;
/// A folder of a scan that runs is read again after as many looks at the scan.
constexpr int looksPerRefresh = 3;

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

class BrowseRun {
public:
    BrowseRun(const Session& session, BrowseStart start)
        : session_{session}, start_{std::move(start)}, shared_{std::make_shared<Shared>(session)},
          screen_{session.hasColorOnPages()}, work_{screen_},
          page_{session,
                screen_.characters(),
                start_.folder,
                {.colors = screen_.colors(), .whyReadOnly = start_.whyReadOnly}} {}
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
            const bool isAnswered = work_.take([this](const BrowseWork::Answer& answer) { handle(answer(page_)); });
            if (lookAtScan() || isAnswered || isChanged) screen_.draw(page_.lines(screen_.columns(), screen_.rows()));
            isChanged = step();
        }
    }

    /// After `show`: a first scan that was not waited for; null where there is none.
    std::unique_ptr<BrowseScan> unfinishedScan() { return folders_->scan() == nullptr ? std::move(scan_) : nullptr; }
    /// After `show`: what became of a removal that was stopped together with the page.
    [[nodiscard]] const std::optional<BrowseResults>& lastWords() const { return lastWords_; }
    /// After `show`: the end of what is being saved still, if anything is.
    std::optional<BrowseWork::Answers> unfinishedSaving() { return work_.release(BrowseTask::saving); }

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

    void handle(BrowsePage::Outcome outcome) {
        isOver_ = isOver_ || outcome.isOver;
        for (BrowseRequest& request : outcome.requests) std::visit([this](auto& each) { carryOut(each); }, request);
    }

    // ---- Requests --------------------------------------------------------------------------------------------------

    void carryOut(const ReadFolder& request) {
        work_.start(BrowseTask::folder,
                    [folders = folders_, path = request.path, wakeUp = work_.wakeUp()](const BrowseWork::Out& out) {
                        const auto folder = folders->folder(path);
                        out.yield([folder](BrowsePage& page) { return page.take(folder); });
                        // Of many names the order takes longer than the rest, so it comes after what is seen first.
                        wakeUp();
                        auto order = nameOrder(folder, out.cancellation());
                        if (!order) return;
                        out.yield([order = std::move(*order)](BrowsePage& page) {
                            page.take(order);
                            return BrowsePage::Outcome{};
                        });
                    });
    }

    void carryOut(const ReadPicture& request) {
        work_.start(BrowseTask::picture, [folders = folders_, folder = request.folder](const BrowseWork::Out& out) {
            auto picture = folders->picture(folder, out.cancellation());
            if (picture == nullptr) return;
            out.yield([picture](BrowsePage& page) {
                page.take(picture);
                return BrowsePage::Outcome{};
            });
        });
    }

    void carryOut(const FindBelow& request) {
        work_.start(BrowseTask::find, [folders = folders_, request](const BrowseWork::Out& out) {
            auto found = folders->find(request, out.cancellation());
            if (found == nullptr) return;
            out.yield([found](BrowsePage& page) {
                page.take(found);
                return BrowsePage::Outcome{};
            });
        });
    }

    void carryOut(const Summarise& request) {
        work_.start(BrowseTask::summary, [folders = folders_, request](const BrowseWork::Out& out) {
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

    void carryOut(const Suggest& request) {
        work_.start(BrowseTask::suggestions, [folders = folders_, request](const BrowseWork::Out& out) {
            std::shared_ptr<const Suggestions> suggestions;
            std::string failure;
            try {
                suggestions = folders->suggestions(request.folder, out.cancellation());
                if (suggestions == nullptr) return;
            } catch (const std::exception& error) {
                failure = error.what();
            }
            out.yield([suggestions, failure, number = request.number](BrowsePage& page) {
                page.take(number, suggestions, failure);
                return BrowsePage::Outcome{};
            });
        });
    }

    void carryOut(const MeasureMarks& request) {
        work_.start(BrowseTask::marks, [shared = shared_, request](const BrowseWork::Out& out) {
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
        work_.drop(BrowseTask::marks);  // it would be waited for
        work_.start(BrowseTask::action, [shared = shared_, request](const BrowseWork::Out& out) {
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
        work_.drop(BrowseTask::marks);
        stop_ = CancellationToken{};
        work_.start(BrowseTask::action, [this, folders = folders_, history = start_.history, shared = shared_, request,
                                         stop = stop_, wakeUp = work_.wakeUp()](const BrowseWork::Out& out) {
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
                    wakeUp();
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
        work_.start(BrowseTask::action, [shared = shared_](const BrowseWork::Out& out) {
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
        work_.start(BrowseTask::action, [this, folders = folders_, history = start_.history, shared = shared_, request,
                                         stop = stop_](const BrowseWork::Out& out) {
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

    void carryOut(const WriteFolder& request) {
        work_.start(BrowseTask::writing, [folders = folders_, shared = shared_, request](const BrowseWork::Out& out) {
            std::string message;
            Style style = Style::plain;
            try {
                const SavedScan& scan = *folders->scan();
                const bool isReport = request.form == WriteFolder::Form::report;
                const std::string file =
                    isReport ? writeReportFile(shared->session, scan, request.folder, out.cancellation())
                             : writeExportFile(scan, request.folder, out.cancellation());
                if (file.empty()) return;
                message = fmt::format("Written to the current directory: {}", file);
            } catch (const std::exception& error) {
                message = error.what();
                style = Style::bad;
            }
            out.yield([message, style](BrowsePage& page) {
                page.setMessage(message, style);
                return BrowsePage::Outcome{};
            });
        });
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
    static BrowseWork::Answer failure(std::string sentence) {
        return [sentence = std::move(sentence)](BrowsePage& page) {
            page.takeFailure(sentence);
            return BrowsePage::Outcome{};
        };
    }

    // ---- Scans -----------------------------------------------------------------------------------------------------

    void beginScan(const ScanScope& scope) {
        scan_ = std::make_unique<BrowseScan>(scope, session_.settings);
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
        const GenerationProvenance provenance = scan_->provenance();
        scan_.reset();
        if (folders_->scan() == nullptr) {
            show(std::make_shared<const BrowseFolders>(std::make_shared<const SavedScan>(snapshot),
                                                       folders_->sharedEarlier()));
        }
        save(snapshot, provenance);
        return true;
    }

    /// Saves, and goes on with what was saved: of that only what is asked for is in memory.
    void save(const ScanSnapshot& snapshot, const GenerationProvenance& provenance) {
        page_.setMessage("Saving the scan …", Style::quiet);
        work_.start(BrowseTask::saving,
                    [this, history = start_.history, snapshot, provenance, policy = session_.settings.thinning(),
                     failure = savingFailure_](const BrowseWork::Out& out) {
                        try {
                            const Generation saved = history->add(snapshot, provenance);
                            auto kept = std::make_shared<const BrowseFolders>(
                                std::make_shared<const SavedScan>(history->open(saved.number)),
                                scanBefore(*history, saved.scope.root.path(), saved));
                            // What this leaves in is the next scan's to take out.
                            try {
                                (void)history->thin(policy, Date::now());
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

    const Session& session_;
    BrowseStart start_;
    std::shared_ptr<Shared> shared_;
    LiveScreen screen_;
    BrowseWork work_;
    BrowsePage page_;
    std::shared_ptr<const BrowseFolders> folders_;
    std::unique_ptr<BrowseScan> scan_;  ///< while one runs
    CancellationToken stop_;            ///< of what is being done
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
    ScanSaving saving{session, scan.provenance()};
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
    std::optional<BrowseWork::Answers> saving;
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
            isEnded = std::holds_alternative<BrowseWork::Answers::Ended>(saving->next(50ms));
        if (isEnded && !savingFailure->empty()) {
            session.say(whyNotSaved(historyPath(), *savingFailure));
            return ExitCode::failed;
        }
    }
    return Interruption::isRequested() ? ExitCode::interrupted : ExitCode::done;
}

}  // namespace KestrelCLI
