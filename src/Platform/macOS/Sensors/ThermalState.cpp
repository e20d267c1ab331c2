#include "Platform/ThermalState.hpp"

#include "Platform/macOS/Frameworks/ObjectiveC.hpp"

namespace KestrelCore {
namespace {

class MacThermalState final : public ThermalState {
public:
    std::optional<int> level() override {
        const ObjectiveC::AutoreleasePool pool;
        const ObjectiveC::Object information =
            ObjectiveC::send<ObjectiveC::Object>(ObjectiveC::classNamed("NSProcessInfo"), "processInfo");
        if (information == nullptr) return std::nullopt;
        // An NSInteger: 0 nominal, 1 fair, 2 serious, 3 critical.
        const long level = ObjectiveC::send<long>(information, "thermalState");
        if (level < 0 || level > 3) return std::nullopt;
        return static_cast<int>(level);
    }
};

}  // namespace

std::unique_ptr<ThermalState> ThermalState::system() { return std::make_unique<MacThermalState>(); }

}  // namespace KestrelCore
