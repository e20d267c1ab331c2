#pragma once

#include <functional>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace KestrelCLI {

/// `text` in ASCII: quotes, dashes, lines of trees, bars and whatever else the program itself writes get the character
/// that stands for them on a typewriter ("…" three dots); every other character is an escape (\u{e9}), and so is each
/// byte that is not UTF-8.
[[nodiscard]] std::string asciiText(std::string_view text);

/// Hands on what is written, in ASCII as `asciiText` does, for a place that shows nothing else. As it is while
/// `isRaw()` says so, as for JSON, which is for programs. A character may come in several pieces.
class ASCIIOutput final : public std::streambuf {
public:
    /// `target` must outlive this; it takes what it hands on.
    ASCIIOutput(std::streambuf& target, std::function<bool()> isRaw) : target_{target}, isRaw_{std::move(isRaw)} {}
    ASCIIOutput(const ASCIIOutput&) = delete;
    ASCIIOutput& operator=(const ASCIIOutput&) = delete;
    ~ASCIIOutput() override { (void)writePending(); }

protected:
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* text, std::streamsize length) override;
    int sync() override;

private:
    [[nodiscard]] bool write(std::string_view text);
    [[nodiscard]] bool writePending();

    std::streambuf& target_;
    std::function<bool()> isRaw_;
    std::string pending_;  ///< the beginning of a character whose end has not come yet
};

}  // namespace KestrelCLI
