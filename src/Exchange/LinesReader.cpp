#include "Exchange/ImportReader.hpp"

#include "Base/TextScan.hpp"
#include "KestrelCore/Exchange/ExchangeFormat.hpp"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

namespace KestrelCore {

namespace {

using Token = JSONTokenReader::Token;

class LinesReader {
public:
    LinesReader(JSONTokenReader& tokens, ReadScan& scan) : tokens_{tokens}, scan_{scan} {}

    void read() {
        readHeader();
        while (!hasEnd_) {
            tokens_.expectAnother();
            if (tokens_.isAtEnd()) throw ImportError{tokens_.position(), "The text ends too early."};
            if (tokens_.next() != Token::beginObject) fail("A line is no object.");
            readLine();
        }
        if (!tokens_.isAtEnd()) throw ImportError{tokens_.position(), "Something follows the end."};
        while (scan_.tree.depth() > 0) scan_.tree.endFolder();
    }

private:
    /// Members of one line whose values are texts, numbers or truths.
    struct Line {
        std::uint64_t offset = 0;
        std::string path;
        ImportedItem item;
        std::int64_t unlisted = 0;
        bool hasPath = false;
        bool hasKind = false;
    };

    [[noreturn]] void fail(const char* what) const { throw ImportError{tokens_.offset(), what}; }

    /// Calls `use` with each key of the object that was begun and the first token of its value; it reads the rest.
    template <typename Use>
    void members(const Use& use) {
        std::vector<std::string> seen;
        for (Token token = tokens_.next(); token != Token::endObject; token = tokens_.next()) {
            const std::string key{tokens_.text()};
            if (std::ranges::find(seen, key) != seen.end()) fail("A key occurs twice.");
            constexpr std::size_t mostKeys = 64;
            if (seen.size() == mostKeys) fail("An object has too many keys.");
            seen.push_back(key);
            use(key, tokens_.next());
        }
    }

    void readHeader() {
        bool isOurs = false;
        bool isFirstSchema = false;
        members([&](const std::string& key, Token token) {
            if (key == "schema") {
                isFirstSchema = token == Token::number && tokens_.text() == "1";
            } else if (key == "form") {
                isOurs = token == Token::string && tokens_.text() == "kestrel-scan";
            } else if (key == "root") {
                root_ = textAt(token);
            } else if (key == "program") {
                scan_.program = shortText(textAt(token));
            } else if (key == "host") {
                scan_.host = shortText(textAt(token));
            } else if (key == "startedAt") {
                scan_.startedAt = dateAt(token);
            } else if (key == "completedAt") {
                scan_.completedAt = dateAt(token);
            } else if (key == "isComplete") {
                scan_.isComplete = truthAt(token);
            } else if (key == "leftOut") {
                readLeftOut(token);
            } else {
                tokens_.skipRest(token);
            }
        });
        if (!isOurs) fail("This is no scan that kestrel has written.");
        if (!isFirstSchema) fail("The schema is not 1.");
        if (root_.empty()) fail("The scan has no root.");
    }

    void readLeftOut(Token token) {
        constexpr std::size_t most = 1000;
        if (token != Token::beginArray) fail("A list was expected.");
        for (Token each = tokens_.next(); each != Token::endArray; each = tokens_.next()) {
            if (scan_.leftOut.size() == most) fail("A list is too long.");
            scan_.leftOut.push_back(shortText(textAt(each)));
        }
    }

    void readLine() {
        Line line;
        line.offset = tokens_.offset();
        bool isRecord = true;
        members([&](const std::string& key, Token token) {
            if (key == "issue" || key == "end") {
                isRecord = false;
                if (token != Token::beginObject) fail("An object was expected.");
                if (key == "issue") {
                    readIssue();
                } else {
                    readEnd();
                }
                return;
            }
            readMember(line, key, token);
        });
        if (isRecord) add(line);
    }

    void readMember(Line& line, const std::string& key, Token token) {
        if (key == "path") {
            line.path = textAt(token);
            line.hasPath = true;
        } else if (key == "kind") {
            static const std::map<std::string_view, FileKind> kinds{{"file", FileKind::file},
                                                                    {"directory", FileKind::directory},
                                                                    {"package", FileKind::package},
                                                                    {"symbolicLink", FileKind::symbolicLink},
                                                                    {"other", FileKind::other}};
            const auto kind = kinds.find(textAt(token));
            if (kind == kinds.end()) fail("A kind is none.");
            line.item.kind = kind->second;
            line.hasKind = true;
        } else if (key == "logicalBytes") {
            line.item.logicalBytes = sizeAt(tokens_, token);
        } else if (key == "allocatedBytes") {
            line.item.allocatedBytes = sizeAt(tokens_, token);
        } else if (key == "unlistedBytes") {
            line.unlisted = sizeAt(tokens_, token);
        } else if (key == "modifiedAt") {
            line.item.modifiedAt = dateAt(token);
        } else if (key == "isHidden") {
            line.item.isHidden = truthAt(token);
        } else if (key == "isCloudPlaceholder") {
            line.item.isCloudPlaceholder = truthAt(token);
        } else if (key == "isHardLinkDuplicate") {
            line.item.isHardLinkDuplicate = truthAt(token);
        } else {
            tokens_.skipRest(token);
        }
    }

    void add(const Line& line) {
        if (!line.hasPath || !line.hasKind) throw ImportError{line.offset, "A record has no path or no kind."};
        ++records_;
        const bool isContainer = line.item.kind == FileKind::directory || line.item.kind == FileKind::package;
        ImportedTree& tree = scan_.tree;
        if (tree.depth() == 0) {
            if (line.path != root_ || !isContainer || records_ > 1)
                throw ImportError{line.offset, "The folder that the scan begins with was expected."};
            tree.beginTop(line.path, line.item, line.offset);
            if (tree.top().view() != root_) throw ImportError{line.offset, "A path is not in its plain form."};
        } else {
            const std::string_view path = line.path;
            const auto lies = [&] {
                const std::string& folder = tree.path();
                return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/';
            };
            while (!lies()) {
                tree.endFolder();
                if (tree.depth() == 0)
                    throw ImportError{line.offset, "The folder that a record lies in does not come before it."};
            }
            const std::string_view name = path.substr(tree.path().size() + 1);
            if (name.find('/') != std::string_view::npos)
                throw ImportError{line.offset, "The folder that a record lies in does not come before it."};
            if (!isContainer) return tree.addItem(name, line.item, line.offset);
            ImportedItem folder = line.item;
            folder.isHardLinkDuplicate = false;
            tree.beginFolder(name, folder, line.offset);
        }
        if (line.unlisted > 0) tree.addUnlisted(line.unlisted, line.offset);
    }

    void readIssue() {
        ScanIssue issue;
        members([&](const std::string& key, Token token) {
            if (key == "path") {
                issue.path = Text{textAt(token)};
            } else if (key == "message") {
                issue.message = shortText(textAt(token));
            } else {
                tokens_.skipRest(token);
            }
        });
        ++scan_.unread;
        if (scan_.issues.size() < ReadScan::mostIssues) scan_.issues.push_back(std::move(issue));
    }

    void readEnd() {
        std::optional<std::uint64_t> records;
        members([&](const std::string& key, Token token) {
            if (key == "records" && token == Token::number) records = wholeNumber(tokens_.text());
            tokens_.skipRest(token);
        });
        if (records != records_ || records_ == 0) fail("The number of records is not what the end says.");
        hasEnd_ = true;
    }

    /// Well-formed, since a path is compared with the ones before it.
    [[nodiscard]] std::string_view textAt(Token token) const {
        if (token != Token::string) fail("A text was expected.");
        if (!isWellFormedUTF8(tokens_.text())) fail("A text is no UTF-8.");
        return tokens_.text();
    }
    [[nodiscard]] bool truthAt(Token token) const {
        if (token != Token::truth && token != Token::falsehood) fail("True or false was expected.");
        return token == Token::truth;
    }
    [[nodiscard]] Date dateAt(Token token) const {
        const auto date = dateFromRFC3339(textAt(token));
        if (!date) fail("A time is none.");
        return *date;
    }

    JSONTokenReader& tokens_;
    ReadScan& scan_;
    std::string root_;
    std::uint64_t records_ = 0;
    bool hasEnd_ = false;
};

}  // namespace

void readLines(JSONTokenReader& tokens, ReadScan& scan) { LinesReader{tokens, scan}.read(); }

}  // namespace KestrelCore
