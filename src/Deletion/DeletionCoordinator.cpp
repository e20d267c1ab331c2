#include "KestrelCore/Deletion/DeletionCoordinator.hpp"

#include "Base/SerialExecutor.hpp"
#include "Deletion/DeletionGate.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "Platform/InterruptedRemovals.hpp"
#include "Platform/Vocabulary.hpp"

#include <cerrno>
#include <string>
#include <unordered_map>
#include <utility>

namespace KestrelCore {

namespace {

constexpr const char* sourceFile = "KestrelCore/SafetyPolicy";
/// How the file manager's error begins to tell that a removal stopped half-way; it tells so last.
constexpr std::string_view partlyRemovedBeginning = "Some of its contents were removed;";

bool isRefusalOfPermission(int code) {
    return code == EPERM || code == EACCES || code == PlatformError::fileWriteNoPermission;
}

bool isApplication(const FileRecord& record) {
    return record.kind() == FileKind::package || record.path().view().starts_with("/Applications/");
}

}  // namespace

std::string_view rawValue(DeletionMode mode) { return mode == DeletionMode::trash ? "trash" : "permanent"; }

template <>
std::optional<DeletionMode> fromRawValue<DeletionMode>(std::string_view rawValue) {
    if (rawValue == "trash") return DeletionMode::trash;
    if (rawValue == "permanent") return DeletionMode::permanent;
    return std::nullopt;
}

struct DeletionCoordinator::State {
    std::shared_ptr<FileManager> fileManager;
    std::vector<ProtectedPlace> protectedPlaces;
    SerialExecutor executor;
};

/// The work on one request.
class DeletionCoordinator::Run {
public:
    Run(const State& state, const DeletionRequest& request, const CancellationToken& cancellation)
        : state_{state}, request_{request}, cancellation_{cancellation}, gate_{state.protectedPlaces} {
        state_.fileManager->beginRequest();
    }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;
    ~Run() { state_.fileManager->endRequest(); }

    DeletionItemResult remove(const FileRecord& record) {
        state_.executor.assertIsolated(sourceFile);
        DeletionItemResult result{.id = record.id(), .path = record.path(), .resultingPath = {}, .message = {}};
        std::string leftover;
        try {
            if (request_.lastLook) {
                if (auto objection = request_.lastLook(record)) {
                    result.message = std::move(*objection);
                    return result;
                }
            }
            const ExpectedItem expected = gate_.validated(record);
            // Only now: a refusal says what the policy says, and nothing is looked at for its sake.
            leftover = leftoverSentence(record);
            if (request_.mode == DeletionMode::permanent) {
                const auto remark = state_.fileManager->removeItem(record.url(), expected, cancellation_);
                result.message = withRemark("Permanently removed.", remark);
            } else {
                if (const auto place = state_.fileManager->trashItem(record.url(), expected, cancellation_))
                    result.resultingPath = place->path();
                result.message = "Moved to Trash. Space is reclaimed after Trash is emptied.";
            }
            result.succeeded = true;
        } catch (const PlatformError& error) {
            const bool isRefused = isRefusalOfPermission(error.code()) ||
                                   (error.underlying() != nullptr && isRefusalOfPermission(error.underlying()->code()));
            result.message = message(record, isRefused, error.description());
        } catch (const KestrelError& error) {
            result.errorCase = error.errorCase();
            result.message =
                message(record, error.errorCase() == KestrelError::Case::accessDenied, error.errorDescription());
        } catch (const std::exception& error) {
            result.message = error.what();
        }
        if (!leftover.empty()) result.message = Text::concatenating({result.message.view(), " ", leftover});
        return result;
    }

private:
    static Text withRemark(const Text& message, const std::optional<Text>& remark) {
        return remark ? Text::concatenating({message.view(), " ", remark->view()}) : message;
    }

    static Text message(const FileRecord& record, bool isRefused, const Text& description) {
        if (!isRefused || !isApplication(record)) return description;
        // The half of an application that is gone must be told whatever stopped the rest.
        const std::size_t half = description.view().find(partlyRemovedBeginning);
        const Text& refusal = systemVocabulary().refusedApplication;
        if (half == std::string_view::npos) return refusal;
        return Text::concatenating({refusal.view(), " ", description.view().substr(half)});
    }

    /// Names what a removal that was interrupted left in the record's folder; empty when there is nothing.
    std::string leftoverSentence(const FileRecord& record) {
        if (request_.mode != DeletionMode::permanent) return {};
        const Text folder = Path::deletingLastComponent(record.path());
        const auto [entry, isNew] = leftovers_.try_emplace(folder);
        InterruptedRemovals& found = entry->second;
        if (isNew) found = InterruptedRemovals::in(folder);
        std::size_t others = found.count;
        std::string names;
        for (const Text& name : found.names) {
            --others;
            if (name != Path::lastComponent(record.path()))
                names += (names.empty() ? "“" : ", “") + name.string() + "”";
        }
        if (names.empty()) return names;
        if (others > 0) names += " and " + std::to_string(others) + " more";
        return "An earlier removal was interrupted and left " + names + " in the same folder.";
    }

    const State& state_;
    const DeletionRequest& request_;
    const CancellationToken& cancellation_;
    DeletionGate gate_;
    std::unordered_map<Text, InterruptedRemovals> leftovers_;  ///< by folder, looked up once
};

DeletionCoordinator::DeletionCoordinator(std::shared_ptr<FileManager> fileManager,
                                         std::vector<ProtectedPlace> protectedPlaces)
    : state_{std::make_unique<State>()} {
    state_->fileManager = std::move(fileManager);
    state_->protectedPlaces = std::move(protectedPlaces);
}

DeletionCoordinator::~DeletionCoordinator() = default;

std::vector<DeletionItemResult> DeletionCoordinator::execute(const DeletionRequest& request) {
    return execute(request, [](const DeletionItemResult&) { return true; });
}

std::vector<DeletionItemResult> DeletionCoordinator::execute(const DeletionRequest& request,
                                                             const ResultObserver& onResult,
                                                             const CancellationToken& cancellation) {
    return state_->executor.run([&] {
        const bool isConfirmed = request.mode != DeletionMode::permanent ||
                                 (request.typedConfirmation && request.typedConfirmation->view() == "DELETE");
        std::vector<DeletionItemResult> results;
        results.reserve(request.records.size());
        Run run{*state_, request, cancellation};
        for (const FileRecord& record : request.records) {
            if (cancellation.isCancelled()) break;
            results.push_back(isConfirmed ? run.remove(record)
                                          : DeletionItemResult{.id = record.id(),
                                                               .path = record.path(),
                                                               .resultingPath = {},
                                                               .message = "Type DELETE to confirm permanent removal."});
            if (!onResult(results.back())) break;
        }
        return results;
    });
}

}  // namespace KestrelCore
