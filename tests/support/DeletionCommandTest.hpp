#pragma once

#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"
#include "commands/Commands.hpp"
#include "support/CommandRun.hpp"
#include "support/EnvironmentSetting.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace KestrelCLI {

/// The commands that take items away, with a folder, a trash and a store of their own.
class DeletionCommandTest : public testing::Test {
protected:
    /// Makes a file in the folder; gives its path.
    std::string file(const std::string& name) const { return folder.makeFile(name, "content"); }
    CommandRun run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin() + 1, {"--store", store});
        return runCommands(std::move(arguments), {addTrashCommand, addRemoveCommand, addRestoreCommand}, terminal);
    }
    /// Saves a snapshot of the folder that holds these records.
    void save(const std::vector<KestrelCore::FileRecord>& records) const {
        using namespace KestrelCore;
        SQLiteSnapshotStore{URL::fromPath(store)}.replace(ScanSnapshot{
            UUID::random(), ScanScope{URL::fromPath(folder.path(), true)}, Date::now(), Date::now(), records, {}});
    }
    std::optional<KestrelCore::FileRecord> saved(const std::string& path) const {
        using namespace KestrelCore;
        return SQLiteSnapshotStore{URL::fromPath(store)}.loadLatest().value().record(path);
    }
    static bool contains(const std::string& text, const std::string& part) {
        return text.find(part) != std::string::npos;
    }

    KestrelCore::TemporaryFolder folder;
    KestrelCore::EnvironmentSetting dataHome{"XDG_DATA_HOME", (folder / "data").c_str()};
    std::string store = folder / "store/snapshots.sqlite";
    Terminal terminal{};
};

}  // namespace KestrelCLI
