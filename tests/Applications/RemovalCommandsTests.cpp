#include "Applications/RemovalCommands.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace KestrelCore {
namespace {

ApplicationRecord application(const char* path, const char* identifier) {
    return {.id = UUID::random(),
            .url = URL::fromPath(path),
            .displayName = "Name",
            .bundleIdentifier = identifier,
            .version = {},
            .residues = {}};
}

TEST(RemovalCommands, areThoseOfWhatInstalledAnApplication) {
    DesktopLocations locations;
    locations.flatpakInstallations = {"/home/ann/.local/share/flatpak", "/var/lib/flatpak"};
    std::vector<Text> asked;
    const PackageSearch packages = [&asked](const std::vector<Text>& paths) {
        asked = paths;
        return std::vector<std::optional<Text>>{"editor-gtk", std::nullopt};
    };
    using Commands = std::vector<std::optional<Text>>;
    EXPECT_EQ(
        removalCommands({application("/usr/share/applications/org.x.Editor.desktop", "org.x.Editor"),
                         application("/var/lib/flatpak/app/org.x.App/x86_64/stable/1", "org.x.App"),
                         application("/var/lib/snapd/desktop/applications/fire-fox_fire.desktop", "fire-fox_fire"),
                         application("/home/ann/.local/share/applications/own.desktop", "own"),
                         application("/Applications/Foo.app", "com.example.foo"),
                         application("/var/lib/flatpak/app/x;reboot/x86_64/stable/1", "x;reboot"),
                         application("/var/lib/flatpak/app/-y/x86_64/stable/1", "-y")},
                        locations, packages),
        (Commands{"apt remove editor-gtk", "flatpak uninstall org.x.App", "snap remove fire-fox", std::nullopt,
                  std::nullopt, std::nullopt, std::nullopt}));
    EXPECT_EQ(asked, (std::vector<Text>{"/usr/share/applications/org.x.Editor.desktop",
                                        "/home/ann/.local/share/applications/own.desktop"}));
}

TEST(RemovalCommands, askForNoPackagesWhereNoEntryIs) {
    const PackageSearch nobody = [](const std::vector<Text>&) -> std::vector<std::optional<Text>> {
        ADD_FAILURE() << "asked";
        return {};
    };
    EXPECT_EQ(removalCommands({application("/Applications/Foo.app", "com.example.foo")}, {}, nobody),
              std::vector<std::optional<Text>>{std::nullopt});
}

}  // namespace
}  // namespace KestrelCore
