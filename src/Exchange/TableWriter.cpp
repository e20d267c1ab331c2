#include "Exchange/ExportWriter.hpp"
#include "JSON/JSONFormat.hpp"

#include <cmath>

// A table as RFC 4180 has it: comma, CRLF, quotes where a cell holds one of these or a quote. UTF-8 without a mark at
// the beginning, which would become part of the first column's name for many readers.
//
// A spreadsheet takes a cell that begins with = + - @, a tab or a carriage return for a formula, and whoever names a
// file could have it run. Such a cell gets a ' before it, which a spreadsheet shows as a text. The path always begins
// with a slash, so that it is exact whatever an item is called.

namespace KestrelCore {

namespace {

class TableWriter final : public ExportWriter {
public:
    TableWriter(const ExportedScan& scan, PackingSink& sink) : out_{sink}, trail_{scan.path} {
        out_.text() += "path,name,kind,extension,displayBytes,logicalBytes,allocatedBytes,modifiedAt,"
                       "isHardLinkDuplicate,depth\r\n";
    }

    void beginFolder(const WalkedItem& folder) override {
        const std::size_t depth = trail_.depth();
        trail_.enter(folder.name);
        row(trail_.path(), folder, depth);
    }
    void endFolder() override { trail_.leave(); }
    void item(const WalkedItem& item) override {
        path_ = trail_.prefix();
        (path_ += '/') += item.name;
        row(path_, item, trail_.depth());
    }
    void finish() override { out_.flush(); }

private:
    void cell(std::string_view text) {
        std::string& out = out_.text();
        if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
            if (isFormula(text)) out += '\'';
            out += text;
            return;
        }
        out += '"';
        if (isFormula(text)) out += '\'';
        for (const char c : text) {
            if (c == '"') out += '"';
            out += c;
        }
        out += '"';
    }
    static bool isFormula(std::string_view text) {
        return !text.empty() && std::string_view{"=+-@\t\r"}.find(text.front()) != std::string_view::npos;
    }

    void row(std::string_view path, const WalkedItem& item, std::size_t depth) {
        const RecordStorage::Row& row = item.row;
        std::string& out = out_.text();
        cell(path);
        out += ',';
        cell(item.name);
        (out += ',') += exchangeName(row.kind());
        out += ',';
        cell(item.extension);
        for (const std::int64_t bytes : {row.displayBytes(), row.logicalBytes, row.allocatedBytes})
            JSONFormat::appendInteger(out += ',', bytes);
        out += ',';
        if (row.hasModified != 0 && std::isfinite(row.modifiedAt)) out += Date{row.modifiedAt}.rfc3339();
        out += row.isHardLinkDuplicate != 0 ? ",true," : ",false,";
        JSONFormat::appendInteger(out, static_cast<std::uint64_t>(depth));
        out += "\r\n";
        out_.handOn();
    }

    ExportText out_;
    PathTrail trail_;
    std::string path_;
};

}  // namespace

std::unique_ptr<ExportWriter> ExportWriter::table(const ExportedScan& scan, PackingSink& sink) {
    return std::make_unique<TableWriter>(scan, sink);
}

}  // namespace KestrelCore
