#include "Applications/Bundles/PropertyList.hpp"

#include "Base/TextScan.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// A strict reading of the few constructs that property lists are made of: white space, processing instructions,
// comments and a document type between elements; text and CDATA only inside the leaf elements. Whatever one reader
// takes in this way and another in that (a "<" inside a tag, a quoted ">", markup inside a leaf) is refused.
//
// In a dictionary a <key> names the value that follows; where a name already waits, it is a string like any other. A
// name at the end of a dictionary names nothing and is left out.

namespace KestrelCore {
namespace {

constexpr std::array<std::string_view, 2> containers{"dict", "array"};
constexpr std::array<std::string_view, 4> leaves{"integer", "real", "date", "data"};  // besides the strings
constexpr std::array<std::string_view, 2> empties{"true", "false"};

template <std::size_t size>
bool isOneOf(std::string_view name, const std::array<std::string_view, size>& names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

bool hasPairedQuotes(std::string_view markup) { return std::count(markup.begin(), markup.end(), '"') % 2 == 0; }

/// The scalar that is meant by what stands between "&#" and ";". Empty where there is none: beyond Unicode, half of a
/// UTF-16 pair, or U+0000.
std::optional<std::int32_t> scalarOf(std::string_view reference) {
    const bool isHexadecimal = reference.starts_with('x') || reference.starts_with('X');
    if (isHexadecimal) reference.remove_prefix(1);
    std::uint32_t scalar = 0;
    const char* const end = reference.data() + reference.size();
    const auto [stop, error] = std::from_chars(reference.data(), end, scalar, isHexadecimal ? 16 : 10);
    if (error != std::errc{} || stop != end) return std::nullopt;
    const bool isSurrogate = scalar >= 0xD800 && scalar < 0xE000;
    if (scalar == 0 || scalar > 0x10FFFF || isSurrogate) return std::nullopt;
    return static_cast<std::int32_t>(scalar);
}

/// Appends text of an element. False for an entity other than the five that XML has and the numeric ones.
bool appendWithEntities(std::string_view text, std::string& out) {
    constexpr std::array<std::pair<std::string_view, char>, 5> entities{
        {{"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}}};
    while (true) {
        const std::size_t start = text.find('&');
        out += text.substr(0, start);
        if (start == std::string_view::npos) return true;
        const std::size_t end = text.find(';', start);
        if (end == std::string_view::npos) return false;
        const std::string_view name = text.substr(start + 1, end - start - 1);
        text.remove_prefix(end + 1);
        if (name.starts_with('#')) {
            const std::optional<std::int32_t> scalar = scalarOf(name.substr(1));
            if (!scalar) return false;
            appendUTF8(*scalar, out);
            continue;
        }
        const auto* const entity =
            std::find_if(entities.begin(), entities.end(), [name](const auto& known) { return known.first == name; });
        if (entity == entities.end()) return false;
        out.push_back(entity->second);
    }
}

class XMLReader {
public:
    explicit XMLReader(std::string_view bytes) : bytes_{bytes} {}

    std::optional<PropertyListStrings> run() {
        while (true) {
            position_ = std::min(bytes_.find_first_not_of(" \t\r\n", position_), bytes_.size());
            if (position_ == bytes_.size()) {
                if (!open_.empty() || !isDictionary_) return std::nullopt;
                return std::move(strings_);
            }
            const std::string_view rest = bytes_.substr(position_);
            bool isSound = false;
            if (rest.starts_with("<?")) {
                isSound = takeInstruction();
            } else if (rest.starts_with("<!--")) {
                position_ += 4;
                isSound = skipPast("-->");
            } else if (rest.starts_with("<!DOCTYPE")) {
                isSound = takeDocumentType();
            } else if (rest.starts_with("</")) {
                isSound = takeEnd();
            } else if (rest.starts_with('<')) {
                isSound = takeElement();
            }
            if (!isSound) return std::nullopt;
        }
    }

private:
    /// An element whose end has not come.
    struct Open {
        std::string_view name;
        bool hasKey = false;  ///< of a dictionary: whether the next value has its name
    };

    struct Tag {
        std::string_view name;
        bool hasContent = true;
    };

    bool skipPast(std::string_view end) {
        const std::size_t found = bytes_.find(end, position_);
        if (found == std::string_view::npos) return false;
        position_ = found + end.size();
        return true;
    }

    bool takeInstruction() {
        const std::size_t start = position_;
        return skipPast("?>") && hasPairedQuotes(bytes_.substr(start, position_ - start));
    }

    bool takeDocumentType() {
        const std::size_t start = position_;
        const std::size_t end = bytes_.find_first_of("[<>", start + 1);
        if (end == std::string_view::npos || bytes_[end] != '>') return false;
        position_ = end + 1;
        return hasPairedQuotes(bytes_.substr(start, end - start));
    }

    /// The tag that begins at the position, which moves behind it; an empty name when it is not plain.
    Tag takeTag() {
        const std::size_t start = position_ + 1;
        const std::size_t end = bytes_.find_first_of("<>", start);
        if (end == std::string_view::npos || bytes_[end] != '>') return {};
        std::string_view inside = bytes_.substr(start, end - start);
        position_ = end + 1;
        Tag tag;
        if (inside.ends_with('/')) {
            tag.hasContent = false;
            inside.remove_suffix(1);
        }
        tag.name = inside.substr(0, inside.find_first_of(" \t\r\n"));
        const std::string_view attributes = inside.substr(tag.name.size());
        const bool hasAttributes = attributes.find_first_not_of(" \t\r\n") != std::string_view::npos;
        const bool isBalanced = hasPairedQuotes(attributes) && attributes.find('\'') == std::string_view::npos;
        if ((hasAttributes && tag.name != "plist") || !isBalanced) return {};
        return tag;
    }

    bool takeElement() {
        const Tag tag = takeTag();
        if (tag.name == "plist") {
            // Only outermost, and once.
            if (!open_.empty() || objects_ > 0 || !tag.hasContent || hasRoot_) return false;
            hasRoot_ = true;
            open_.push_back({tag.name});
            return true;
        }
        // Without the outermost element there is no property list, and it holds one object.
        if (open_.empty() || (open_.size() == 1 && objects_ > 0)) return false;
        if (++objects_ > PropertyListLimits::objects) return false;
        const bool isKey = tag.name == "key" && open_.back().name == "dict" && !open_.back().hasKey;
        if (isKey) {
            open_.back().hasKey = true;
            key_.clear();
            return tag.hasContent && takeString(tag.name, key_);
        }
        if (open_.back().name == "dict" && !std::exchange(open_.back().hasKey, false)) return false;
        if (isOneOf(tag.name, containers)) {
            keep(std::nullopt);
            if (open_.size() == 1) isDictionary_ = tag.name == "dict";
            if (!tag.hasContent) return true;
            if (open_.size() > PropertyListLimits::nesting) return false;
            open_.push_back({tag.name});
            return true;
        }
        if (tag.name == "string" || tag.name == "key") {
            std::string value;
            if (tag.hasContent && !takeString(tag.name, value)) return false;
            keep(std::move(value));
            return true;
        }
        keep(std::nullopt);
        if (isOneOf(tag.name, empties)) return !tag.hasContent || takeEndOf(tag.name);
        if (!isOneOf(tag.name, leaves)) return false;
        std::string ignored;
        return !tag.hasContent ||
               takeLeafContent(tag.name, ignored, [](std::string_view, std::string&) { return true; });
    }

    bool takeString(std::string_view name, std::string& text) {
        return takeLeafContent(name, text, appendWithEntities);
    }

    /// Appends the content of a leaf up to its end, which the position moves behind: CDATA as it stands, and the text
    /// around it as `appendText` takes it.
    template <typename AppendText>
    bool takeLeafContent(std::string_view name, std::string& content, AppendText appendText) {
        constexpr std::string_view literalStart = "<![CDATA[";
        constexpr std::string_view literalEnd = "]]>";
        while (true) {
            const std::size_t start = std::exchange(position_, bytes_.find('<', position_));
            if (position_ == std::string_view::npos) return false;
            if (!appendText(bytes_.substr(start, position_ - start), content)) return false;
            if (!bytes_.substr(position_).starts_with(literalStart)) return takeEndOf(name);
            const std::size_t literal = position_ + literalStart.size();
            position_ = literal;
            if (!skipPast(literalEnd)) return false;
            content += bytes_.substr(literal, position_ - literalEnd.size() - literal);
        }
    }

    /// The later of two equal keys replaces the value. Only the outermost pairs are of interest.
    void keep(std::optional<std::string> value) {
        if (open_.size() != 2 || open_.back().name != "dict") return;
        std::optional<Text> text;
        if (value) text = Text{*value};
        strings_.insert_or_assign(Text{key_}, std::move(text));
    }

    bool takeEndOf(std::string_view name) {
        position_ = std::min(bytes_.find_first_not_of(" \t\r\n", position_), bytes_.size());
        if (!bytes_.substr(position_).starts_with("</")) return false;
        ++position_;
        const Tag tag = takeTag();
        return tag.hasContent && tag.name == name;
    }

    bool takeEnd() {
        if (open_.empty()) return false;
        const std::string_view name = open_.back().name;
        open_.pop_back();
        return takeEndOf(name);
    }

    std::string_view bytes_;
    std::size_t position_ = 0;
    std::vector<Open> open_;  ///< the outermost element and the containers around the position
    std::size_t objects_ = 0;
    bool hasRoot_ = false;
    bool isDictionary_ = false;  ///< whether the one object is
    std::string key_;            ///< the last one
    PropertyListStrings strings_;
};

}  // namespace

std::optional<PropertyListStrings> readXMLPropertyList(std::string_view bytes) {
    // A NUL is no character of XML; it would end the text for a reader that works on C strings.
    if (bytes.size() > PropertyListLimits::fileBytes || bytes.find('\0') != std::string_view::npos) return std::nullopt;
    return XMLReader{bytes}.run();
}

}  // namespace KestrelCore
