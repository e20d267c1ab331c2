#include "CInterface/Snapshots.hpp"

#include "KestrelCore/Base/EventStream.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Scanning/DiskScanner.hpp"
#include "KestrelCore/Scanning/ExcludePattern.hpp"
#include "KestrelCore/Scanning/ScanOptions.hpp"
#include "KestrelCore/Snapshot/ScanEvent.hpp"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>
#include <variant>
#include <vector>

using namespace KestrelCore;
using namespace KestrelC;

struct kestrel_scan {
    ScanScope scope;
    ScanOptions options = ScanOptions::everything();
    bool keepsFound = false;
    kestrel_scan_callback callback = nullptr;
    void* context = nullptr;
};

namespace {

ScanScope scopeOf(const char* folder) {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::path real = fs::canonical(&needed(folder, "folder"), error);
    if (error) throw std::system_error{error, folder};
    const Text path{real.native()};
    if (path.view() != real.native())
        throw Failure{KESTREL_INVALID_ARGUMENT, "The name is not UTF-8. Scan the folder above it instead."};
    return ScanScope{URL::fromPath(path, fs::is_directory(real, error))};
}

/// Hands what a run tells to the caller, until the caller has enough.
class Listener {
public:
    Listener(const kestrel_scan& scan, const CancellationToken& token) : scan_{scan}, token_{token} {}

    void hear(const ScanStarted& started) { tell(KESTREL_SCAN_STARTED, viewOf(started.scope.root.path()), {}); }
    void hear(const ScanProgressed& progressed) {
        items_ = progressed.progress.filesSeen;
        bytes_ = progressed.progress.allocatedBytesSeen;
        tell(KESTREL_SCAN_PROGRESS, viewOf(progressed.progress.currentPath), {});
    }
    void hear(const ScanIssueFound& found) {
        tell(KESTREL_SCAN_ISSUE, viewOf(found.issue.path), viewOf(found.issue.message));
    }
    void hear(const ScanCompleted& completed) {
        for (const LeftOutItems& each : completed.leftOut) {
            if (each.items == 0) continue;
            items_ = each.items;
            tell(KESTREL_SCAN_LEFT_OUT, {}, viewOf(each.what));
        }
        items_ = 0;
        for (const EnteredFileSystem& each : completed.entered)
            tell(KESTREL_SCAN_ENTERED, viewOf(each.path), viewOf(each.kind));
    }

private:
    void tell(kestrel_scan_event_kind kind, kestrel_text path, kestrel_text message) {
        if (scan_.callback == nullptr || hasEnough_) return;
        const kestrel_scan_event event{
            .kind = kind, .path = path, .message = message, .items = items_, .allocated_bytes = bytes_};
        hasEnough_ = scan_.callback(scan_.context, &event) != 0;
        if (hasEnough_) token_.cancel();
    }

    const kestrel_scan& scan_;
    const CancellationToken& token_;
    std::int64_t items_ = 0;
    std::int64_t bytes_ = 0;
    bool hasEnough_ = false;
};

std::unique_ptr<kestrel_snapshot> run(const kestrel_scan& asked, const kestrel_cancellation* cancellation) {
    // As it is now: who changes the scan meanwhile means later runs.
    const kestrel_scan scan = asked;
    // The run's own, so that a callback that has enough ends nothing else.
    const CancellationToken token;
    const auto fromCaller = tokenOf(cancellation).onCancel([&token] { token.cancel(); });
    if (token.isCancelled()) throwCancelled();

    ScanOptions options = scan.options;
    if (scan.keepsFound) options.keepingFound = token;
    EventStream<ScanEvent> events = DiskScanner{}.scan(scan.scope, options);
    // Wakes the wait below, whatever the file system does. With what was found the walk ends by itself.
    CancellationToken::Registration waking;
    if (!scan.keepsFound) waking = token.onCancel([&events] { events.cancel(); });

    Listener listener{scan, token};
    std::optional<ScanCompleted> result;
    while (auto event = events.next()) {
        if (token.isCancelled() && !scan.keepsFound) throwCancelled();
        std::visit([&listener](const auto& each) { listener.hear(each); }, *event);
        if (auto* completed = std::get_if<ScanCompleted>(&*event)) result = std::move(*completed);
    }
    if (!result || (token.isCancelled() && !scan.keepsFound)) throwCancelled();
    return std::make_unique<kestrel_snapshot>(
        std::move(result->snapshot),
        GenerationProvenance{.isComplete = result->isComplete,
                             .leftOut = options.leftOut(scan.scope),
                             .crossesMounts = options.mounts == ScanOptions::Mounts::entered});
}

}  // namespace

kestrel_code kestrel_scan_new(const char* folder, kestrel_scan** scan, kestrel_error** error) noexcept {
    return making(scan, error, [&] { return std::make_unique<kestrel_scan>(scopeOf(folder)); });
}

kestrel_code kestrel_scan_exclude(kestrel_scan* scan, const char* pattern, size_t length,
                                  kestrel_error** error) noexcept {
    return guarded(error, [&] {
        std::vector<ExcludePattern>& excluded = needed(scan, "scan").options.exclude;
        const std::string_view bytes = bytesOf(pattern, length, "pattern");
        try {
            excluded.push_back(ExcludePattern::parse(bytes));
        } catch (const KestrelError& mistake) {
            throw Failure{KESTREL_INVALID_ARGUMENT, mistake.what()};
        }
    });
}

kestrel_code kestrel_scan_set(kestrel_scan* scan, kestrel_scan_option option, bool is_on,
                              kestrel_error** error) noexcept {
    return guarded(error, [&] {
        ScanOptions& options = needed(scan, "scan").options;
        switch (option) {
        case KESTREL_SCAN_ENTERS_MOUNTS:
            options.mounts = is_on ? ScanOptions::Mounts::entered : ScanOptions::Mounts::leftOut;
            break;
        case KESTREL_SCAN_LEAVES_OUT_CACHES:
            options.cacheFolders = is_on ? ScanOptions::CacheFolders::leftOut : ScanOptions::CacheFolders::takenIn;
            break;
        case KESTREL_SCAN_KEEPS_FOUND: scan->keepsFound = is_on; break;
        default: throw Failure{KESTREL_INVALID_ARGUMENT, "There is no such option of a scan."};
        }
    });
}

kestrel_code kestrel_scan_set_callback(kestrel_scan* scan, kestrel_scan_callback callback, void* context,
                                       kestrel_error** error) noexcept {
    return guarded(error, [&] {
        needed(scan, "scan").callback = callback;
        scan->context = context;
    });
}

kestrel_code kestrel_scan_run(const kestrel_scan* scan, const kestrel_cancellation* cancellation,
                              kestrel_snapshot** snapshot, kestrel_error** error) noexcept {
    return making(snapshot, error, [&] { return run(needed(scan, "scan"), cancellation); });
}

void kestrel_scan_free(kestrel_scan* scan) noexcept { delete scan; }
