#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Reclaim/DuplicateGroup.hpp"
#include "KestrelCore/Reclaim/DuplicateOptions.hpp"
#include "Reclaim/ContentDigest.hpp"
#include "Reclaim/DuplicateCandidates.hpp"
#include "Reclaim/DuplicateReading.hpp"
#include "Snapshot/RecordStorage.hpp"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCore {

/// The work of `DuplicateFinder`: candidates are read in passes, of which each leaves fewer. For one thread, on which
/// it uses others.
class DuplicateSearch {
public:
    using Sink = std::function<void(const DuplicateProgress&)>;
    /// What a digest is replaced by: for tests, which can make no two contents that have the same.
    using DigestChange = ContentDigest (*)(const ContentDigest&);

    /// All of these must outlive it. `onProgress` is called from any thread, one at a time.
    DuplicateSearch(const RecordStorage& storage, const DuplicateOptions& options,
                    const CancellationToken& cancellation, Sink onProgress, DigestChange digestChange = nullptr);

    /// Empty when it was cancelled.
    [[nodiscard]] std::optional<DuplicateReport> run(const Text& folder);

private:
    enum class Pass : std::uint8_t { ends, contents, extents };
    struct Queue;

    /// Reads these files, whose numbers are those of the candidates.
    void read(std::vector<std::uint32_t> files, Pass pass);
    void readOne(std::uint32_t file, Pass pass, const Queue& queue, ContentDigester& digester, std::string& path);
    [[nodiscard]] std::vector<Queue> queues(std::vector<std::uint32_t> files, Pass pass);
    /// Those that have an equal in length and digest, equal ones together.
    [[nodiscard]] std::vector<std::uint32_t> withEquals(std::vector<std::uint32_t> files) const;
    [[nodiscard]] bool areEqual(std::uint32_t a, std::uint32_t b) const;
    void noteIssue(std::uint32_t file, const std::string& path, const Text& message);
    void tell(const std::string& path, bool isForced = false);

    const RecordStorage& storage_;
    const DuplicateOptions& options_;
    const CancellationToken& cancellation_;
    Sink onProgress_;
    DigestChange digestChange_;
    DuplicateCandidates candidates_;
    std::vector<DuplicateReading> readings_;  ///< one for each candidate; a thread writes those of its files only

    std::mutex mutex_;
    DuplicateReport report_;  ///< its issues under the lock
    std::chrono::steady_clock::time_point lastTold_;
    Pass pass_ = Pass::ends;
    std::int64_t filesInPass_ = 0;
    std::int64_t bytesToRead_ = 0;
    std::atomic<std::int64_t> filesDone_ = 0;
    std::atomic<std::int64_t> bytesRead_ = 0;
    std::atomic<std::int64_t> contentBytesRead_ = 0;
};

}  // namespace KestrelCore
