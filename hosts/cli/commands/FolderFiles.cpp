#include "commands/FolderFiles.hpp"

#include "output/Times.hpp"
#include "report/HostName.hpp"
#include "report/ReportPage.hpp"
#include "report/ReportSelection.hpp"
#include "report/ReportTree.hpp"
#include "store/WholeFile.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Exchange/SnapshotExport.hpp"
#include "KestrelCore/KestrelCore.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <ostream>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

class Cancelled {};

/// Whose disk the scan shows; of an imported one that does not say so, nobody's.
std::string hostOf(const Generation& scan) {
    if (scan.source.host) return scan.source.host->string();
    return scan.source.name ? std::string{} : hostName();
}

/// The file's name; empty when `write` was cancelled.
std::string writtenAs(const std::string& file, const std::function<void(std::ostream&)>& write) {
    try {
        writeWholeFile(file, ExistingFile::keep, write);
        return file;
    } catch (const Cancelled&) {
        return {};
    }
}

}  // namespace

ReportFacts reportFacts(const Session& session, const Generation& scan) {
    // Whole minutes, as the dates of the page are: so its script finds each item in the class of age that it has here.
    const auto madeAt = static_cast<std::int64_t>(std::ceil(Date::now().secondsSince1970() / 60)) * 60;
    return {.scan = scan,
            .host = hostOf(scan),
            .version = reinterpret_cast<const char*>(KestrelCoreVersionString),
            .madeAt = madeAt,
            .isBinary = session.options.units == SizeUnits::binary};
}

std::string freeFileName(std::string_view kind, const Text& folder, Date scanned, std::string_view ending) {
    std::string name = Path::lastComponent(folder).string();
    // What shells and other systems take for something else.
    std::ranges::replace_if(
        name,
        [](char each) {
            return static_cast<unsigned char>(each) <= ' ' || each == '\x7F' ||
                   std::string_view{"/\\:*?\"<>|"}.find(each) != std::string_view::npos;
        },
        '_');
    constexpr std::size_t mostBytes = 100;
    if (name.empty() || name == "_" || name.size() > mostBytes) name = folder == Text{"/"} ? "root" : "folder";
    const std::string stem = fmt::format("{}-{}-{}", kind, name, localTime(scanned).substr(0, 10));
    std::string free = fmt::format("{}{}", stem, ending);
    for (int i = 2; std::filesystem::exists(std::filesystem::symlink_status(free)); ++i)
        free = fmt::format("{}-{}{}", stem, i, ending);
    return free;
}

std::string writeReportFile(const Session& session, const SavedScan& scan, const Text& folder,
                            const CancellationToken& cancellation) {
    const ReportFacts facts = reportFacts(session, scan.summary());
    const ReportTree tree{scan.snapshot(), folder};
    const ReportSelection selection = reportSelection(tree, usualReportItems, ReportAges{facts.madeAt});
    const std::string data = reportData(tree, selection, facts);
    return writtenAs(freeFileName("kestrel-report", folder, scan.summary().completedAt, ".html"),
                     [&](std::ostream& out) {
                         writeReportPage(out, data, [&] {
                             if (cancellation.isCancelled()) throw Cancelled{};
                         });
                     });
}

std::string writeExportFile(const SavedScan& scan, const Text& folder, const CancellationToken& cancellation) {
    return writtenAs(
        freeFileName("kestrel-export", folder, scan.summary().completedAt, ".json.gz"), [&](std::ostream& out) {
            const auto sink = [&](std::string_view bytes) {
                out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
            };
            if (!scan.exportFolder(
                    folder, sink,
                    {.format = ExchangeFormat::ncdu, .packing = ExchangePacking::gzip, .cancellation = cancellation}))
                throw Cancelled{};
        });
}

}  // namespace KestrelCLI
