#pragma once

#include "Exchange/PackedStreams.hpp"
#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/FileIdentity.hpp"
#include "KestrelCore/Model/ScanIssue.hpp"
#include "Snapshot/WalkedTree.hpp"

#include <boost/unordered/unordered_flat_map.hpp>
#include <boost/unordered/unordered_flat_set.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// What an export says of the scan as a whole.
struct ExportedScan {
    Text path;  ///< the folder that is written
    Date startedAt;
    Date completedAt;
    bool isComplete = true;
    std::vector<Text> leftOut;
    std::optional<Text> host;
    std::vector<ScanIssue> issues;  ///< of what lies in the folder
};

/// The files of an export that have several names: of each the number of its device, and whether the name that counts
/// is among what is written.
class ExportedLinks {
public:
    /// Looks at all files of the folder `top` twice, where there are any links.
    ExportedLinks(WalkedTree& tree, std::uint32_t top);

    /// What becomes of a link where each inode counts once, whichever name comes first.
    enum class Kind {
        none,         ///< no further link of the export is known
        shared,       ///< one of several that count once together
        countedElse,  ///< counts where it is not written, and for nothing here
    };
    [[nodiscard]] Kind kindOf(const WalkedItem& item) const;

private:
    struct IdentityHash {
        std::size_t operator()(const FileIdentity& identity) const;
    };
    boost::unordered_flat_map<FileIdentity, bool, IdentityHash> isCounted_;
};

/// Text on its way out, handed on some KiB at a time.
class ExportText {
public:
    explicit ExportText(PackingSink& sink) : sink_{sink} {}

    [[nodiscard]] std::string& text() { return text_; }
    void handOn() {
        if (text_.size() >= enough) flush();
    }
    void flush() {
        sink_.write(text_);
        text_.clear();
    }

private:
    static constexpr std::size_t enough = std::size_t{1} << 16;

    PackingSink& sink_;
    std::string text_;
};

/// The folder that a walk is in, as its path.
class PathTrail {
public:
    explicit PathTrail(const Text& top) : path_{top == Text{"/"} ? "" : top.string()}, isEmpty_{true} {}

    void enter(std::string_view name) {
        lengths_.push_back(path_.size());
        if (!isEmpty_) (path_ += '/') += name;
        isEmpty_ = false;
    }
    void leave() {
        path_.resize(lengths_.back());
        lengths_.pop_back();
    }
    /// "" of "/".
    [[nodiscard]] const std::string& prefix() const { return path_; }
    [[nodiscard]] std::string_view path() const { return path_.empty() ? std::string_view{"/"} : path_; }
    [[nodiscard]] std::size_t depth() const { return lengths_.size(); }

private:
    std::string path_;
    std::vector<std::size_t> lengths_;
    bool isEmpty_;
};

/// A visitor that writes what it gets; `finish` comes after the walk.
class ExportWriter : public TreeVisitor {
public:
    virtual void finish() = 0;

    // Both arguments must outlive it, and so must `links`.
    [[nodiscard]] static std::unique_ptr<ExportWriter> ncdu(const ExportedScan& scan, const ExportedLinks& links,
                                                            PackingSink& sink);
    [[nodiscard]] static std::unique_ptr<ExportWriter> lines(const ExportedScan& scan, PackingSink& sink);
    [[nodiscard]] static std::unique_ptr<ExportWriter> table(const ExportedScan& scan, PackingSink& sink);
};

/// The kinds' names in `lines` and `csv`.
[[nodiscard]] std::string_view exchangeName(FileKind kind);

/// Appends a text as a JSON string: what is below U+0020, U+007F, quotes and backslashes escaped, all else as it is.
void appendJSONString(std::string& out, std::string_view text);

}  // namespace KestrelCore
