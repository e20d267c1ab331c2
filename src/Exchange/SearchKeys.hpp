#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace KestrelCore {

/// What a column store needs beside a record's texts to find what `Text::contains` finds in them lowercased, though it
/// knows bytes alone: `pattern(word)` stands in `key(text)`, byte by byte, exactly when the lowercased text contains
/// the word. All parameters are well-formed UTF-8. Any thread.
struct SearchKeys {
    enum class TextClass : std::uint8_t {
        ascii = 0,  ///< name and extension are ASCII
        keyed = 1,  ///< they are not; the keys tell what they contain
        odd = 2     ///< the path is not the folder's path, "/" and the name: `ofOdd` gives the keys
    };

    TextClass textClass = TextClass::ascii;
    std::string name;
    std::string path;

    /// Of a record whose path is its folder's path, "/" (but after the folder "/") and its name. The columns that go
    /// with it are `column` of the name and of the folder's path, the latter once a folder. `odd` where the name begins
    /// with what makes the "/" before it another character.
    [[nodiscard]] static TextClass classOf(std::string_view name, std::string_view fileExtension);
    /// Of any other record, and of one that `classOf` calls odd: the keys of the name as it is shown and of the whole
    /// path.
    [[nodiscard]] static SearchKeys ofOdd(std::string_view name, std::string_view path);

    /// The key, or nothing where making ASCII letters small gives the very same, which a column store can do itself.
    [[nodiscard]] static std::string column(std::string_view text);
    [[nodiscard]] static std::string key(std::string_view text);
    /// What to look for in keys for a word, whose case is left as it is. Empty for the empty word, which is in no text.
    [[nodiscard]] static std::string pattern(std::string_view word);
};

}  // namespace KestrelCore
