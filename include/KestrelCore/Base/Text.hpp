#pragma once

#include "KestrelCore/Export.hpp"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace KestrelCore {

/// An immutable, well-formed UTF-8 text that is compared, hashed, ordered and prefix-tested under canonical
/// equivalence: a precomposed and a decomposed spelling of one word are equal, and neither is rewritten.
///
/// Cheap to copy and to slice: copies and slices share one buffer, whose count of users is safe between threads.
/// Whether the text is ASCII, or already in normal form C, is found once when it is made; such texts compare byte by
/// byte, and only the rest asks the Unicode library. "Character" means extended grapheme cluster throughout. A text
/// that was moved from is empty. Different texts, and copies of one, belong to different threads freely.
///
/// A text is a handle of three words that stays as it is for all versions of one major number: lengths, forms and
/// bytes are read in hosts' own code, since texts are compared, copied and dropped wherever anything is done. The
/// buffer behind it, and all that looks at more than the bytes, is the library's own and may change.
class KESTRELCORE_EXPORT Text {
public:
    Text() noexcept = default;  ///< the empty text

    /// Copies `bytes`; every maximal ill-formed piece of UTF-8 becomes one U+FFFD. Implicit on purpose: a literal in a
    /// call is a text.
    Text(std::string_view bytes);
    Text(const char* literal) : Text(std::string_view{literal}) {}
    Text(const std::string& bytes) : Text(std::string_view{bytes}) {}

    Text(const Text& other) noexcept : data_{other.data_}, sizeAndForm_{other.sizeAndForm_}, owner_{other.owner_} {
        if (owner_ != nullptr) retain();
    }
    Text(Text&& other) noexcept
        : data_{std::exchange(other.data_, "")}, sizeAndForm_{std::exchange(other.sizeAndForm_, emptyForm)},
          owner_{std::exchange(other.owner_, nullptr)} {}
    Text& operator=(Text other) noexcept {
        swap(*this, other);
        return *this;
    }
    ~Text() {
        if (owner_ != nullptr) release();
    }
    friend void swap(Text& a, Text& b) noexcept {
        std::swap(a.data_, b.data_);
        std::swap(a.sizeAndForm_, b.sizeAndForm_);
        std::swap(a.owner_, b.owner_);
    }

    /// The pieces one after the other in one new buffer. Each piece is repaired on its own.
    [[nodiscard]] static Text concatenating(std::initializer_list<std::string_view> pieces);

    /// The bytes as given (never normalised); valid as long as this text or any copy or slice of it lives.
    [[nodiscard]] std::string_view view() const noexcept { return {data_, byteCount()}; }
    [[nodiscard]] std::string string() const { return std::string{view()}; }
    [[nodiscard]] std::size_t byteCount() const noexcept { return static_cast<std::size_t>(sizeAndForm_ >> formBits); }
    [[nodiscard]] bool isEmpty() const noexcept { return byteCount() == 0; }
    [[nodiscard]] bool isASCII() const noexcept { return (sizeAndForm_ & asciiForm) != 0; }
    /// Whether the bytes are in normal form C; true for every ASCII text.
    [[nodiscard]] bool isNormalized() const noexcept { return (sizeAndForm_ & normalForm) != 0; }

    /// How many characters (grapheme clusters) the text has; CR LF is one.
    [[nodiscard]] std::size_t count() const;

    /// `length` bytes from byte `offset`, sharing this text's buffer. Both ends must lie on scalar boundaries inside
    /// the text.
    [[nodiscard]] Text slice(std::size_t offset, std::size_t length) const;

    /// The text in normal form C; itself when it already is.
    [[nodiscard]] Text normalized() const;

    /// Canonical equivalence. Case, width and compatibility forms stay significant.
    friend bool operator==(const Text& a, const Text& b) {
        if (a.isNormalized() && b.isNormalized()) return a.view() == b.view();
        return equalSlowly(a, b);
    }
    /// By the scalar values of the normal form C: no locale, no case. Weak, since equal texts may differ in spelling.
    friend std::weak_ordering operator<=>(const Text& a, const Text& b) {
        if (a.isNormalized() && b.isNormalized()) return a.view().compare(b.view()) <=> 0;
        return compareSlowly(a, b);
    }
    /// Equal texts hash alike.
    [[nodiscard]] std::size_t hash() const;

    /// Whether the text begins with `prefix`, character by character: "é" written as e and U+0301 does not begin with
    /// "e". The empty prefix always matches.
    [[nodiscard]] bool hasPrefix(const Text& prefix) const;
    /// The same at the end of the text.
    [[nodiscard]] bool hasSuffix(const Text& suffix) const;
    /// Whether `other` occurs under canonical equivalence. An occurrence that is followed by a scalar which extends its
    /// last character does not count. The empty text occurs nowhere, not even in itself.
    [[nodiscard]] bool contains(const Text& other) const;

    /// Each scalar replaced by its lower-case mapping, without context or locale: Σ is always σ, ß stays.
    [[nodiscard]] Text lowercased() const;
    /// Full case folding, scalar by scalar, without a locale: ß becomes ss. How query texts are read.
    [[nodiscard]] Text folded() const;
    /// The pieces between white space characters; empty pieces are dropped. Slices of this text.
    [[nodiscard]] std::vector<Text> splitAtWhiteSpace() const;
    /// The maximal runs of characters that are letters, numbers or "." (no case change). Slices of this text.
    [[nodiscard]] std::vector<Text> words() const;

private:
    struct Buffer;

    static constexpr std::uint64_t formBits = 2;
    static constexpr std::uint64_t asciiForm = 1;   ///< every byte below 0x80; implies `normalForm`
    static constexpr std::uint64_t normalForm = 2;  ///< in normal form C
    static constexpr std::uint64_t emptyForm = asciiForm | normalForm;

    /// A copy of well-formed bytes whose form is known.
    static Text fromWellFormed(std::string_view bytes, std::uint64_t form);
    static std::uint64_t formOf(std::string_view wellFormed);
    void retain() const noexcept;
    void release() noexcept;
    static bool equalSlowly(const Text& a, const Text& b);
    static std::weak_ordering compareSlowly(const Text& a, const Text& b);

    // The handle, fixed as the class comment says: neither its order nor its meaning may change.
    const char* data_ = "";
    std::uint64_t sizeAndForm_ = emptyForm;  ///< byte count << formBits | form
    Buffer* owner_ = nullptr;                ///< null only for the empty text
};

}  // namespace KestrelCore

template <>
struct std::hash<KestrelCore::Text> {
    std::size_t operator()(const KestrelCore::Text& text) const { return text.hash(); }
};
