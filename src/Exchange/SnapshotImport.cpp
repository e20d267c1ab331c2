#include "KestrelCore/Exchange/SnapshotImport.hpp"

#include "Exchange/ImportReader.hpp"
#include "Exchange/PackedStreams.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Base/UUID.hpp"
#include "KestrelCore/Model/ScanScope.hpp"
#include "Snapshot/SnapshotAccess.hpp"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

namespace KestrelCore {

namespace {

class Cancelled {};

/// Says what a text is that begins so and can't be taken; nothing where it may be one that can.
void checkBeginning(std::string_view text) {
    if (text.starts_with("\xBFncduEX"))
        throw ImportError{
            0, "This is ncdu's binary form: “ncdu -f FILE -o -” makes the one that can be taken over of it."};
    if (text.starts_with("path,"))
        throw ImportError{0, "A table can't be taken over: “--format ncdu” or “--format json” makes what can."};
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos || text[first] == '[' || text[first] == '{') return;
    throw ImportError{first, "This is no export of ncdu, of gdu or of kestrel."};
}

/// The bytes of a source, with those that were looked at before.
class Beginning {
public:
    explicit Beginning(UnpackingSource& source) : source_{source} {
        constexpr std::size_t enough = 64;
        head_.resize(enough);
        std::size_t size = 0;
        while (size < enough) {
            const std::size_t count = source_.read(std::span{head_}.subspan(size));
            if (count == 0) break;
            size += count;
        }
        head_.resize(size);
    }
    [[nodiscard]] const std::string& text() const { return head_; }
    std::size_t read(std::span<char> bytes) {
        if (given_ == head_.size()) return source_.read(bytes);
        const std::size_t count = std::min(bytes.size(), head_.size() - given_);
        std::memcpy(bytes.data(), head_.data() + given_, count);
        given_ += count;
        return count;
    }

private:
    UnpackingSource& source_;
    std::string head_;
    std::size_t given_ = 0;
};

}  // namespace

std::optional<ImportedScan> importScan(const ByteSource& source, const ImportOptions& options) {
    ReadScan scan;
    try {
        const auto bytes = UnpackingSource::make([&](std::span<char> into) {
            if (options.cancellation.isCancelled()) throw Cancelled{};
            return source(into);
        });
        Beginning beginning{*bytes};
        checkBeginning(beginning.text());
        constexpr std::size_t aroundFolders = 8;
        JSONTokenReader tokens{[&](std::span<char> into) { return beginning.read(into); },
                               {.deepest = ImportedTree::mostLevels + aroundFolders}};
        if (tokens.next() == JSONTokenReader::Token::beginArray) {
            readNcdu(tokens, scan);
        } else {
            readLines(tokens, scan);
        }
    } catch (const Cancelled&) {
        return std::nullopt;
    } catch (const JSONTokenReader::Error& error) {
        throw ImportError{error.offset(), error.what()};
    }
    const Date completedAt = scan.completedAt.value_or(options.now);
    const ScanScope scope{URL::fromPath(scan.tree.top(), true), options.displayName};
    return ImportedScan{.snapshot = SnapshotAccess::make(UUID::random(), scope, scan.startedAt.value_or(completedAt),
                                                         completedAt, scan.tree.finish(), std::move(scan.issues)),
                        .program = std::move(scan.program),
                        .host = std::move(scan.host),
                        .isComplete = scan.isComplete,
                        .leftOut = std::move(scan.leftOut),
                        .unread = scan.unread};
}

}  // namespace KestrelCore
