#include "report/ReportData.hpp"

#include "output/JSONOutput.hpp"
#include "output/ModelJSON.hpp"
#include "report/ReportChanges.hpp"

#include "KestrelCore/Model/ItemCategory.hpp"
#include "KestrelCore/Snapshot/SummaryAge.hpp"

#include <sstream>
#include <vector>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

constexpr std::uint8_t furtherLinkMark = 16;
constexpr std::uint8_t restMark = 32;
constexpr std::int64_t secondsInMinute = 60;

struct Columns {
    std::string what;
    std::string counts;
    std::string sizes;
    std::string dates;
    std::string names;
    std::string rests;
    std::string changes;
};

void appendNumber(std::string& column, std::uint64_t number) {
    for (; number >= 0x80; number >>= 7) column += static_cast<char>((number & 0x7F) | 0x80);
    column += static_cast<char>(number);
}

void appendSigned(std::string& column, std::int64_t number) {
    appendNumber(column, (static_cast<std::uint64_t>(number) << 1) ^ static_cast<std::uint64_t>(number >> 63));
}

/// `bytes` is 0 or more, and below 2^62 as all sums of a scan are.
void appendSize(std::string& column, std::int64_t bytes) {
    constexpr std::int64_t block = 4096;
    const auto number = static_cast<std::uint64_t>(bytes % block == 0 ? bytes / block : bytes);
    appendNumber(column, number << 1 | (bytes % block == 0 ? 0U : 1U));
}

void appendRest(std::string& column, const ReportRest& rest) {
    appendNumber(column, static_cast<std::uint64_t>(rest.items));
    appendSize(column, rest.bytes);
    appendNumber(column, rest.files.size());
    for (const auto& [group, sum] : rest.files) {
        appendNumber(column, group);
        appendNumber(column, static_cast<std::uint64_t>(sum.items));
        appendSize(column, sum.bytes);
    }
}

/// A name of which the end can be told: no file system has a zero byte in one, but a database may say so.
void appendName(std::string& column, std::string_view name) {
    for (const char each : name) {
        if (each == '\0') {
            column += "\uFFFD";
        } else {
            column += each;
        }
    }
    column += '\0';
}

Columns columnsOf(const ReportTree& tree, const ReportSelection& selection) {
    const std::vector<ReportNode>& nodes = tree.nodes();
    std::vector<std::uint32_t> counts(nodes.size());
    for (const std::uint32_t each : selection.shown) {
        if (nodes[each].parent != ReportNode::none) ++counts[nodes[each].parent];
    }
    Columns columns;
    std::int64_t lastDate = 0;
    for (std::uint32_t place = 0; place < selection.shown.size(); ++place) {
        const ReportNode& node = nodes[selection.shown[place]];
        const auto rest = selection.rests.find(place);
        const bool hasRest = rest != selection.rests.end();
        columns.what +=
            static_cast<char>(node.type + (node.isFurtherLink ? furtherLinkMark : 0) + (hasRest ? restMark : 0));
        if (node.isContainer()) appendNumber(columns.counts, counts[selection.shown[place]]);
        appendSize(columns.sizes, node.ownBytes);
        if (node.modified) {
            // Rounded down, before 1970 too.
            const std::int64_t date =
                (*node.modified - (*node.modified < 0 ? secondsInMinute - 1 : 0)) / secondsInMinute;
            const std::int64_t step = date - lastDate;
            appendNumber(columns.dates,
                         1 + ((static_cast<std::uint64_t>(step) << 1) ^ static_cast<std::uint64_t>(step >> 63)));
            lastDate = date;
        } else {
            columns.dates += '\0';
        }
        appendName(columns.names, tree.nameOf(node));
        if (hasRest) appendRest(columns.rests, rest->second);
    }
    return columns;
}

void writeTexts(JSONOutput& json, std::string_view key, const std::vector<Text>& texts) {
    json.beginArray(key);
    for (const Text& each : texts) json.element(each.view());
    json.endArray();
}

void writeFacts(JSONOutput& json, const ReportTree& tree, const ReportSelection& selection, const ReportFacts& facts) {
    const Generation& scan = facts.scan;
    json.member("program", "kestrel");
    json.member("version", facts.version);
    if (!facts.host.empty()) json.member("host", facts.host);
    if (scan.source.name) json.member("importedFrom", scan.source.name->view());
    json.member("root", scan.scope.root.path().view());
    json.member("path", tree.nameOf(tree.nodes().front()));
    if (scan.number > 0) json.member("number", scan.number);
    json.member("scannedAt", scan.completedAt.secondsSince1970());
    json.member("isComplete", scan.isComplete);
    json.member("issues", scan.issues);
    writeTexts(json, "leftOut", scan.leftOut);
    json.member("crossesMounts", scan.crossesMounts);
    json.member("madeAt", facts.madeAt);
    json.member("isBinary", facts.isBinary);
    json.member("items", tree.nodes().size());
    json.member("shown", selection.shown.size());
    json.beginArray("types");
    for (const ItemCategory category : allItemCategories) json.element(ItemCategories::nameOf(category));
    for (const std::string_view kind : {"folder", "application", "link", "other"}) json.element(kind);
    json.endArray();
    json.member("applications", static_cast<int>(ItemCategory::applications));
    json.member("ageUnknown", SummaryAges::unknown());
    json.beginArray("ages");
    for (const SummaryAge& age : SummaryAges::all()) {
        json.beginObject();
        json.member("name", age.name);
        // The last one has no end, and its number none that a page could hold.
        if (&age != &SummaryAges::all().back()) json.member("most", age.mostSeconds);
        json.endObject();
    }
    json.endArray();
}

void writeGrowthMembers(JSONOutput& json, const Growth& growth) {
    json.beginObject("growth");
    json.member("number", growth.since.number);
    json.member("scannedAt", growth.since.completedAt.secondsSince1970());
    json.member("isComplete", growth.since.isComplete);
    writeTexts(json, "leftOut", growth.since.leftOut);
    json.member("crossesMounts", growth.since.crossesMounts);
    json.member("before", growth.before);
    json.member("after", growth.after);
    json.beginArray("largest");
    for (const GrowthChange& change : growth.changes) {
        json.beginObject();
        json.member("path", change.path.view());
        json.member("kind", nameOf(change.kind));
        json.member("what", reportWordFor(change.what));
        json.member("before", change.before);
        json.member("after", change.after);
        json.member("items", change.items);
        if (change.movedFrom) json.member("movedFrom", change.movedFrom->view());
        json.endObject();
    }
    json.endArray();
    json.endObject();
}

}  // namespace

std::string reportData(const ReportTree& tree, const ReportSelection& selection, const ReportFacts& facts) {
    Columns columns = columnsOf(tree, selection);
    if (facts.growth) {
        for (const std::int64_t change : reportChanges(tree, selection, *facts.growth))
            appendSigned(columns.changes, change);
    }
    std::ostringstream head;
    {
        JSONOutput json{head};
        writeFacts(json, tree, selection, facts);
        if (facts.growthTable) writeGrowthMembers(json, *facts.growthTable);
        json.beginObject("columns");
        json.member("what", columns.what.size());
        json.member("counts", columns.counts.size());
        json.member("sizes", columns.sizes.size());
        json.member("dates", columns.dates.size());
        json.member("names", columns.names.size());
        json.member("rests", columns.rests.size());
        json.member("changes", columns.changes.size());
        json.endObject();
        json.finish();
    }
    const std::string text = head.str();
    std::string data;
    data.reserve(4 + text.size() + columns.what.size() + columns.counts.size() + columns.sizes.size() +
                 columns.dates.size() + columns.names.size() + columns.rests.size() + columns.changes.size());
    for (unsigned shift = 0; shift < 32; shift += 8) data += static_cast<char>((text.size() >> shift) & 0xFF);
    data += text;
    for (std::string* column : {&columns.what, &columns.counts, &columns.sizes, &columns.dates, &columns.names,
                                &columns.rests, &columns.changes}) {
        data += *column;
        *column = {};
    }
    return data;
}

}  // namespace KestrelCLI
