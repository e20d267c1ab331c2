#include "KestrelCore/Libraries/DocumentLibraryIndexer.hpp"
#include "KestrelCore/Libraries/MediaLibraryIndexer.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Model/ScanSnapshot.hpp"
#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"
#include "support/SampleSnapshots.hpp"
#include "support/StoreFiles.hpp"

#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace KestrelCore {

namespace {

/// Runs `checks` in a process that is given no thread more; what it returns is empty when all is well.
template <typename Checks>
std::string withoutThreads(const Checks& checks) {
    int ends[2];
    if (::pipe(ends) != 0) return "no pipe";
    const pid_t child = ::fork();
    if (child == 0) {
        constexpr uid_t nobody = 65534;  // whom limits hold for
        const rlimit none{0, 0};
        std::string result;
        if (::geteuid() == 0 && ::setresuid(nobody, nobody, nobody) != 0) result = "still root";
        if (::setrlimit(RLIMIT_NPROC, &none) != 0) result = "no limit";
        try {
            std::thread{[] {}}.join();
            result = "a thread was given all the same";
        } catch (const std::system_error&) {
            if (result.empty()) result = checks();
        }
        const bool isTold = ::write(ends[1], result.data(), result.size()) == static_cast<ssize_t>(result.size());
        ::_exit(isTold ? 0 : 1);
    }
    ::close(ends[1]);
    std::string told;
    char buffer[256];
    for (ssize_t got = 0; (got = ::read(ends[0], buffer, sizeof buffer)) > 0;) {
        told.append(buffer, static_cast<std::size_t>(got));
    }
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    return status == 0 ? told : told + " (ended with status " + std::to_string(status) + ")";
}

}  // namespace

TEST(WithoutThreads, aSnapshotAnswersAllTheSame) {
    constexpr std::size_t records = 60'000;
    const std::string problem = withoutThreads([] {
        const ScanSnapshot snapshot = sampleSnapshot(records, 1);
        if (!snapshot.record(snapshot.records()[records / 2].path())) return "record(at:)";
        if (snapshot.children(snapshot.scope().root.path()).empty()) return "children(of:)";
        if (snapshot.encodedJSON().size() < records) return "encodedJSON";
        (void)MediaLibraryIndexer::makeIndex(snapshot, "/home/someone");
        if (DocumentLibraryIndexer::makeIndex(snapshot, "/home/someone").documents.empty()) return "documents";
        if (snapshot.search(SearchQuery{"a"}, 100).empty()) return "search";
        return "";
    });
    EXPECT_EQ(problem, "");
}

TEST(WithoutThreads, theStoreSaysWhatIsMissing) {
    const StoreFiles files;
    std::filesystem::permissions(files.folder(), std::filesystem::perms::all);
    const std::string problem = withoutThreads([&]() -> std::string {
        SQLiteSnapshotStore store{files.url()};
        try {
            store.replace(sampleSnapshot(10, 1));
            return "saved";
        } catch (const KestrelError& error) {
            return error == KestrelError::unavailable(std::strerror(EAGAIN)) ? "" : error.errorDescription().string();
        }
    });
    EXPECT_EQ(problem, "");
}

}  // namespace KestrelCore
