#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// Reads JSON of any length token by token through one small buffer. Strings may hold bytes that are not UTF-8, which
/// come out as they are: file names in exports of other programs do. One thread.
///
/// simdjson wants a text whole; readers that parse in pieces recurse for each level or collect a string however long it
/// is. This one holds a bit for each open level and no text above a bound.
class JSONTokenReader {
public:
    enum class Token { beginObject, endObject, beginArray, endArray, key, string, number, truth, falsehood, null, end };

    struct Limits {
        std::size_t deepest = 512;                       ///< open objects and arrays
        std::size_t longestText = std::size_t{1} << 20;  ///< bytes of a string or a number
    };
    /// Fills the bytes from the beginning and gives how many; 0 at the end.
    using Source = std::function<std::size_t(std::span<char>)>;

    /// The text breaks the grammar of JSON, or a limit.
    class Error : public std::runtime_error {
    public:
        Error(std::uint64_t offset, const char* what) : std::runtime_error{what}, offset_{offset} {}
        [[nodiscard]] std::uint64_t offset() const noexcept { return offset_; }  ///< bytes from the beginning

    private:
        std::uint64_t offset_;
    };

    JSONTokenReader(Source source, const Limits& limits);

    /// The next token; `end` behind the value, after which nothing may come (see `expectAnother`).
    [[nodiscard]] Token next();
    /// Of a key or a string, escapes resolved (half a pair of surrogates becomes U+FFFD), or the digits of a number.
    /// Valid until the next token is asked for.
    [[nodiscard]] std::string_view text() const { return text_; }
    /// Where the token began.
    [[nodiscard]] std::uint64_t offset() const { return tokenOffset_; }
    /// Where the next byte stands.
    [[nodiscard]] std::uint64_t position() const { return before_ + at_; }
    [[nodiscard]] std::size_t depth() const { return isObject_.size(); }

    /// Goes on to the end of the value whose first token was just read.
    void skipRest(Token first);
    /// After a whole value: lets another one come behind it.
    void expectAnother() { isDone_ = false; }
    /// Whether nothing but blanks comes any more. Only between values.
    [[nodiscard]] bool isAtEnd();

private:
    [[noreturn]] void fail(const char* what) const;
    [[nodiscard]] bool more();
    [[nodiscard]] int peek();
    void skipBlanks();
    Token value(int first);
    Token open(bool isObject);
    Token close(bool isObject);
    void endValue();
    void readString();
    void readEscape();
    [[nodiscard]] unsigned readUnit();
    Token readNumber();
    Token readWord(std::string_view word, Token token);
    void append(std::string_view bytes);

    Source source_;
    Limits limits_;
    std::string buffer_;
    std::size_t at_ = 0;
    std::size_t end_ = 0;
    std::uint64_t before_ = 0;  ///< bytes before the buffer
    std::uint64_t tokenOffset_ = 0;
    std::string text_;
    std::vector<bool> isObject_;
    enum class Expects { value, valueOrEnd, keyOrEnd, key, commaOrEnd } expects_ = Expects::value;
    bool isEnded_ = false;  ///< the source has nothing more
    bool isDone_ = false;   ///< the outermost value is complete
};

}  // namespace KestrelCore
