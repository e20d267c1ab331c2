#include "Exchange/ExportWriter.hpp"
#include "KestrelCore/KestrelCore.hpp"
#include "JSON/JSONFormat.hpp"

#include <cmath>

// Our own form: a line for the scan, a line for each record, a line for each issue, a line at the end. The manual of
// the form is docs/exchange.md; keys keep their meaning and their order, and new ones only come at the end of a line.

namespace KestrelCore {

namespace {

class LinesWriter final : public ExportWriter {
public:
    LinesWriter(const ExportedScan& scan, PackingSink& sink) : scan_{scan}, out_{sink}, trail_{scan.path} {
        std::string& text = out_.text();
        text += R"({"schema":1,"form":"kestrel-scan","program":)";
        appendJSONString(text, std::string{"kestrel "} + reinterpret_cast<const char*>(KestrelCoreVersionString));
        if (scan.host) {
            text += R"(,"host":)";
            appendJSONString(text, scan.host->view());
        }
        text += R"(,"root":)";
        appendJSONString(text, scan.path.view());
        date("startedAt", scan.startedAt);
        date("completedAt", scan.completedAt);
        if (!scan.isComplete) text += R"(,"isComplete":false)";
        if (!scan.leftOut.empty()) {
            text += R"(,"leftOut":[)";
            for (std::size_t i = 0; i < scan.leftOut.size(); ++i) {
                if (i > 0) text += ',';
                appendJSONString(text, scan.leftOut[i].view());
            }
            text += ']';
        }
        text += "}\n";
    }

    void beginFolder(const WalkedItem& folder) override {
        trail_.enter(folder.name);
        record(trail_.path(), {}, folder);
    }
    void endFolder() override { trail_.leave(); }
    void item(const WalkedItem& item) override { record(trail_.prefix(), item.name, item); }

    void finish() override {
        std::string& text = out_.text();
        for (const ScanIssue& issue : scan_.issues) {
            text += R"({"issue":{"path":)";
            appendJSONString(text, issue.path.view());
            text += R"(,"message":)";
            appendJSONString(text, issue.message.view());
            text += "}}\n";
        }
        text += R"({"end":{"records":)";
        JSONFormat::appendInteger(text, records_);
        text += R"(,"issues":)";
        JSONFormat::appendInteger(text, static_cast<std::int64_t>(scan_.issues.size()));
        text += "}}\n";
        out_.flush();
    }

private:
    void date(std::string_view key, Date date) {
        std::string& text = out_.text();
        ((text += ",\"") += key) += "\":\"";
        (text += date.rfc3339()) += '"';
    }

    /// Of an item in the folder at `prefix`, or without a name of the folder itself.
    void record(std::string_view prefix, std::string_view name, const WalkedItem& item) {
        const RecordStorage::Row& row = item.row;
        std::string& text = out_.text();
        text += R"({"path":)";
        appendJSONString(text, prefix);
        if (!name.empty()) {
            text.back() = '/';
            const std::size_t quote = text.size();
            appendJSONString(text, name);
            text.erase(quote, 1);
        }
        ((text += R"(,"kind":")") += exchangeName(row.kind())) += '"';
        const auto number = [&](std::string_view key, std::int64_t value) {
            text += key;
            JSONFormat::appendInteger(text, value);
        };
        number(R"(,"displayBytes":)", row.displayBytes());
        number(R"(,"logicalBytes":)", row.logicalBytes);
        number(R"(,"allocatedBytes":)", row.allocatedBytes);
        if (item.foldedBytes > 0) number(R"(,"unlistedBytes":)", item.foldedBytes);
        if (row.hasModified != 0 && std::isfinite(row.modifiedAt)) date("modifiedAt", Date{row.modifiedAt});
        if (row.isHidden != 0) text += R"(,"isHidden":true)";
        if (row.isCloudPlaceholder != 0) text += R"(,"isCloudPlaceholder":true)";
        if (row.isHardLinkDuplicate != 0) text += R"(,"isHardLinkDuplicate":true)";
        text += "}\n";
        ++records_;
        out_.handOn();
    }

    const ExportedScan& scan_;
    ExportText out_;
    PathTrail trail_;
    std::int64_t records_ = 0;
};

}  // namespace

std::unique_ptr<ExportWriter> ExportWriter::lines(const ExportedScan& scan, PackingSink& sink) {
    return std::make_unique<LinesWriter>(scan, sink);
}

}  // namespace KestrelCore
