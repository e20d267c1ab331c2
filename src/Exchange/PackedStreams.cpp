#include "Exchange/PackedStreams.hpp"

#include "KestrelCore/Model/KestrelError.hpp"

#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <utility>

namespace KestrelCore {

namespace {

constexpr std::size_t pieceSize = std::size_t{1} << 16;
constexpr std::array<unsigned char, 2> gzipMark{0x1F, 0x8B};
constexpr std::array<unsigned char, 4> zstdMark{0x28, 0xB5, 0x2F, 0xFD};

class PlainSink final : public PackingSink {
public:
    explicit PlainSink(const ByteSink& sink) : sink_{sink} {}
    void write(std::string_view bytes) override { sink_(bytes); }
    void finish() override {}

private:
    const ByteSink& sink_;
};

class GzipSink final : public PackingSink {
public:
    explicit GzipSink(const ByteSink& sink) : sink_{sink}, out_(pieceSize, '\0') {
        constexpr int gzipWindow = 15 + 16;  // the largest window, and gzip's own header
        constexpr int memoryLevel = 8;
        if (deflateInit2(&stream_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, gzipWindow, memoryLevel, Z_DEFAULT_STRATEGY) !=
            Z_OK)
            throw KestrelError::unavailable("The export could not be compressed.");
    }
    ~GzipSink() override { deflateEnd(&stream_); }
    GzipSink(const GzipSink&) = delete;
    GzipSink& operator=(const GzipSink&) = delete;

    void write(std::string_view bytes) override {
        while (!bytes.empty()) {
            const std::string_view piece = bytes.substr(0, pieceSize);
            run(piece, Z_NO_FLUSH);
            bytes.remove_prefix(piece.size());
        }
    }
    void finish() override { run({}, Z_FINISH); }

private:
    void run(std::string_view bytes, int flush) {
        // zlib reads what it is given and writes to none of it.
        stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
        stream_.avail_in = static_cast<uInt>(bytes.size());
        do {
            stream_.next_out = reinterpret_cast<Bytef*>(out_.data());
            stream_.avail_out = static_cast<uInt>(out_.size());
            (void)deflate(&stream_, flush);  // fails only for a stream that was never begun
            sink_(std::string_view{out_}.substr(0, out_.size() - stream_.avail_out));
        } while (stream_.avail_out == 0);
    }

    const ByteSink& sink_;
    std::string out_;
    z_stream stream_{};
};

class ZstdSink final : public PackingSink {
public:
    explicit ZstdSink(const ByteSink& sink) : sink_{sink}, context_{ZSTD_createCCtx(), &ZSTD_freeCCtx} {
        if (context_ == nullptr) throw KestrelError::unavailable("The export could not be compressed.");
        check(ZSTD_CCtx_setParameter(context_.get(), ZSTD_c_checksumFlag, 1));
        out_.resize(ZSTD_CStreamOutSize());
    }
    void write(std::string_view bytes) override { run(bytes, ZSTD_e_continue); }
    void finish() override { run({}, ZSTD_e_end); }

private:
    static void check(std::size_t result) {
        if (ZSTD_isError(result) != 0) throw KestrelError::unavailable("The export could not be compressed.");
    }
    void run(std::string_view bytes, ZSTD_EndDirective directive) {
        ZSTD_inBuffer in{bytes.data(), bytes.size(), 0};
        for (bool isDone = false; !isDone;) {
            ZSTD_outBuffer out{out_.data(), out_.size(), 0};
            const std::size_t left = ZSTD_compressStream2(context_.get(), &out, &in, directive);
            check(left);
            if (out.pos > 0) sink_(std::string_view{out_}.substr(0, out.pos));
            isDone = directive == ZSTD_e_end ? left == 0 : in.pos == in.size;
        }
    }

    const ByteSink& sink_;
    std::unique_ptr<ZSTD_CCtx, decltype(&ZSTD_freeCCtx)> context_;
    std::string out_;
};

/// What is left of the input, and how much of it was used.
class Input {
public:
    explicit Input(ByteSource source) : source_{std::move(source)}, buffer_(pieceSize, '\0') {}

    /// Reads more behind what is there, moved to the front; false at the end.
    bool more() {
        std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
        end_ -= std::exchange(begin_, 0);
        const std::size_t count = source_({buffer_.data() + end_, buffer_.size() - end_});
        end_ += count;
        return count > 0;
    }
    /// As many bytes as fit, once more only where nothing is left.
    std::string_view rest() {
        if (begin_ == end_) (void)more();
        return std::string_view{buffer_}.substr(begin_, end_ - begin_);
    }
    void use(std::size_t count) {
        begin_ += count;
        used_ += count;
    }
    [[nodiscard]] std::uint64_t used() const { return used_; }
    [[nodiscard]] bool startsWith(std::span<const unsigned char> mark) const {
        return end_ - begin_ >= mark.size() && std::memcmp(buffer_.data() + begin_, mark.data(), mark.size()) == 0;
    }
    [[nodiscard]] std::size_t size() const { return end_ - begin_; }

private:
    ByteSource source_;
    std::string buffer_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::uint64_t used_ = 0;
};

class PlainSource final : public UnpackingSource {
public:
    explicit PlainSource(Input input) : input_{std::move(input)} {}
    std::size_t read(std::span<char> bytes) override {
        const std::string_view rest = input_.rest();
        const std::size_t count = std::min(rest.size(), bytes.size());
        std::memcpy(bytes.data(), rest.data(), count);
        input_.use(count);
        return count;
    }

private:
    Input input_;
};

/// Holds what is expanded to a measure.
class ExpandingSource : public UnpackingSource {
public:
    explicit ExpandingSource(Input input) : input_{std::move(input)} {}

protected:
    [[nodiscard]] Input& input() { return input_; }
    [[noreturn]] void refuse(const char* why) const { throw ImportError{input_.used(), why}; }
    std::size_t counted(std::size_t count) {
        expanded_ += count;
        if (expanded_ > freeBytes && expanded_ / mostGrowth > input_.used())
            refuse("The compressed data expands to far more than a scan does.");
        return count;
    }

private:
    Input input_;
    std::uint64_t expanded_ = 0;
};

class GzipSource final : public ExpandingSource {
public:
    explicit GzipSource(Input input) : ExpandingSource{std::move(input)} {
        constexpr int gzipWindow = 15 + 16;
        if (inflateInit2(&stream_, gzipWindow) != Z_OK)
            throw KestrelError::unavailable("The import could not be expanded.");
    }
    ~GzipSource() override { inflateEnd(&stream_); }
    GzipSource(const GzipSource&) = delete;
    GzipSource& operator=(const GzipSource&) = delete;

    std::size_t read(std::span<char> bytes) override {
        for (;;) {
            const std::string_view rest = input().rest();
            if (rest.empty()) {
                if (isInMember_) refuse("The compressed data ends too early.");
                return 0;
            }
            isInMember_ = true;
            stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(rest.data()));
            stream_.avail_in = static_cast<uInt>(rest.size());
            stream_.next_out = reinterpret_cast<Bytef*>(bytes.data());
            stream_.avail_out = static_cast<uInt>(bytes.size());
            const int result = inflate(&stream_, Z_NO_FLUSH);
            input().use(rest.size() - stream_.avail_in);
            if (result != Z_OK && result != Z_STREAM_END) refuse("The compressed data is damaged.");
            if (result == Z_STREAM_END) {
                // Several files one after the other are one, as gunzip has it.
                isInMember_ = false;
                (void)inflateReset(&stream_);
            }
            const std::size_t count = bytes.size() - stream_.avail_out;
            if (count > 0) return counted(count);
        }
    }

private:
    z_stream stream_{};
    bool isInMember_ = false;
};

class ZstdSource final : public ExpandingSource {
public:
    explicit ZstdSource(Input input) : ExpandingSource{std::move(input)}, context_{ZSTD_createDCtx(), &ZSTD_freeDCtx} {
        if (context_ == nullptr) throw KestrelError::unavailable("The import could not be expanded.");
    }

    std::size_t read(std::span<char> bytes) override {
        for (;;) {
            const std::string_view rest = input().rest();
            if (rest.empty() && !hasMore_) {
                if (isInFrame_) refuse("The compressed data ends too early.");
                return 0;
            }
            ZSTD_inBuffer in{rest.data(), rest.size(), 0};
            ZSTD_outBuffer out{bytes.data(), bytes.size(), 0};
            const std::size_t result = ZSTD_decompressStream(context_.get(), &out, &in);
            input().use(in.pos);
            if (ZSTD_isError(result) != 0) refuse("The compressed data is damaged.");
            isInFrame_ = result != 0;
            hasMore_ = out.pos == out.size;
            if (out.pos > 0) return counted(out.pos);
        }
    }

private:
    std::unique_ptr<ZSTD_DCtx, decltype(&ZSTD_freeDCtx)> context_;
    bool isInFrame_ = false;
    bool hasMore_ = false;  ///< what was expanded did not fit
};

}  // namespace

std::unique_ptr<PackingSink> PackingSink::make(ExchangePacking packing, const ByteSink& sink) {
    switch (packing) {
    case ExchangePacking::gzip: return std::make_unique<GzipSink>(sink);
    case ExchangePacking::zstd: return std::make_unique<ZstdSink>(sink);
    case ExchangePacking::none: break;
    }
    return std::make_unique<PlainSink>(sink);
}

std::unique_ptr<UnpackingSource> UnpackingSource::make(ByteSource source) {
    Input input{std::move(source)};
    while (input.size() < zstdMark.size() && input.more()) {
    }
    if (input.startsWith(gzipMark)) return std::make_unique<GzipSource>(std::move(input));
    if (input.startsWith(zstdMark)) return std::make_unique<ZstdSource>(std::move(input));
    return std::make_unique<PlainSource>(std::move(input));
}

}  // namespace KestrelCore
