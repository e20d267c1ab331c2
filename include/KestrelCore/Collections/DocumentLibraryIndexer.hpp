#pragma once

#include "KestrelCore/Base/Hashing.hpp"
#include "KestrelCore/Base/RawValue.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace KestrelCore {

/// What a document is, told by its extension alone: no file is opened.
enum class DocumentAssetKind : std::uint8_t { pdf, document, spreadsheet, presentation, text, ebook };

/// Every case, in their order.
inline constexpr std::array allDocumentAssetKinds{DocumentAssetKind::pdf,         DocumentAssetKind::document,
                                                  DocumentAssetKind::spreadsheet, DocumentAssetKind::presentation,
                                                  DocumentAssetKind::text,        DocumentAssetKind::ebook};
/// The case's name, such as "spreadsheet".
[[nodiscard]] KESTRELCORE_EXPORT std::string_view rawValue(DocumentAssetKind kind);
/// Empty for any other text.
template <>
[[nodiscard]] KESTRELCORE_EXPORT std::optional<DocumentAssetKind>
fromRawValue<DocumentAssetKind>(std::string_view rawValue);

/// One document of a snapshot.
struct DocumentAsset {
    FileRecord record;
    DocumentAssetKind kind;

    [[nodiscard]] const UUID& id() const { return record.id(); }
    bool operator==(const DocumentAsset&) const = default;
};

/// The documents of a snapshot, newest first, names in natural order where dates are equal.
struct KESTRELCORE_EXPORT DocumentLibraryIndex {
    std::vector<DocumentAsset> documents;

    /// Sum of `displayBytes`, made anew at each call; a sum that overflows stops the process.
    [[nodiscard]] std::int64_t totalBytes() const;

    /// A shared index without documents, which lives as long as the process.
    [[nodiscard]] static const DocumentLibraryIndex& empty();

    bool operator==(const DocumentLibraryIndex&) const = default;
};

/// Finds the documents among a snapshot's records. Touches no file; any thread.
class KESTRELCORE_EXPORT DocumentLibraryIndexer {
public:
    DocumentLibraryIndexer() = delete;

    /// Every extension that makes a document: lowercase, without dots.
    [[nodiscard]] static const std::unordered_set<Text>& supportedExtensions();
    /// The kind of an extension given without its dot, in any case; empty when it is no document's.
    [[nodiscard]] static std::optional<DocumentAssetKind> kind(const Text& fileExtension);
    /// As for media, but the home directory's cloud drive folders count although they lie in its Library.
    [[nodiscard]] static DocumentLibraryIndex makeIndex(const ScanSnapshot& snapshot, const Text& homePath);
};

}  // namespace KestrelCore

template <>
struct std::hash<KestrelCore::DocumentAsset> {
    std::size_t operator()(const KestrelCore::DocumentAsset& asset) const {
        return KestrelCore::Internal::hashOf(asset.record, static_cast<int>(asset.kind));
    }
};

template <>
struct KESTRELCORE_EXPORT std::hash<KestrelCore::DocumentLibraryIndex> {
    std::size_t operator()(const KestrelCore::DocumentLibraryIndex& index) const;
};
