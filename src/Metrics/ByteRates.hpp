#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

namespace KestrelCore {

/// Bytes a second in two directions.
struct ByteRate {
    std::int64_t inward = 0;   ///< received, or read
    std::int64_t outward = 0;  ///< sent, or written

    bool operator==(const ByteRate&) const = default;
};

/// Makes rates of the counters of things that come and go: interfaces, disks, processes. A thing has no rate at its
/// first sight, nor when it was gone meanwhile. Never below 0, and always finite. One thread at a time.
template <typename Key>
class ByteRates {
public:
    /// Begins a pass over everything there is, at that time of the continuous clock.
    void begin(std::chrono::nanoseconds now) {
        before_.swap(now_);
        now_.clear();
        earlier_ = at_;
        at_ = now;
    }

    /// The rate of one thing since the pass before, which is noted for the next one.
    [[nodiscard]] ByteRate rate(const Key& key, std::uint64_t inward, std::uint64_t outward);

private:
    struct Counters {
        std::uint64_t inward = 0;
        std::uint64_t outward = 0;
    };

    std::unordered_map<Key, Counters> before_;
    std::unordered_map<Key, Counters> now_;
    std::chrono::nanoseconds earlier_{};
    std::chrono::nanoseconds at_{};
};

extern template class ByteRates<std::string>;
extern template class ByteRates<std::int32_t>;

}  // namespace KestrelCore
