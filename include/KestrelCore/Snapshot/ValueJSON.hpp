#pragma once

#include "KestrelCore/Base/FileIdentity.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/JSON/CodingErrors.hpp"
#include "KestrelCore/Model/FileKind.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Model/RiskLevel.hpp"
#include "KestrelCore/Model/ScanIssue.hpp"
#include "KestrelCore/Model/ScanScope.hpp"

#include <string>
#include <string_view>

namespace KestrelCore {

// The single values that a snapshot is made of, each as one JSON text: exactly the text that stands for it within
// `ScanSnapshot::encodedJSON`. Kinds and risks are bare numbers, the others objects. Any thread.
//
//     encodedJSON(FileKind::directory)                      1
//     encodedJSON(FileIdentity{.device = 1, .inode = 2})    {"device":1,"inode":2}
//     decodingJSON<FileKind>("9")                           throws DecodingError: no kind has that raw value

[[nodiscard]] KESTRELCORE_EXPORT std::string encodedJSON(const FileIdentity& identity);
[[nodiscard]] KESTRELCORE_EXPORT std::string encodedJSON(FileKind kind);
[[nodiscard]] KESTRELCORE_EXPORT std::string encodedJSON(RiskLevel risk);
[[nodiscard]] KESTRELCORE_EXPORT std::string encodedJSON(const ScanScope& scope);
/// Throws `EncodingError` for a date that is no finite number.
[[nodiscard]] KESTRELCORE_EXPORT std::string encodedJSON(const FileRecord& record);
[[nodiscard]] KESTRELCORE_EXPORT std::string encodedJSON(const ScanIssue& issue);

/// Reads what `encodedJSON` writes, in any order of keys; unknown ones are passed over. Throws `DecodingError`: for
/// malformed text, a key that is missing, a value of another type, or one that its type does not allow. For the six
/// types above.
template <typename Value>
[[nodiscard]] Value decodingJSON(std::string_view text);
template <>
[[nodiscard]] KESTRELCORE_EXPORT FileIdentity decodingJSON<FileIdentity>(std::string_view text);
template <>
[[nodiscard]] KESTRELCORE_EXPORT FileKind decodingJSON<FileKind>(std::string_view text);
template <>
[[nodiscard]] KESTRELCORE_EXPORT RiskLevel decodingJSON<RiskLevel>(std::string_view text);
template <>
[[nodiscard]] KESTRELCORE_EXPORT ScanScope decodingJSON<ScanScope>(std::string_view text);
template <>
[[nodiscard]] KESTRELCORE_EXPORT FileRecord decodingJSON<FileRecord>(std::string_view text);
template <>
[[nodiscard]] KESTRELCORE_EXPORT ScanIssue decodingJSON<ScanIssue>(std::string_view text);

}  // namespace KestrelCore
