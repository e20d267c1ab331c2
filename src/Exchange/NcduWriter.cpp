#include "Exchange/ExportWriter.hpp"
#include "KestrelCore/KestrelCore.hpp"
#include "JSON/JSONFormat.hpp"

#include <cmath>
#include <limits>
#include <optional>
#include <unordered_map>

// ncdu's format has one array for each folder: an object that tells of the folder itself, then objects and arrays for
// what it holds, each with its own sizes only. Whoever reads it adds up, and counts of all objects with "hlnkc" and one
// "ino" on one "dev" one.
//
//     [1,2,{"progname":…},
//     [{"name":"/srv","asize":4096,"dsize":4096,"dev":2},
//     {"name":"a","asize":3,"dsize":4096,"ino":7,"hlnkc":true},
//     [{"name":"sub","asize":4096,"dsize":4096}]]]
//
// So that its sums are those of the scan, a folder's own "dsize" has in it what the scan did not list by itself, and a
// link that counts for a name outside of what is written has none.

namespace KestrelCore {

namespace {

class NcduWriter final : public ExportWriter {
public:
    NcduWriter(const ExportedScan& scan, const ExportedLinks& links, PackingSink& sink)
        : scan_{scan}, links_{links}, out_{sink}, trail_{scan.path} {
        for (const ScanIssue& issue : scan.issues) {
            const std::string_view path = issue.path.view();
            const std::size_t slash = path.rfind('/');
            if (slash == std::string_view::npos || path == scan.path.view()) continue;
            unread_[std::string{path.substr(0, slash)}].emplace(std::string{path.substr(slash + 1)}, false);
        }
        std::string& text = out_.text();
        text += R"([1,2,{"progname":"kestrel","progver":)";
        appendJSONString(text, reinterpret_cast<const char*>(KestrelCoreVersionString));
        text += R"(,"timestamp":)";
        JSONFormat::appendInteger(text, wholeSeconds(scan.completedAt).value_or(0));
        text += '}';
    }

    void beginFolder(const WalkedItem& folder) override {
        const bool isTop = trail_.depth() == 0;
        const bool isUnread = isTop ? hasIssueItself() : noteSeen(folder.name);
        std::string& text = out_.text();
        text += ",\n[";
        const std::uint64_t device = deviceOf(folder);
        begin(isTop ? scan_.path.view() : folder.name, folder.row.logicalBytes,
              folder.row.allocatedBytes + folder.foldedBytes, folder.row);
        device_ = device;
        devices_.push_back(device);
        if (isUnread) text += R"(,"read_error":true)";
        text += '}';
        trail_.enter(folder.name);
        waiting_ = unread_.empty() ? nullptr : find(trail_.prefix());
        out_.handOn();
    }

    void endFolder() override {
        // What could not be read is no record of the scan.
        if (!unread_.empty()) {
            if (const Names* names = find(trail_.prefix())) {
                for (const auto& [name, wasSeen] : *names) {
                    if (wasSeen || name.empty()) continue;
                    out_.text() += ",\n{\"name\":";
                    appendJSONString(out_.text(), name);
                    out_.text() += R"(,"read_error":true})";
                }
            }
        }
        out_.text() += ']';
        trail_.leave();
        devices_.pop_back();
        device_ = devices_.empty() ? 0 : devices_.back();
        waiting_ = unread_.empty() || devices_.empty() ? nullptr : find(trail_.prefix());
        out_.handOn();
    }

    void item(const WalkedItem& item) override {
        const bool isUnread = noteSeen(item.name);
        const ExportedLinks::Kind link = links_.kindOf(item);
        std::string& text = out_.text();
        text += ",\n";
        (void)deviceOf(item);
        begin(item.name, item.row.logicalBytes, link == ExportedLinks::Kind::countedElse ? 0 : item.row.allocatedBytes,
              item.row);
        if (link == ExportedLinks::Kind::shared) {
            text += R"(,"ino":)";
            JSONFormat::appendInteger(text, item.identity->inode);
            text += R"(,"hlnkc":true)";
        }
        if (item.row.kind() != FileKind::file) text += R"(,"notreg":true)";
        if (isUnread) text += R"(,"read_error":true)";
        text += '}';
        out_.handOn();
    }

    void finish() override {
        out_.text() += "]\n";
        out_.flush();
    }

private:
    using Names = std::unordered_map<std::string, bool>;  ///< and whether a record has it

    static std::optional<std::int64_t> wholeSeconds(Date date) {
        const double seconds = std::floor(date.secondsSince1970());
        if (!(seconds >= 0 && seconds < static_cast<double>(std::numeric_limits<std::int64_t>::max()))) return {};
        return static_cast<std::int64_t>(seconds);
    }

    Names* find(const std::string& folder) {
        const auto found = unread_.find(folder);
        return found == unread_.end() ? nullptr : &found->second;
    }
    /// Whether there was an issue with the item of this name in the folder at hand.
    bool noteSeen(std::string_view name) {
        if (waiting_ == nullptr) return false;
        const auto found = waiting_->find(std::string{name});
        return found != waiting_->end() && (found->second = true);
    }
    bool hasIssueItself() const {
        for (const ScanIssue& issue : scan_.issues) {
            if (issue.path == scan_.path) return true;
        }
        return false;
    }

    /// Of an item without one that of its folder.
    std::uint64_t deviceOf(const WalkedItem& item) {
        const std::uint64_t device = item.identity ? item.identity->device : device_;
        isOtherDevice_ = device != device_;
        written_ = device;
        return device;
    }

    void begin(std::string_view name, std::int64_t logical, std::int64_t allocated, const RecordStorage::Row& row) {
        std::string& text = out_.text();
        text += R"({"name":)";
        appendJSONString(text, name);
        const auto number = [&](std::string_view key, std::int64_t value) {
            if (value <= 0) return;
            text += key;
            JSONFormat::appendInteger(text, value);
        };
        number(R"(,"asize":)", logical);
        number(R"(,"dsize":)", allocated);
        if (isOtherDevice_) {
            text += R"(,"dev":)";
            JSONFormat::appendInteger(text, written_);
        }
        if (row.hasModified == 0) return;
        if (const auto seconds = wholeSeconds(Date{row.modifiedAt})) {
            text += R"(,"mtime":)";
            JSONFormat::appendInteger(text, *seconds);
        }
    }

    const ExportedScan& scan_;
    const ExportedLinks& links_;
    ExportText out_;
    PathTrail trail_;
    std::unordered_map<std::string, Names> unread_;  ///< by the folder's prefix
    Names* waiting_ = nullptr;                       ///< of the folder at hand
    std::vector<std::uint64_t> devices_;             ///< of the open folders
    std::uint64_t device_ = 0;                       ///< of the folder at hand
    std::uint64_t written_ = 0;
    bool isOtherDevice_ = false;
};

}  // namespace

std::unique_ptr<ExportWriter> ExportWriter::ncdu(const ExportedScan& scan, const ExportedLinks& links,
                                                 PackingSink& sink) {
    return std::make_unique<NcduWriter>(scan, links, sink);
}

}  // namespace KestrelCore
