#include "Snapshot/Search/NaiveSearch.hpp"
#include "Snapshot/Search/SearchGenerators.hpp"
#include "Snapshot/Search/SearchRecords.hpp"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <string>

namespace KestrelCore::testing {

namespace {

Found pairs(const std::vector<std::pair<FileRecord, std::int64_t>>& results) {
    Found found;
    for (const auto& [record, score] : results) found.emplace_back(record.path().string(), score);
    return found;
}

}  // namespace

RC_GTEST_PROP(SnapshotSearch, findsWhatThePlainReadingOfTheRulesFinds, ()) {
    std::vector<std::string> folders = {"", "/Users/anna", "/a", "/a/b", "/Users/été", "/x/Développeur"};
    std::vector<SearchedRecord> searched;
    const int count = *rc::gen::inRange(1, 40);
    for (int i = 0; i < count; ++i) searched.push_back(aSearchedRecord(folders));
    const ScanSnapshot snapshot = snapshotOf(searched);
    const std::vector<FileRecord> records{snapshot.records().begin(), snapshot.records().end()};
    for (int i = 0; i < 30; ++i) {
        const SearchQuery asked = aSearchQuery(searched);
        const std::int64_t limit = *rc::gen::elementOf(std::vector<std::int64_t>{1, 2, 5, 100, INT64_MAX});
        RC_LOG() << "query: " << asked.text.view() << "\n";
        const Found expected = pairs(naiveSearch(records, asked, limit, searchTime));
        RC_ASSERT(found(snapshot, asked, limit, {.cancellation = {}, .now = searchTime, .threads = 0}) == expected);
    }
}

}  // namespace KestrelCore::testing
