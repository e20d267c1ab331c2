#include "Platform/ProcessTable.hpp"

#include <algorithm>
#include <libproc.h>

namespace KestrelCore {
namespace {

class MacProcessTable final : public ProcessTable {
public:
    void list(std::vector<std::int32_t>& identifiers) override {
        static_assert(sizeof(pid_t) == sizeof(std::int32_t));
        // Room for processes that start between the two questions.
        constexpr int fewProcesses = 192;
        constexpr int leastRoom = 256;
        constexpr int spareRoom = 64;
        constexpr int mostProcesses = 1 << 20;
        const int known = std::min(proc_listallpids(nullptr, 0), mostProcesses);
        const int room = known < fewProcesses ? leastRoom : known + spareRoom;
        identifiers.assign(static_cast<std::size_t>(room), 0);
        const int written = proc_listallpids(identifiers.data(), room * int{sizeof(std::int32_t)});
        identifiers.resize(static_cast<std::size_t>(std::clamp(written, 0, room)));
    }
};

}  // namespace

std::unique_ptr<ProcessTable> ProcessTable::system() { return std::make_unique<MacProcessTable>(); }

}  // namespace KestrelCore
