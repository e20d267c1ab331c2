#include <KestrelCore/KestrelCore.hpp>

#include <iostream>

int main(int, char** argv) {
    using namespace KestrelCore;
    std::cout << "KestrelCore " << reinterpret_cast<const char*>(KestrelCoreVersionString) << '\n';
    // A host can say where applications lie.
    ApplicationLocations bundles = ApplicationLocations::ofHome("/nowhere");
    bundles.applicationFolders = {"/nowhere"};
    std::cout << ApplicationInspector{bundles, FileManager::standard()}.installedApplications().size() << " bundles, "
              << DesktopApplicationInspector{DesktopLocations{}, FileManager::standard()}.installedApplications().size()
              << " entries nowhere\n";
    auto events = DiskScanner{}.scan(ScanScope{URL::fromPath(argv[1], true)});
    while (auto event = events.next()) {
        const auto* completed = std::get_if<ScanCompleted>(&*event);
        if (completed == nullptr) continue;  // progress, issues
        for (const FileRecord& item : completed->snapshot.children(completed->snapshot.scope().root.path())) {
            std::cout << item.displayBytes() << "  " << item.path().view() << '\n';
        }
    }
}
