#include "output/DuplicateList.hpp"

#include "output/ByteFormat.hpp"
#include "output/ModelJSON.hpp"
#include "output/TerminalText.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

//     1.20 GB  3 files of 600 MB
//       keep   ~/Pictures/2019/film.mp4 (oldest)
//       spare  ~/Downloads/film.mp4
//       spare  ~/Desktop/film (1).mp4

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

std::string_view nameOf(DuplicateStanding standing) {
    switch (standing) {
    case DuplicateStanding::kept: return "kept";
    case DuplicateStanding::spare: return "spare";
    case DuplicateStanding::sameFile: return "sameFile";
    case DuplicateStanding::namedElsewhere: return "namedElsewhere";
    case DuplicateStanding::sharesBlocks: return "sharesBlocks";
    case DuplicateStanding::takesNoRoom: return "takesNoRoom";
    case DuplicateStanding::inKeptFolder: return "inKeptFolder";
    case DuplicateStanding::isProtected: break;
    }
    return "protected";
}

std::string_view nameOf(DuplicateReason reason) {
    switch (reason) {
    case DuplicateReason::folder: return "folder";
    case DuplicateReason::oldest: return "oldest";
    case DuplicateReason::newest: return "newest";
    case DuplicateReason::path: break;
    }
    return "path";
}

std::string_view shownReason(DuplicateReason reason) {
    switch (reason) {
    case DuplicateReason::folder: return "lies in the kept folder";
    case DuplicateReason::oldest: return "oldest";
    case DuplicateReason::newest: return "newest";
    case DuplicateReason::path: break;
    }
    return "same age, shortest path";
}

/// Why a file stays; empty for the kept one and for what may go.
std::string_view whyItStays(DuplicateStanding standing) {
    switch (standing) {
    case DuplicateStanding::kept:
    case DuplicateStanding::spare:
    case DuplicateStanding::isProtected: break;
    case DuplicateStanding::sameFile: return "Another name of the kept file: takes no room of its own.";
    case DuplicateStanding::namedElsewhere: return "Has another name that stays: nothing would come free.";
    case DuplicateStanding::sharesBlocks: return "Shares its blocks with others: nothing would come free.";
    case DuplicateStanding::takesNoRoom: return "Takes no room.";
    case DuplicateStanding::inKeptFolder: return "Lies in the kept folder.";
    }
    return {};
}

/// Writes lines one after the other, each below what it belongs to, parted where the terminal ends.
class Lines {
public:
    Lines(const Session& session, std::ostream& out)
        : out_{out}, columns_{&out == &session.out ? session.columns() : 0},
          hasColor_{&out == &session.out && session.hasColor()} {}

    void write(std::string_view text, Style style) { out_ << painted(style, text, hasColor_) << '\n'; }
    /// `label` and behind it `text`, whose further lines stand below its first.
    void write(std::string_view label, Style labelStyle, std::string_view text, Style style) {
        constexpr std::size_t labelColumns = 5;
        constexpr std::size_t before = 4 + labelColumns;
        constexpr std::size_t fewest = 12;
        std::string_view word = label;
        const std::size_t room = columns_ == 0 ? std::max<std::size_t>(text.size(), 1)
                                               : std::max(fewest, columns_ - std::min(before, columns_));
        for (const std::string_view piece : TerminalText::wrapped(text, room)) {
            out_ << "  " << painted(labelStyle, TerminalText::padded(word, labelColumns), hasColor_) << "  "
                 << painted(style, piece, hasColor_) << '\n';
            word = {};
        }
    }

private:
    std::ostream& out_;
    std::size_t columns_;
    bool hasColor_;
};

void writeFile(const Session& session, Lines& lines, const DuplicateGroup& group, const DuplicateFile& file,
               const DuplicateListing& listing) {
    const std::string path = session.shownPath(file.path.view());
    if (file.standing == DuplicateStanding::kept) {
        lines.write("keep", Style::good, fmt::format("{} ({})", path, shownReason(group.keptFor)), Style::plain);
        return;
    }
    const auto refusal =
        listing.refusal && file.standing == DuplicateStanding::spare ? listing.refusal(file) : std::optional<Text>{};
    if (file.standing == DuplicateStanding::spare && !refusal) {
        lines.write(listing.spareWord, Style::warning, path, Style::plain);
        return;
    }
    lines.write("stays", Style::quiet, path, Style::quiet);
    const std::optional<Text>& reason = refusal ? refusal : file.reason;
    lines.write("", Style::plain, reason ? session.shown(reason->view()) : std::string{whyItStays(file.standing)},
                Style::quiet);
}

}  // namespace

void writeGroups(const Session& session, std::ostream& out, const DuplicateReport& report,
                 const DuplicateListing& listing) {
    Lines lines{session, out};
    for (std::size_t i = 0; i < report.groups.size() && i < listing.groups; ++i) {
        const DuplicateGroup& group = report.groups[i];
        if (i > 0) out << '\n';
        lines.write(fmt::format("{}  {} of {}",
                                group.reclaimableBytes > 0 ? session.size(group.reclaimableBytes) : "no gain",
                                ByteFormat::files(group.files.size()), session.size(group.bytes)),
                    Style::heading);
        const std::size_t shown = std::min(group.files.size(), listing.filesOfAGroup);
        for (std::size_t k = 0; k < shown; ++k) writeFile(session, lines, group, group.files[k], listing);
        if (shown < group.files.size())
            lines.write(
                "", Style::plain,
                fmt::format("and {} more", ByteFormat::count(static_cast<std::int64_t>(group.files.size() - shown))),
                Style::quiet);
    }
}

void writeGroups(JSONOutput& json, const DuplicateReport& report, std::size_t most) {
    json.beginArray("groups");
    for (std::size_t i = 0; i < report.groups.size() && i < most; ++i) {
        const DuplicateGroup& group = report.groups[i];
        json.beginObject();
        json.member("bytes", group.reclaimableBytes);
        json.member("fileBytes", group.bytes);
        json.member("shareableBytes", group.shareableBytes);
        json.member("keep", group.kept().path.view());
        json.member("keptFor", nameOf(group.keptFor));
        json.beginArray("paths");
        for (const DuplicateFile& file : group.files) json.element(file.path.view());
        json.endArray();
        json.beginArray("files");
        for (const DuplicateFile& file : group.files) {
            json.beginObject();
            json.member("path", file.path.view());
            json.member("standing", nameOf(file.standing));
            json.member("allocatedBytes", file.allocatedBytes);
            json.member("bytes", file.freedBytes);
            if (file.modifiedAt) writeDate(json, "modifiedAt", *file.modifiedAt);
            if (file.reason) json.member("reason", file.reason->view());
            json.endObject();
        }
        json.endArray();
        json.endObject();
    }
    json.endArray();
}

}  // namespace KestrelCLI
