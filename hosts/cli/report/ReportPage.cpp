#include "report/ReportPage.hpp"

#include "report/ReportTemplateText.hpp"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <new>
#include <stdexcept>
#include <string>

namespace KestrelCLI {

namespace {

/// Where the data come; the page is built with exactly one of it.
constexpr std::string_view place = "@KESTREL-DATA@";

/// Bytes that come piece by piece, as text: each four are five digits to the base 85, which takes a sixteenth less than
/// base64 would. No digit means anything in markup.
class Base85 {
public:
    /// What is complete by now; with `isLast` all of it.
    [[nodiscard]] std::string take(std::string_view bytes, bool isLast) {
        rest_ += bytes;
        std::string text;
        text.reserve(rest_.size() / groupBytes * groupDigits + groupDigits);
        std::size_t at = 0;
        for (; at + groupBytes <= rest_.size(); at += groupBytes)
            appendGroup(text, std::string_view{rest_}.substr(at, groupBytes));
        rest_.erase(0, at);
        if (isLast && !rest_.empty()) {
            appendGroup(text, rest_);
            rest_.clear();
        }
        return text;
    }

private:
    static constexpr std::size_t groupBytes = 4;
    static constexpr std::size_t groupDigits = 5;

    /// Of less than four bytes one digit more than there are bytes; the others would say nothing.
    static void appendGroup(std::string& text, std::string_view bytes) {
        static constexpr std::string_view digits =
            "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz!#$%[()*+-;]=,?@^_.{|}~";
        static_assert(digits.size() == 85);
        std::uint32_t number = 0;
        for (std::size_t i = 0; i < groupBytes; ++i)
            number = number << 8 | (i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U);
        std::array<char, groupDigits> group{};
        for (std::size_t i = groupDigits; i-- > 0; number /= 85) group[i] = digits[number % 85];
        text.append(group.data(), bytes.size() + 1);
    }

    std::string rest_;
};

/// zlib's state for one text.
class Deflation {
public:
    Deflation() {
        if (deflateInit(&stream_, Z_BEST_COMPRESSION) != Z_OK) throw std::bad_alloc{};
    }
    ~Deflation() { deflateEnd(&stream_); }
    Deflation(const Deflation&) = delete;
    Deflation& operator=(const Deflation&) = delete;

    /// Calls `take` with pieces of what comes out.
    void add(std::string_view bytes, bool isLast, const auto& take) {
        // zlib only reads it, but wants to be able to write.
        stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
        stream_.avail_in = static_cast<uInt>(bytes.size());
        std::array<char, 0x10000> piece;
        do {
            stream_.next_out = reinterpret_cast<Bytef*>(piece.data());
            stream_.avail_out = static_cast<uInt>(piece.size());
            (void)deflate(&stream_, isLast ? Z_FINISH : Z_NO_FLUSH);
            take(std::string_view{piece.data(), piece.size() - stream_.avail_out});
        } while (stream_.avail_out == 0);
    }

private:
    z_stream stream_{};
};

}  // namespace

ReportTemplate reportTemplate() {
    const std::string_view text = reportTemplateText();
    const std::size_t at = text.find(place);
    return {.before = text.substr(0, at), .after = text.substr(at + place.size())};
}

void writeReportPage(std::ostream& out, std::string_view data, const std::function<void()>& proceed) {
    constexpr std::size_t step = 0x40000;
    const ReportTemplate page = reportTemplate();
    out << page.before;
    Deflation deflation;
    Base85 digits;
    for (std::size_t at = 0; at < data.size(); at += step) {
        proceed();
        deflation.add(data.substr(at, step), at + step >= data.size(),
                      [&](std::string_view piece) { out << digits.take(piece, false); });
    }
    out << digits.take({}, true) << page.after;
}

}  // namespace KestrelCLI
