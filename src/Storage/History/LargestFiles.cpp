#include "Storage/History/LargestFiles.hpp"

#include "Base/Parallel.hpp"
#include "Storage/History/ChunkColumns.hpp"

#include <algorithm>
#include <atomic>
#include <functional>
#include <limits>

// Each thread keeps the sizes of the largest files that it has met so far, the least of them at hand. Whatever is
// smaller than that is only counted; so of a million files some thousand are noted, and the least size of all threads
// together says at the end which of these were worth it.

namespace KestrelCore {

namespace {

using Row = RecordStorage::Row;

/// A sum that stays at the largest number rather than pass it.
std::int64_t saturatingSum(std::int64_t a, std::int64_t b) {
    std::int64_t sum = 0;
    return __builtin_add_overflow(a, b, &sum) ? std::numeric_limits<std::int64_t>::max() : sum;
}

struct Candidate {
    std::int64_t bytes;
    std::uint32_t position;
    bool isFurtherLink;
};

class Worker {
public:
    explicit Worker(std::size_t count) : count_{count} {}

    void add(const Row& row, std::uint32_t position) {
        const Candidate candidate{
            .bytes = row.displayBytes(), .position = position, .isFurtherLink = row.isHardLinkDuplicate != 0};
        if (largest_.size() == count_ && candidate.bytes < largest_.front()) return leaveOut(candidate);
        candidates_.push_back(candidate);
        if (largest_.size() == count_ && candidate.bytes == largest_.front()) return;
        largest_.push_back(candidate.bytes);
        std::ranges::push_heap(largest_, std::greater{});
        if (largest_.size() <= count_) return;
        std::ranges::pop_heap(largest_, std::greater{});
        largest_.pop_back();
    }

    /// Sizes of the largest files, in no order.
    [[nodiscard]] const std::vector<std::int64_t>& largest() const { return largest_; }

    /// Hands over what is at least so large, and counts the rest.
    void finish(std::int64_t least, LargestFiles& result) {
        for (const Candidate& candidate : candidates_) {
            if (candidate.bytes < least) {
                leaveOut(candidate);
            } else {
                result.positions.push_back(candidate.position);
            }
        }
        result.otherFiles += otherFiles_;
        result.otherBytes = saturatingSum(result.otherBytes, otherBytes_);
    }

private:
    void leaveOut(const Candidate& candidate) {
        ++otherFiles_;
        if (!candidate.isFurtherLink) otherBytes_ = saturatingSum(otherBytes_, candidate.bytes);
    }

    std::size_t count_;
    std::vector<std::int64_t> largest_;  ///< a heap, the least on top
    std::vector<Candidate> candidates_;
    std::int64_t otherFiles_ = 0;
    std::int64_t otherBytes_ = 0;
};

}  // namespace

LargestFiles LargestFiles::of(const StreamView& files, const std::vector<StreamView::ChunkUse>& chunks,
                              const FolderTable& table, const std::vector<RecordStorage::FolderIndex>& folderOf,
                              const RecordMaker& maker, const RecordSelection& selection, unsigned threads) {
    const RecordSelection::Largest wanted = selection.largest().value_or(RecordSelection::Largest{});
    const HistoryFields fields = RecordMaker::fieldsOfSize | bit(HistoryField::extension) |
                                 (wanted.asksForDates ? bit(HistoryField::seconds) | bit(HistoryField::fraction) : 0);
    std::vector<Worker> workers(threads, Worker{wanted.count});
    std::atomic<std::size_t> next = 0;
    onThreads(threads, [&](unsigned thread) {
        ChunkColumns columns{files, fields};
        for (std::size_t at = next++; at < chunks.size() && !selection.isGivenUp(); at = next++) {
            columns.open(chunks[at].layer, chunks[at].chunk);
            for (const StreamView::Span& span : chunks[at].spans) {
                std::uint32_t folder = table.folderOf(span.position);
                Row named{};
                bool isWanted = false;
                std::uint32_t end = span.position;  // of what lies in that folder
                for (std::uint32_t done = 0; done < span.count;) {
                    const ChunkColumns::Rows rows = columns.at(span.row + done);
                    const std::uint32_t count = std::min(rows.count, span.count - done);
                    for (std::uint32_t i = 0; i < count; ++i) {
                        const std::uint32_t position = span.position + done + i;
                        if (position >= end) {
                            while (table.endOfFiles(folder) <= position) ++folder;
                            end = table.endOfFiles(folder);
                            named = RecordStorage::regularRow(folderOf[folder], 0, 0, true, true);
                            isWanted = selection.mayTake(named);
                        }
                        if (!isWanted) continue;
                        Row row = named;
                        if (!maker.setComparedValues(row, *rows.columns, rows.first + i))
                            throwDamaged(files.generationOf(chunks[at].layer));
                        if (selection.takes(row)) workers[thread].add(row, position);
                    }
                    done += count;
                }
            }
        }
    });
    std::vector<std::int64_t> largest;
    for (const Worker& worker : workers)
        largest.insert(largest.end(), worker.largest().begin(), worker.largest().end());
    std::int64_t least = std::numeric_limits<std::int64_t>::min();
    if (largest.size() >= wanted.count && wanted.count > 0) {
        const auto last = largest.begin() + static_cast<std::ptrdiff_t>(wanted.count - 1);
        std::ranges::nth_element(largest, last, std::greater{});
        least = *last;
    }
    LargestFiles result;
    for (Worker& worker : workers) worker.finish(least, result);
    std::ranges::sort(result.positions);
    return result;
}

}  // namespace KestrelCore
