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

/// Base64 of bytes that come piece by piece.
class Base64 {
public:
    /// What is complete by now; with `isLast` all of it.
    [[nodiscard]] std::string take(std::string_view bytes, bool isLast) {
        rest_ += bytes;
        const std::size_t left = isLast ? 0 : rest_.size() % 3;
        const std::string text = encoded(std::string_view{rest_}.substr(0, rest_.size() - left));
        rest_.erase(0, rest_.size() - left);
        return text;
    }

private:
    static std::string encoded(std::string_view bytes) {
        static constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        std::string text;
        text.reserve((bytes.size() + 2) / 3 * 4);
        for (std::size_t i = 0; i < bytes.size(); i += 3) {
            const auto part = [&](std::size_t at) -> std::uint32_t {
                return at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0U;
            };
            const std::uint32_t three = part(i) << 16 | part(i + 1) << 8 | part(i + 2);
            text += digits[three >> 18];
            text += digits[three >> 12 & 63];
            text += i + 1 < bytes.size() ? digits[three >> 6 & 63] : '=';
            text += i + 2 < bytes.size() ? digits[three & 63] : '=';
        }
        return text;
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
    Base64 base64;
    for (std::size_t at = 0; at < data.size(); at += step) {
        proceed();
        deflation.add(data.substr(at, step), at + step >= data.size(),
                      [&](std::string_view piece) { out << base64.take(piece, false); });
    }
    out << base64.take({}, true) << page.after;
}

}  // namespace KestrelCLI
