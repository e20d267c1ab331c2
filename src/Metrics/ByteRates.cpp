#include "Metrics/ByteRates.hpp"

#include "Metrics/CounterStep.hpp"
#include "Metrics/SystemMetricsRules.hpp"

namespace KestrelCore {

template <typename Key>
ByteRate ByteRates<Key>::rate(const Key& key, std::uint64_t inward, std::uint64_t outward) {
    now_.insert_or_assign(key, Counters{inward, outward});
    const auto found = before_.find(key);
    if (found == before_.end()) return {};
    const Seconds elapsed = at_ - earlier_;
    return {.inward = bytesPerSecond(0, counterStep(found->second.inward, inward), elapsed),
            .outward = bytesPerSecond(0, counterStep(found->second.outward, outward), elapsed)};
}

template class ByteRates<std::string>;
template class ByteRates<std::int32_t>;

}  // namespace KestrelCore
