#pragma once

#include "terminal/browse/BrowseModel.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Deletion/DeletionCoordinator.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Model/SearchExplanation.hpp"
#include "KestrelCore/Model/SearchFilter.hpp"
#include "KestrelCore/Snapshot/Summary.hpp"

#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace KestrelCLI {

// What the page wants done that it can't do itself: a page is a value and touches no disk.

/// Read a folder of the scan.
struct ReadFolder {
    KestrelCore::Text path;
};
/// Read what a folder's picture shows: its items, and what is in the largest of them. A later one overtakes it.
struct ReadPicture {
    std::shared_ptr<const BrowseFolder> folder;
};
/// Find what lies below a folder. A later one overtakes it.
struct FindBelow {
    KestrelCore::Text folder;
    std::string words;  ///< in the language of searches
    KestrelCore::SearchFilter filter;
    KestrelCore::SearchOrder order = KestrelCore::SearchOrder::score;
    KestrelCore::Text rule{};  ///< of suggestions, whose items are listed in place of a search; empty: none
    std::uint64_t number = 0;  ///< tells its answer from those of others
};
/// Add up what lies below a folder, group by group. A later one overtakes it.
struct Summarise {
    KestrelCore::Text folder;
    KestrelCore::SummaryGrouping grouping = KestrelCore::SummaryGrouping::type;
    std::uint64_t number = 0;  ///< tells its answer from those of others
};
/// Tell what may go below a folder. A later one overtakes it.
struct Suggest {
    KestrelCore::Text folder;
    std::uint64_t number = 0;  ///< tells its answer from those of others
};
/// Measure what would come free if all marked items went.
struct MeasureMarks {
    std::vector<KestrelCore::Text> paths;
    std::uint64_t version = 0;  ///< of the marks
};
/// Judge what would happen to items, without touching any.
struct PlanDeletion {
    std::vector<KestrelCore::FileRecord> items;  ///< as they were shown
    KestrelCore::DeletionMode mode = KestrelCore::DeletionMode::trash;
    bool includesHighRisk = false;
};
/// Do what was planned last, which the person has seen and agreed to.
struct CarryOutPlan {
    std::string typed;  ///< the word that a removal for good asks for
};
/// Stop what is being done, between two items or within one.
struct StopAction {};
/// See what was moved to the Trash last and is still there.
struct LookForTrashed {};
/// Put that back, which the person was asked about.
struct PutBack {
    KestrelCore::Text request;  ///< tells it from what is moved there meanwhile
};
struct ScanAgain {};
/// Write a folder into a file of its own in the current directory.
struct WriteFolder {
    enum class Form {
        report,  ///< a page for browsers
        ncdu     ///< for ncdu, gdu, and `kestrel import`
    };
    KestrelCore::Text folder;
    Form form = Form::report;
};
struct CopyPath {
    KestrelCore::Text path;
};
struct OpenShell {
    KestrelCore::Text folder;
};

using BrowseRequest =
    std::variant<ReadFolder, ReadPicture, FindBelow, Summarise, Suggest, MeasureMarks, PlanDeletion, CarryOutPlan,
                 StopAction, LookForTrashed, PutBack, ScanAgain, WriteFolder, CopyPath, OpenShell>;

}  // namespace KestrelCLI
