#pragma once

#include "output/JSONOutput.hpp"

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Model/FileKind.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Model/RiskLevel.hpp"
#include "KestrelCore/Storage/Generation.hpp"

#include <string_view>

namespace KestrelCLI {

/// The name of a case in the program's JSON: promised in the manual, whatever the case is called in the code.
[[nodiscard]] std::string_view nameOf(KestrelCore::FileKind kind);
[[nodiscard]] std::string_view nameOf(KestrelCore::RiskLevel level);

/// The members of a record, into the object that is open: a command may add its own before or after.
void writeRecordMembers(JSONOutput& json, const KestrelCore::FileRecord& record);
/// A record as an element of the array that is open.
void writeRecord(JSONOutput& json, const KestrelCore::FileRecord& record);
/// The members of a scan's summary, into the object that is open: identity, root, dates, how many records and issues,
/// total size, whether it came to its end; and where there is something to say, what it left out and whether it entered
/// other file systems.
void writeSummaryMembers(JSONOutput& json, const KestrelCore::Generation& scan);
/// The member `key` with such an object, and first the number of a scan that the history has.
void writeSnapshot(JSONOutput& json, std::string_view key, const KestrelCore::Generation& scan);
/// The member `key` with an RFC 3339 date in UTC.
void writeDate(JSONOutput& json, std::string_view key, const KestrelCore::Date& date);

}  // namespace KestrelCLI
