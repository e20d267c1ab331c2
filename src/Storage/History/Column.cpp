#include "Storage/History/Column.hpp"

#include <zstd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <memory>
#include <new>

namespace KestrelCore {

namespace {

constexpr std::uint8_t stepsFlag = 0x10;
constexpr std::size_t headerSize = 1 + sizeof(std::uint64_t);
constexpr int compressionLevel = 1;

struct ContextDeleter {
    void operator()(ZSTD_CCtx* context) const { ZSTD_freeCCtx(context); }
    void operator()(ZSTD_DCtx* context) const { ZSTD_freeDCtx(context); }
};

/// Making a context takes longer than compressing a column, so each thread keeps one.
ZSTD_CCtx* compressionContext() {
    thread_local const std::unique_ptr<ZSTD_CCtx, ContextDeleter> context{ZSTD_createCCtx()};
    if (context == nullptr) throw std::bad_alloc{};
    ZSTD_CCtx_reset(context.get(), ZSTD_reset_session_and_parameters);
    ZSTD_CCtx_setParameter(context.get(), ZSTD_c_compressionLevel, compressionLevel);
    return context.get();
}

ZSTD_DCtx* expansionContext() {
    thread_local const std::unique_ptr<ZSTD_DCtx, ContextDeleter> context{ZSTD_createDCtx()};
    if (context == nullptr) throw std::bad_alloc{};
    return context.get();
}

/// Compresses the bytes so that a block ends where a part does: its statistics are of one kind then.
std::string compress(std::string_view bytes, std::size_t firstPart, std::size_t partSize) {
    ZSTD_CCtx* context = compressionContext();
    ZSTD_CCtx_setPledgedSrcSize(context, bytes.size());
    std::string packed(ZSTD_compressBound(bytes.size()) + 64, '\0');
    ZSTD_outBuffer out{packed.data(), packed.size(), 0};
    std::size_t begin = 0;
    std::size_t end = std::min(firstPart, bytes.size());
    while (true) {
        ZSTD_inBuffer in{bytes.data() + begin, end - begin, 0};
        const bool isLast = end == bytes.size();
        // There is room for all that may come, so one call takes all.
        const std::size_t left = ZSTD_compressStream2(context, &out, &in, isLast ? ZSTD_e_end : ZSTD_e_flush);
        if (left != 0) throw std::bad_alloc{};
        if (isLast) break;
        begin = end;
        end = std::min(end + partSize, bytes.size());
    }
    packed.resize(out.pos);
    return packed;
}

std::uint64_t littleEndian(const char* bytes) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < sizeof number; ++i) {
        number |= static_cast<std::uint64_t>(static_cast<std::uint8_t>(bytes[i])) << (8 * i);
    }
    return number;
}

}  // namespace

std::string Column::pack(std::span<const std::uint64_t> numbers, bool areSteps) {
    std::vector<std::uint64_t> steps;
    if (areSteps) {
        steps.resize(numbers.size());
        std::uint64_t before = 0;
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            steps[i] = zigzag(numbers[i] - before);
            before = numbers[i];
        }
        numbers = steps;
    }
    const auto [smallest, largest] = std::ranges::minmax_element(numbers);
    const std::uint64_t base = numbers.empty() ? 0 : *smallest;
    const auto bits = static_cast<std::size_t>(numbers.empty() ? 0 : std::bit_width(*largest - base));
    const std::size_t planes = (bits + 7) / 8;
    std::string bytes(headerSize + planes * numbers.size(), '\0');
    bytes[0] = static_cast<char>(planes | (areSteps ? stepsFlag : 0U));
    for (std::size_t i = 0; i < sizeof base; ++i) bytes[1 + i] = static_cast<char>(base >> (8 * i));
    for (std::size_t plane = 0; plane < planes; ++plane) {
        char* out = bytes.data() + headerSize + plane * numbers.size();
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            out[i] = static_cast<char>((numbers[i] - base) >> (8 * plane));
        }
    }
    return compress(bytes, headerSize + numbers.size(), numbers.size());
}

std::string Column::pack(std::string_view bytes) { return compress(bytes, bytes.size(), bytes.size()); }

bool Column::unpack(std::string_view packed, std::size_t count, std::vector<std::uint64_t>& into) {
    if (count > mostRows) return false;
    NumberColumn column;
    if (!column.open(packed, count)) return false;
    into.resize(count);
    column.read(0, into);
    return true;
}

bool NumberColumn::open(std::string_view packed, std::size_t count) {
    const auto size = Column::unpackedSize(packed, headerSize + sizeof(std::uint64_t) * count);
    if (!size || *size < headerSize) return false;
    if (bytes_.size() < *size) bytes_.resize(*size);
    if (!Column::unpackTo(bytes_.data(), *size, packed)) return false;
    const auto form = static_cast<std::uint8_t>(bytes_.front());
    count_ = count;
    planes_ = form & ~stepsFlag;
    areSteps_ = (form & stepsFlag) != 0;
    base_ = littleEndian(bytes_.data() + 1);
    next_ = 0;
    before_ = 0;
    return planes_ <= sizeof(std::uint64_t) && *size == headerSize + planes_ * count;
}

void NumberColumn::read(std::size_t first, std::span<std::uint64_t> into) {
    if (areSteps_ && first != next_) {
        if (first < next_) next_ = before_ = 0;
        std::array<std::uint64_t, 256> skipped;
        while (next_ < first) read(next_, std::span{skipped}.first(std::min(skipped.size(), first - next_)));
    }
    const std::size_t count = into.size();
    std::uint64_t* const out = into.data();
    if (planes_ == 0) std::fill_n(out, count, base_);
    for (std::size_t plane = 0; plane < planes_; ++plane) {
        const auto* const in =
            reinterpret_cast<const std::uint8_t*>(bytes_.data() + headerSize + plane * count_ + first);
        const std::size_t shift = 8 * plane;
        // One pass less where the first plane brings the smallest along.
        if (plane == 0) {
            for (std::size_t i = 0; i < count; ++i) out[i] = base_ + in[i];
        } else {
            for (std::size_t i = 0; i < count; ++i) out[i] += static_cast<std::uint64_t>(in[i]) << shift;
        }
    }
    if (!areSteps_) return;
    for (std::size_t i = 0; i < count; ++i) out[i] = before_ += unzigzag(out[i]);
    next_ = first + count;
}

std::string Column::packCounted(std::span<const std::uint64_t> numbers) {
    std::string bytes(sizeof(std::uint64_t), '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(numbers.size() >> (8 * i));
    return bytes + pack(numbers);
}

bool Column::unpackCounted(std::string_view packed, std::vector<std::uint64_t>& into) {
    if (packed.size() < sizeof(std::uint64_t)) return false;
    const std::uint64_t count = littleEndian(packed.data());
    return count <= mostRows && unpack(packed.substr(sizeof count), static_cast<std::size_t>(count), into);
}

std::optional<std::string> Column::unpack(std::string_view packed, std::size_t mostBytes) {
    const auto size = unpackedSize(packed, mostBytes);
    if (!size) return {};
    std::string bytes(*size, '\0');
    if (!unpackTo(bytes.data(), bytes.size(), packed)) return {};
    return bytes;
}

std::optional<std::size_t> Column::unpackedSize(std::string_view packed, std::size_t mostBytes) {
    // The size that the frame tells is a claim: what it says is asked for only where it may be.
    const unsigned long long claimed = ZSTD_getFrameContentSize(packed.data(), packed.size());
    if (claimed == ZSTD_CONTENTSIZE_ERROR || claimed == ZSTD_CONTENTSIZE_UNKNOWN || claimed > mostBytes) return {};
    return static_cast<std::size_t>(claimed);
}

bool Column::unpackTo(char* into, std::size_t size, std::string_view packed) {
    const std::size_t got = ZSTD_decompressDCtx(expansionContext(), into, size, packed.data(), packed.size());
    return ZSTD_isError(got) == 0 && got == size;
}

}  // namespace KestrelCore
