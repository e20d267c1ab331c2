#include "Applications/Bundles/PropertyListChecks.hpp"

#include "Applications/Bundles/PropertyList.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

// A strict reading of the few constructs that property lists are made of: white space, processing instructions,
// comments and a document type between elements; text and CDATA only inside the leaf elements. Whatever a lenient
// decoder might read in another way than we do (a "<" inside a tag, a quoted ">", markup inside a leaf) is refused, so
// that the nesting counted here is the nesting that the decoder meets.

namespace KestrelCore {
namespace {

constexpr std::array<std::string_view, 2> containers{"dict", "array"};
constexpr std::array<std::string_view, 6> leaves{"key", "string", "integer", "real", "date", "data"};
constexpr std::array<std::string_view, 2> empties{"true", "false"};

template <std::size_t size>
bool isOneOf(std::string_view name, const std::array<std::string_view, size>& names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

class XMLCheck {
public:
    explicit XMLCheck(std::string_view bytes) : bytes_{bytes} {}

    bool run() {
        while (true) {
            position_ = std::min(bytes_.find_first_not_of(" \t\r\n", position_), bytes_.size());
            if (position_ == bytes_.size()) return open_.empty() && objects_ > 0;
            const std::string_view rest = bytes_.substr(position_);
            bool isSound = false;
            if (rest.starts_with("<?")) {
                isSound = skipPast("?>");
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
            if (!isSound) return false;
        }
    }

private:
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

    bool takeDocumentType() {
        const std::size_t end = bytes_.find_first_of("[<>", position_ + 1);
        if (end == std::string_view::npos || bytes_[end] != '>') return false;
        position_ = end + 1;
        return true;
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
        const bool isBalanced = std::count(attributes.begin(), attributes.end(), '"') % 2 == 0 &&
                                attributes.find('\'') == std::string_view::npos;
        if ((hasAttributes && tag.name != "plist") || !isBalanced) return {};
        return tag;
    }

    bool takeElement() {
        const Tag tag = takeTag();
        if (tag.name == "plist") {
            // Only outermost, and once.
            if (!open_.empty() || objects_ > 0 || !tag.hasContent || hasRoot_) return false;
            hasRoot_ = true;
            open_.push_back(tag.name);
            return true;
        }
        // Without the outermost element there is no property list, and it holds one object.
        if (open_.empty() || (open_.size() == 1 && objects_ > 0)) return false;
        if (++objects_ > PropertyListLimits::objects) return false;
        if (isOneOf(tag.name, containers)) {
            if (!tag.hasContent) return true;
            if (open_.size() > PropertyListLimits::nesting) return false;
            open_.push_back(tag.name);
            return true;
        }
        if (isOneOf(tag.name, empties)) return !tag.hasContent || takeEndOf(tag.name);
        if (!isOneOf(tag.name, leaves)) return false;
        return !tag.hasContent || takeLeafContent(tag.name);
    }

    bool takeLeafContent(std::string_view name) {
        constexpr std::string_view literalStart = "<![CDATA[";
        while (true) {
            position_ = bytes_.find('<', position_);
            if (position_ == std::string_view::npos) return false;
            if (!bytes_.substr(position_).starts_with(literalStart)) return takeEndOf(name);
            position_ += literalStart.size();
            if (!skipPast("]]>")) return false;
        }
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
        const std::string_view name = open_.back();
        open_.pop_back();
        return takeEndOf(name);
    }

    std::string_view bytes_;
    std::size_t position_ = 0;
    std::vector<std::string_view> open_;  ///< the outermost element and the containers around the position
    std::size_t objects_ = 0;
    bool hasRoot_ = false;
};

}  // namespace

bool isHarmlessXMLPropertyList(std::string_view bytes) {
    // A NUL would end the text for a decoder that works on strings, while it does not for us.
    return bytes.size() <= PropertyListLimits::fileBytes && bytes.find('\0') == std::string_view::npos &&
           XMLCheck{bytes}.run();
}

}  // namespace KestrelCore
