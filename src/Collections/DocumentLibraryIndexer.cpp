#include "KestrelCore/Collections/DocumentLibraryIndexer.hpp"

#include "Base/Checked.hpp"
#include "Collections/LibraryFolders.hpp"
#include "Collections/NewestFirst.hpp"
#include "Snapshot/SnapshotAccess.hpp"

#include <initializer_list>
#include <unordered_map>

namespace KestrelCore {

namespace {

constexpr std::string_view sourceFile = "KestrelCore/Libraries/DocumentLibraryIndexer";
constexpr std::array<std::string_view, 6> kindNames{"pdf", "document", "spreadsheet", "presentation", "text", "ebook"};

const std::unordered_map<Text, DocumentAssetKind>& kindsByExtension() {
    static const std::unordered_map<Text, DocumentAssetKind> table = [] {
        std::unordered_map<Text, DocumentAssetKind> kinds;
        const auto add = [&](DocumentAssetKind kind, std::initializer_list<const char*> extensions) {
            for (const char* extension : extensions) kinds.emplace(extension, kind);
        };
        add(DocumentAssetKind::pdf, {"pdf"});
        add(DocumentAssetKind::document, {"doc", "docm", "docx", "dot", "dotx", "odt", "pages"});
        add(DocumentAssetKind::spreadsheet, {"csv", "numbers", "ods", "tsv", "xls", "xlsb", "xlsm", "xlsx"});
        add(DocumentAssetKind::presentation, {"key", "odp", "pps", "ppsx", "ppt", "pptm", "pptx"});
        add(DocumentAssetKind::text,
            {"html", "htm", "log", "markdown", "md", "rtf", "rtfd", "tex", "text", "txt", "xml", "yaml", "yml"});
        add(DocumentAssetKind::ebook, {"azw", "azw3", "epub", "mobi"});
        return kinds;
    }();
    return table;
}

}  // namespace

std::string_view rawValue(DocumentAssetKind kind) { return kindNames[static_cast<std::size_t>(kind)]; }

template <>
std::optional<DocumentAssetKind> fromRawValue<DocumentAssetKind>(std::string_view rawValue) {
    for (const DocumentAssetKind kind : allDocumentAssetKinds) {
        if (rawValue == KestrelCore::rawValue(kind)) return kind;
    }
    return std::nullopt;
}

std::int64_t DocumentLibraryIndex::totalBytes() const {
    std::int64_t sum = 0;
    for (const DocumentAsset& asset : documents) sum = Checked::add(sum, asset.record.displayBytes(), sourceFile);
    return sum;
}

const DocumentLibraryIndex& DocumentLibraryIndex::empty() {
    static const DocumentLibraryIndex index;
    return index;
}

const std::unordered_set<Text>& DocumentLibraryIndexer::supportedExtensions() {
    static const std::unordered_set<Text> extensions = [] {
        std::unordered_set<Text> all;
        for (const auto& [extension, kind] : kindsByExtension()) all.insert(extension);
        return all;
    }();
    return extensions;
}

std::optional<DocumentAssetKind> DocumentLibraryIndexer::kind(const Text& fileExtension) {
    const auto found = kindsByExtension().find(fileExtension.lowercased());
    return found == kindsByExtension().end() ? std::nullopt : std::optional{found->second};
}

DocumentLibraryIndex DocumentLibraryIndexer::makeIndex(const ScanSnapshot& snapshot, const Text& homePath) {
    const RecordStorage& storage = SnapshotAccess::storage(snapshot);
    // A snapshot has some hundred extensions: what each makes is looked up once, and a row's place among them is asked.
    std::vector<std::optional<DocumentAssetKind>> kinds;
    kinds.reserve(storage.extensions().size());
    for (const Text& extension : storage.extensions()) kinds.push_back(kind(extension));

    const LibraryFolders folders{snapshot, homePath,
                                 LibraryFolders::Exclusion{.names = {".Trash", "node_modules", "Pods", "DerivedData",
                                                                     ".build", ".git", "Caches"},
                                                           .suffixes = {".framework"},
                                                           .insideSuffix = ".app",
                                                           .insideName = "Contents",
                                                           .admitsCloudDrives = true}};
    std::vector<std::uint32_t> indices;
    for (std::uint32_t i = 0; i < storage.size(); ++i) {
        const RecordStorage::Row& row = storage.row(i);
        if (!kinds[row.extension] || row.kind() != FileKind::file || row.allocatedBytes <= 0 ||
            row.isHardLinkDuplicate) {
            continue;
        }
        // Last, since all before it are bits of the row.
        if (folders.admits(i)) indices.push_back(i);
    }
    return DocumentLibraryIndex{newestFirst<DocumentAsset>(
        storage, indices, [&](std::uint32_t index) { return *kinds[storage.row(index).extension]; })};
}

}  // namespace KestrelCore

std::size_t
std::hash<KestrelCore::DocumentLibraryIndex>::operator()(const KestrelCore::DocumentLibraryIndex& index) const {
    std::uint64_t hash = 0;
    hash = KestrelCore::Internal::mixHash(hash, index.documents.size());
    for (const KestrelCore::DocumentAsset& asset : index.documents) {
        hash = KestrelCore::Internal::mixHash(hash, std::hash<KestrelCore::DocumentAsset>{}(asset));
    }
    return static_cast<std::size_t>(hash);
}
