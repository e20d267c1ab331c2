#include <KestrelCore/KestrelCore.hpp>

#include <iostream>

int main(int, char** argv) {
    using namespace KestrelCore;
    std::cout << "KestrelCore " << reinterpret_cast<const char*>(KestrelCoreVersionString) << '\n';
    auto events = DiskScanner{}.scan(ScanScope{URL::fromPath(argv[1], true)});
    while (auto event = events.next()) {
        const auto* completed = std::get_if<ScanCompleted>(&*event);
        if (completed == nullptr) continue;  // progress, issues
        for (const FileRecord& item : completed->snapshot.children(completed->snapshot.scope().root.path())) {
            std::cout << item.displayBytes() << "  " << item.path().view() << '\n';
        }
    }
}
