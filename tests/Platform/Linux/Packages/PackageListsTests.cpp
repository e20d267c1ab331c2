#include "Platform/Linux/Packages/PackageLists.hpp"

#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace KestrelCore {
namespace {

using Owners = std::vector<std::optional<Text>>;

void write(const std::string& path, const std::string& content) { std::ofstream{path, std::ios::binary} << content; }

TEST(PackageLists, sayWhichPackageAPathBelongsTo) {
    const TemporaryFolder folder;
    write(folder / "editor.list", "/.\n/usr\n/usr/share/applications\n/usr/share/applications/editor.desktop\n");
    write(folder / "libeditor2:amd64.list", "/usr/lib/libeditor.so.2\n/usr/share/applications/helper.desktop");
    write(folder / "editor.md5sums", "/usr/share/applications/no.desktop\n");
    write(folder / "-y.list", "/usr/share/applications/no.desktop\n");
    EXPECT_EQ(PackageLists::owners({"/usr/share/applications/helper.desktop", "/usr/share/applications/no.desktop",
                                    "/usr/share/applications/editor.desktop", "/usr/share/applications/edit",
                                    "/usr/share/applications/helper.desktop"},
                                   folder.path()),
              (Owners{"libeditor2", std::nullopt, "editor", std::nullopt, "libeditor2"}));
}

TEST(PackageLists, knowNothingWhereThereAreNone) {
    const TemporaryFolder folder;
    EXPECT_EQ(PackageLists::owners({"/usr/bin/x"}, folder / "missing"), Owners{std::nullopt});
    EXPECT_EQ(PackageLists::owners({}, folder.path()), Owners{});
    std::filesystem::create_directory(folder / "folder.list");
    std::filesystem::create_symlink("/dev/zero", folder / "device.list");
    EXPECT_EQ(PackageLists::owners({"/usr/bin/x"}, folder.path()), Owners{std::nullopt});
}

TEST(PackageLists, areNamedAfterPackages) {
    using PackageLists::packageName;
    EXPECT_EQ(packageName("firefox-esr.list"), "firefox-esr");
    EXPECT_EQ(packageName("libstdc++6:amd64.list"), "libstdc++6");
    for (const char* name :
         {"", ".list", "x.list", "list", "firefox.md5sums", "-rf.list", "a b.list", "A.list", "x;reboot.list"})
        EXPECT_EQ(packageName(name), std::nullopt) << name;
}

}  // namespace
}  // namespace KestrelCore
