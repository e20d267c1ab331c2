#include "Snapshot/RecordStorage.hpp"

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

namespace KestrelCore {

namespace {

/// Folders below random ones, a file or more in some, and now and then a record whose texts do not fit together.
void fill(RecordStorage& storage, std::size_t count, std::mt19937_64& random) {
    static constexpr const char* names[]{"a", "long name", "résumé", "re\u0301sume\u0301", "b.TXT", "x"};
    std::vector<std::string> folders{""};
    while (storage.size() < count) {
        const std::string folder = folders[random() % folders.size()];
        const std::string name = names[random() % std::size(names)] + std::to_string(storage.size());
        std::string path = folder;
        path += '/';
        path += name;
        RecordStorage::Row& row = random() % 50 == 0
                                      ? storage.appendIrregular(Text{"elsewhere"}, Text{path}, Text{"shown as"})
                                      : storage.append(folder.empty() ? "/" : folder, path, name);
        const bool hasExtension = name.find('.') != std::string::npos;
        storage.fill(row, {.id = UUID::random(),
                           .extension = storage.internExtension(hasExtension ? "txt" + name.substr(5) : "")});
        if (random() % 3 == 0) folders.push_back(path);
    }
    storage.finishBuilding();
}

}  // namespace

TEST(FolderPathReader, joinsWhatTheStorageJoinsInAnyOrder) {
    std::mt19937_64 random{7};
    RecordStorage storage;
    fill(storage, 2'000, random);
    ASSERT_GT(storage.folders().size(), 100U);
    FolderPathReader reader{storage};
    for (int i = 0; i < 5'000; ++i) {
        const auto folder = static_cast<RecordStorage::FolderIndex>(random() % storage.folders().size());
        const std::string expected = folder == RecordStorage::topFolder ? "" : storage.folderPath(folder).string();
        ASSERT_EQ(reader.prefix(folder), expected);
    }
}

TEST(RecordStorage, makesManyRecordsAsItMakesOne) {
    std::mt19937_64 random{8};
    RecordStorage storage;
    fill(storage, 25'000, random);
    std::vector<std::uint32_t> indices;
    for (std::uint32_t i = 0; i < storage.size(); ++i) {
        if (random() % 8 != 0) indices.push_back(i);
    }
    ASSERT_GT(indices.size(), 20'000U) << "enough for a second thread";
    std::vector<std::vector<FileRecord>> made(indices.size());
    storage.makeRecords(
        indices, [&](std::size_t position, FileRecord&& record) { made[position].push_back(std::move(record)); });
    for (std::size_t i = 0; i < indices.size(); ++i) {
        ASSERT_EQ(made[i].size(), 1U);
        const FileRecord alone = storage.record(indices[i]);
        ASSERT_EQ(made[i].front(), alone);
        ASSERT_EQ(made[i].front().path().view(), alone.path().view());
        ASSERT_EQ(made[i].front().fileExtension().view(), alone.fileExtension().view());
    }
}

}  // namespace KestrelCore
