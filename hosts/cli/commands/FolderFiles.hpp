#pragma once

#include "output/Session.hpp"
#include "report/ReportData.hpp"
#include "store/SavedScan.hpp"

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"

#include <cstddef>
#include <string>
#include <string_view>

namespace KestrelCLI {

/// How many items a report has at most where nothing else is asked for: such a page opens at once on a telephone, and
/// can be sent by mail.
inline constexpr std::size_t usualReportItems = 50'000;

/// What a report says of itself and its scan.
[[nodiscard]] ReportFacts reportFacts(const Session& session, const KestrelCore::Generation& scan);

/// A name for a file in the current directory that says what is in it, KIND-FOLDER-DATE with that ending, and with a
/// number behind it where something has that name.
[[nodiscard]] std::string freeFileName(std::string_view kind, const KestrelCore::Text& folder,
                                       KestrelCore::Date scanned, std::string_view ending);

// Write a folder of a scan into the current directory under a free name, which they give. Empty, and nothing is left,
// when that was cancelled. Any thread; throw as `writeWholeFile` and the scan do.

/// As a page for browsers, with the `usualReportItems` largest items.
[[nodiscard]] std::string writeReportFile(const Session& session, const SavedScan& scan,
                                          const KestrelCore::Text& folder,
                                          const KestrelCore::CancellationToken& cancellation);
/// In the form of ncdu, compressed.
[[nodiscard]] std::string writeExportFile(const SavedScan& scan, const KestrelCore::Text& folder,
                                          const KestrelCore::CancellationToken& cancellation);

}  // namespace KestrelCLI
