#include "Exchange/ImportReader.hpp"

#include "Base/DecimalText.hpp"
#include "Base/SeededHash.hpp"
#include "KestrelCore/Base/FileIdentity.hpp"
#include "KestrelCore/Exchange/ExchangeFormat.hpp"

#include <boost/unordered/unordered_flat_set.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <string>

// Programs differ in what they write. ncdu marks every name of a file that has several with "hlnkc" and an "ino", and
// each counts once; gdu marks all but the first. What is neither a file nor a folder has "notreg": it is a link when
// it has a size, which nothing else of that sort has, unless "mode" tells.

namespace KestrelCore {

namespace {

using Token = JSONTokenReader::Token;

enum class Key : std::uint8_t {
    name,
    asize,
    dsize,
    dev,
    ino,
    nlink,
    hlnkc,
    readError,
    excluded,
    notreg,
    mode,
    mtime,
    unknown
};

constexpr std::array<std::string_view, 12> keys{"name",  "asize",      "dsize",    "dev",    "ino",  "nlink",
                                                "hlnkc", "read_error", "excluded", "notreg", "mode", "mtime"};

Key keyOf(std::string_view text) {
    const auto found = std::ranges::find(keys, text);
    return static_cast<Key>(found - keys.begin());
}

/// One object of the format.
struct Info {
    std::uint64_t offset = 0;
    std::uint64_t nameOffset = 0;
    std::string name;
    std::int64_t asize = 0;
    std::int64_t dsize = 0;
    std::optional<std::uint64_t> dev;
    std::optional<std::uint64_t> ino;
    std::optional<std::uint64_t> mode;
    std::optional<Date> mtime;
    bool hlnkc = false;
    bool readError = false;
    bool notreg = false;
    std::string excluded;
    std::uint32_t keysSeen = 0;

    [[nodiscard]] bool has(Key key) const { return (keysSeen >> static_cast<unsigned>(key) & 1U) != 0; }
};

std::optional<Date> dateOf(std::string_view number) {
    // Seconds before 1970 come as the unsigned number that a program made of them.
    if (const auto whole = wholeNumber(number))
        return Date::since1970(static_cast<double>(static_cast<std::int64_t>(*whole)));
    double seconds = 0;
    const auto [end, error] = readDecimal(number.data(), number.data() + number.size(), seconds);
    if (error != std::errc{} || end != number.data() + number.size()) return std::nullopt;
    return Date::since1970(seconds);
}

class NcduReader {
public:
    NcduReader(JSONTokenReader& tokens, ReadScan& scan) : tokens_{tokens}, scan_{scan} {}

    void read() {
        readVersion();
        readMetadata();
        if (tokens_.next() != Token::beginArray) fail("A folder was expected.");
        readInfo(tokens_.next());
        begin();
        while (scan_.tree.depth() > 0) readElement(tokens_.next());
        if (tokens_.next() != Token::endArray) fail("Something follows the top folder.");
        (void)tokens_.next();
    }

private:
    struct IdentityHash {
        std::size_t operator()(const FileIdentity& identity) const {
            return static_cast<std::size_t>(seededHash(identity.device, identity.inode));
        }
    };

    [[noreturn]] void fail(const char* what) const { throw ImportError{tokens_.offset(), what}; }

    void readVersion() {
        constexpr std::uint64_t highest = 10'000;
        const auto version = [&] {
            const auto number = tokens_.next() == Token::number ? wholeNumber(tokens_.text()) : std::nullopt;
            if (!number || *number > highest) fail("A version was expected: this is no export of ncdu.");
            return *number;
        };
        if (version() != 1) fail("The version of the format is not 1.");
        (void)version();
    }

    void readMetadata() {
        if (tokens_.next() != Token::beginObject) fail("An object that describes the export was expected.");
        std::string program;
        std::string version;
        for (Token token = tokens_.next(); token != Token::endObject; token = tokens_.next()) {
            const std::string key{tokens_.text()};
            token = tokens_.next();
            if (key == "progname" && token == Token::string) program = tokens_.text();
            if (key == "progver" && token == Token::string) version = tokens_.text();
            if (key == "timestamp" && token == Token::number) scan_.completedAt = dateOf(tokens_.text());
            tokens_.skipRest(token);
        }
        countsFirstUnmarked_ = program == "gdu";
        if (program.empty()) return;
        scan_.program = shortText(version.empty() ? program : program + ' ' + version);
    }

    void readElement(Token token) {
        switch (token) {
        case Token::beginObject:
            readInfo(token);
            add();
            return;
        case Token::beginArray:
            readInfo(tokens_.next());
            begin();
            return;
        case Token::endArray:
            scan_.tree.endFolder();
            devices_.pop_back();
            return;
        default: fail("A folder or a file was expected.");
        }
    }

    /// Reads an object into `info_`.
    void readInfo(Token first) {
        if (first != Token::beginObject) fail("An object that describes a folder was expected.");
        info_.offset = tokens_.offset();
        info_.name.clear();
        info_.excluded.clear();
        info_.asize = info_.dsize = 0;
        info_.dev = info_.ino = info_.mode = std::nullopt;
        info_.mtime = std::nullopt;
        info_.hlnkc = info_.readError = info_.notreg = false;
        info_.keysSeen = 0;
        while (tokens_.next() != Token::endObject) {
            const Key key = keyOf(tokens_.text());
            if (key != Key::unknown && info_.has(key)) fail("A key occurs twice.");
            info_.keysSeen |= 1U << static_cast<unsigned>(key);
            readValue(key, tokens_.next());
        }
        if (!info_.has(Key::name)) throw ImportError{info_.offset, "An item has no name."};
    }

    void readValue(Key key, Token token) {
        switch (key) {
        case Key::name:
            info_.nameOffset = tokens_.offset();
            info_.name = textAt(token);
            return;
        case Key::asize: info_.asize = sizeAt(tokens_, token); return;
        case Key::dsize: info_.dsize = sizeAt(tokens_, token); return;
        case Key::dev: info_.dev = numberAt(token); return;
        case Key::ino: info_.ino = numberAt(token); return;
        case Key::nlink: (void)numberAt(token); return;
        case Key::mode: info_.mode = numberAt(token); return;
        case Key::hlnkc: info_.hlnkc = truthAt(token); return;
        case Key::readError: info_.readError = truthAt(token); return;
        case Key::notreg: info_.notreg = truthAt(token); return;
        case Key::excluded: info_.excluded = textAt(token); return;
        case Key::mtime:
            if (token == Token::number) info_.mtime = dateOf(tokens_.text());
            if (!info_.mtime) fail("A time is none.");
            return;
        case Key::unknown: tokens_.skipRest(token); return;
        }
    }

    [[nodiscard]] std::string_view textAt(Token token) const {
        if (token != Token::string) fail("A text was expected.");
        return tokens_.text();
    }
    [[nodiscard]] std::uint64_t numberAt(Token token) const {
        const auto number = token == Token::number ? wholeNumber(tokens_.text()) : std::nullopt;
        if (!number) fail("A whole number was expected.");
        return *number;
    }
    [[nodiscard]] bool truthAt(Token token) const {
        if (token != Token::truth && token != Token::falsehood) fail("True or false was expected.");
        return token == Token::truth;
    }

    [[nodiscard]] ImportedItem item(FileKind kind) const {
        return {.kind = kind,
                .logicalBytes = info_.asize,
                .allocatedBytes = info_.dsize,
                .modifiedAt = info_.mtime,
                .isHidden = info_.name.starts_with('.')};
    }

    /// Of what is no array.
    [[nodiscard]] FileKind kind() const {
        constexpr std::uint64_t typeBits = 0xF000;
        constexpr std::uint64_t regular = 0x8000;
        constexpr std::uint64_t directory = 0x4000;
        constexpr std::uint64_t link = 0xA000;
        if (info_.mode && (*info_.mode & typeBits) != 0) {
            switch (*info_.mode & typeBits) {
            case regular: return FileKind::file;
            case directory: return FileKind::directory;
            case link: return FileKind::symbolicLink;
            default: return FileKind::other;
            }
        }
        if (info_.notreg) return info_.asize > 0 ? FileKind::symbolicLink : FileKind::other;
        if (info_.excluded.empty()) return FileKind::file;
        // A place where another file system begins is a folder; of what a pattern left out nobody knows what it is.
        return info_.excluded == "pattern" ? FileKind::other : FileKind::directory;
    }

    void begin() {
        const ImportedItem folder = item(FileKind::directory);
        if (scan_.tree.depth() == 0) {
            scan_.tree.beginTop(info_.name, folder, info_.nameOffset);
            if (info_.readError) addIssue(scan_.tree.top());
        } else {
            scan_.tree.beginFolder(info_.name, folder, info_.nameOffset);
            if (info_.readError) addIssue(Text{scan_.tree.path()});
        }
        noteExcluded();
        devices_.push_back(info_.dev.value_or(devices_.empty() ? 0 : devices_.back()));
    }

    void add() {
        ImportedItem file = item(kind());
        const bool isContainer = file.kind == FileKind::directory;
        if (info_.hlnkc && info_.ino && !isContainer) {
            const FileIdentity identity{.device = info_.dev.value_or(devices_.back()), .inode = *info_.ino};
            file.isHardLinkDuplicate = countsFirstUnmarked_ || !seenLinks_.insert(identity).second;
        }
        if (isContainer) {
            scan_.tree.beginFolder(info_.name, file, info_.nameOffset);
            scan_.tree.endFolder();
        } else {
            scan_.tree.addItem(info_.name, file, info_.nameOffset);
        }
        noteExcluded();
        if (info_.readError) addIssue(Text::concatenating({scan_.tree.path(), "/", Text{info_.name}.view()}));
    }

    void noteExcluded() {
        const auto note = [this](std::string_view words) {
            if (std::ranges::find(scan_.leftOut, Text{words}) == scan_.leftOut.end()) scan_.leftOut.emplace_back(words);
        };
        // That other file systems are not entered is nothing special.
        if (info_.excluded == "pattern") note("what matched a pattern");
        if (info_.excluded == "kernfs") note("file systems of the kernel");
    }

    void addIssue(const Text& path) {
        ++scan_.unread;
        if (scan_.issues.size() < ReadScan::mostIssues)
            scan_.issues.push_back({path, Text{"It could not be read when it was scanned."}});
    }

    JSONTokenReader& tokens_;
    ReadScan& scan_;
    Info info_;
    std::vector<std::uint64_t> devices_;  ///< of the open folders
    boost::unordered_flat_set<FileIdentity, IdentityHash> seenLinks_;
    bool countsFirstUnmarked_ = false;
};

}  // namespace

void readNcdu(JSONTokenReader& tokens, ReadScan& scan) { NcduReader{tokens, scan}.read(); }

}  // namespace KestrelCore
