#pragma once

#include "output/Session.hpp"
#include "terminal/ScreenKey.hpp"
#include "terminal/browse/BrowseModel.hpp"
#include "terminal/browse/BrowsePage.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace KestrelCLI {

/// The lines of a page as a person sees them, without styles.
inline std::string pageText(const std::vector<ScreenLine>& lines) {
    std::string text;
    for (const ScreenLine& line : lines) {
        for (const ScreenSpan& span : line) text += span.text;
        text += '\n';
    }
    return text;
}

/// The text of the line that is chosen; empty when none is.
inline std::string chosenText(const std::vector<ScreenLine>& lines) {
    for (const ScreenLine& line : lines) {
        for (const ScreenSpan& span : line) {
            if (span.style == Style::selected) return span.text;
        }
    }
    return {};
}

inline ScreenKey typed(char32_t character) { return {.kind = ScreenKey::Kind::character, .character = character}; }

/// An item of a made-up folder: "name/" is a folder.
struct SampleItem {
    std::string name;
    std::int64_t bytes = 0;
    std::int64_t items = 0;
    std::optional<std::int64_t> change{};
    double modified = 0;  ///< seconds since 1970
    std::int64_t length = 0;
};

inline std::shared_ptr<BrowseFolder> sampleFolder(const std::string& path, const std::vector<SampleItem>& items) {
    auto folder = std::make_shared<BrowseFolder>();
    folder->path = path;
    folder->hasParent = true;
    for (const SampleItem& item : items) {
        const bool isFolder = item.name.ends_with('/');
        const std::string name = isFolder ? item.name.substr(0, item.name.size() - 1) : item.name;
        BrowseItem shown{
            .entry = {.record =
                          KestrelCore::FileRecord{
                              {.parentPath = KestrelCore::Text{path},
                               .path = path + (path == "/" ? "" : "/") + name,
                               .name = name,
                               .kind = isFolder ? KestrelCore::FileKind::directory : KestrelCore::FileKind::file,
                               .logicalBytes = item.length,
                               .allocatedBytes = isFolder ? 0 : item.bytes,
                               .aggregateAllocatedBytes = item.bytes,
                               .modifiedAt = KestrelCore::Date::since1970(item.modified),
                               .fileExtension = name.substr(std::min(name.size(), name.rfind('.') + 1)),
                               .isHidden = name.starts_with('.')}},
                      .below = {.items = item.items, .allocatedBytes = item.bytes, .apparentBytes = item.length}},
            .change = item.change};
        folder->displayBytes += item.bytes;
        folder->below.items += 1 + item.items;
        folder->below.apparentBytes += item.length;
        folder->knowsChanges = folder->knowsChanges || item.change.has_value();
        folder->items.push_back(std::move(shown));
    }
    return folder;
}

/// A page with a finished scan behind it, which hands in folders as they are asked for.
struct BrowsePageTest : testing::Test {
    std::ostringstream out, messages;
    Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
    BrowsePage page{session, Characters::unicode, "/top", {}};
    std::vector<BrowseRequest> requests;  ///< of the last key
    bool isOver = false;

    void SetUp() override { begin(page); }

    static void begin(BrowsePage& page) {
        BrowseScanState state;
        state.scan = KestrelCore::Generation{
            .number = 2,
            .snapshot = {},
            .scope = KestrelCore::ScanScope{KestrelCore::URL::fromPath("/top")},
            .startedAt = {},
            .completedAt = KestrelCore::Date::now(),
        };
        page.setScan(state);
    }

    void press(const ScreenKey& key, std::size_t columns = 100, std::size_t rows = 20) {
        note(page.press(key, columns, rows));
    }
    void press(std::u32string_view keys) {
        for (const char32_t key : keys) press(typed(key));
    }
    void press(ScreenKey::Kind kind) { press(ScreenKey{.kind = kind}); }
    void note(BrowsePage::Outcome outcome) {
        isOver = isOver || outcome.isOver;
        requests = std::move(outcome.requests);
    }
    void show(std::shared_ptr<const BrowseFolder> folder) { note(page.take(std::move(folder))); }

    /// The one request of the last key, which must be of this sort.
    template <typename T>
    T asked() {
        if (requests.size() == 1 && std::holds_alternative<T>(requests.front())) return std::get<T>(requests.front());
        ADD_FAILURE() << "another request, or none: " << requests.size();
        return T{};
    }

    std::string text(std::size_t columns = 100, std::size_t rows = 20) { return pageText(page.lines(columns, rows)); }
    std::string chosen(std::size_t columns = 100, std::size_t rows = 20) {
        return chosenText(page.lines(columns, rows));
    }
};

}  // namespace KestrelCLI
