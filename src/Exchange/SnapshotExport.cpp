#include "KestrelCore/Exchange/SnapshotExport.hpp"

#include "Exchange/ExportWriter.hpp"
#include "KestrelCore/Base/Path.hpp"
#include "Platform/HostName.hpp"
#include "Snapshot/SnapshotAccess.hpp"
#include "Storage/GenerationAccess.hpp"
#include "Storage/History/GenerationWalk.hpp"
#include "Storage/History/OpenGeneration.hpp"

#include <memory>
#include <utility>

namespace KestrelCore {

namespace {

class Cancelled {};

/// Counts what goes to a writer, and looks whether somebody wants to stop.
class Counting final : public TreeVisitor {
public:
    Counting(ExportWriter& writer, const CancellationToken& cancellation)
        : writer_{writer}, cancellation_{cancellation} {}

    void beginFolder(const WalkedItem& folder) override {
        if (result_.records == 0) result_.totalAllocatedBytes = folder.row.displayBytes();
        count();
        writer_.beginFolder(folder);
    }
    void endFolder() override { writer_.endFolder(); }
    void item(const WalkedItem& item) override {
        count();
        writer_.item(item);
    }
    [[nodiscard]] const ExportResult& result() const { return result_; }

private:
    static constexpr std::int64_t itemsPerLook = 4096;

    void count() {
        if (++result_.records % itemsPerLook == 0 && cancellation_.isCancelled()) throw Cancelled{};
    }

    ExportWriter& writer_;
    const CancellationToken& cancellation_;
    ExportResult result_;
};

std::optional<ExportResult> written(WalkedTree& tree, ExportedScan scan, std::vector<ScanIssue> issues,
                                    const ByteSink& sink, const ExportOptions& options) {
    for (ScanIssue& issue : issues) {
        if (issue.path == scan.path || scan.path == Text{"/"} || Path::isBeneath(issue.path, scan.path))
            scan.issues.push_back(std::move(issue));
    }
    const auto packing = PackingSink::make(options.packing, sink);
    const auto write = [&](ExportWriter& writer) -> std::optional<ExportResult> {
        Counting visitor{writer, options.cancellation};
        if (!walkTree(tree, scan.path, visitor)) return std::nullopt;
        writer.finish();
        packing->finish();
        return visitor.result();
    };
    try {
        switch (options.format) {
        case ExchangeFormat::lines: return write(*ExportWriter::lines(scan, *packing));
        case ExchangeFormat::csv: return write(*ExportWriter::table(scan, *packing));
        case ExchangeFormat::ncdu: break;
        }
        const ExportedLinks links{tree, tree.find(scan.path)};
        return write(*ExportWriter::ncdu(scan, links, *packing));
    } catch (const Cancelled&) {
        return std::nullopt;
    }
}

}  // namespace

std::optional<ExportResult> exportFolder(const GenerationReader& scan, const Text& path, const ByteSink& sink,
                                         const ExportOptions& options) {
    const Generation& generation = scan.generation();
    const OpenGeneration& open = GenerationAccess::open(scan);
    const auto tree = walkedTree(open);
    ExportedScan about;
    about.path = path;
    about.startedAt = generation.startedAt;
    about.completedAt = generation.completedAt;
    about.isComplete = generation.isComplete;
    about.leftOut = generation.leftOut;
    about.host = generation.source.name ? generation.source.host : HostName::current();
    return written(*tree, std::move(about), open.issues(), sink, options);
}

std::optional<ExportResult> exportFolder(const ScanSnapshot& scan, const Text& path, const ByteSink& sink,
                                         const ExportOptions& options) {
    const auto tree = walkedTree(SnapshotAccess::storage(scan));
    ExportedScan about;
    about.path = path;
    about.startedAt = scan.startedAt();
    about.completedAt = scan.completedAt();
    return written(*tree, std::move(about), scan.issues(), sink, options);
}

}  // namespace KestrelCore
