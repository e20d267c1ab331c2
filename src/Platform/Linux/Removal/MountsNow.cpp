#include "Platform/POSIX/Removal/MountsNow.hpp"

#include "Platform/Linux/MountTable.hpp"

namespace KestrelCore {

struct MountsNow::State {
    MountTableReader reader;
};

MountsNow::MountsNow() : state_{std::make_unique<State>()} {}
MountsNow::~MountsNow() = default;

std::optional<bool> MountsNow::isAnyAtOrBelow(std::string_view place) {
    const std::optional<MountTable>& table = state_->reader.current();
    return table ? std::optional{table->hasMountAtOrBelow(place)} : std::nullopt;
}

Text MountsNow::untoldSentence() { return "Without /proc the system does not tell what is mounted in it."; }

}  // namespace KestrelCore
