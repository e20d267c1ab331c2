#include "Snapshot/RecordStorage.hpp"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
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

TEST(RecordStorage, takesOverNamesAndRowsAsTheyAre) {
    RecordStorage storage;
    constexpr std::size_t count = 70'000;
    storage.makeRows(count);
    const std::uint64_t bytesBefore = storage.memoryBytes();
    // More than an arena's chunk, so that some names lie across the end of one.
    std::string names;
    std::vector<std::size_t> begins;
    for (std::size_t i = 0; i < count; ++i) {
        begins.push_back(names.size());
        names += "name " + std::to_string(i);
    }
    const auto bytes = std::make_shared<char[]>(names.size());
    std::copy(names.begin(), names.end(), bytes.get());
    const RecordStorage::FolderIndex first = storage.addFolder(RecordStorage::topFolder, "first");
    const std::uint64_t offset = storage.adoptNames(bytes, names.size());
    const RecordStorage::FolderIndex then = storage.addFolder(first, "then");
    std::vector<std::uint32_t> numbers;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t end = i + 1 < count ? begins[i + 1] : names.size();
        RecordStorage::Row row =
            RecordStorage::regularRow(i % 2 == 0 ? first : then, offset + begins[i], end - begins[i], true, true);
        RecordStorage::setValues(row, {.logicalBytes = static_cast<std::int64_t>(i)});
        storage.row(i) = row;
        numbers.push_back(static_cast<std::uint32_t>(i));
    }
    storage.deriveIdentifiers(UUID::random(), numbers);
    storage.finishBuilding();
    EXPECT_LE(storage.memoryBytes() - bytesBefore, names.size() + count * sizeof(std::uint32_t) + 600'000);
    for (std::size_t i = 0; i < count; ++i) {
        const std::string folder = i % 2 == 0 ? "/first/name " : "/first/then/name ";
        ASSERT_EQ(storage.path(storage.row(i)).view(), folder + std::to_string(i));
        ASSERT_EQ(storage.row(i).logicalBytes, static_cast<std::int64_t>(i));
    }
}

}  // namespace KestrelCore
