#pragma once

#include "Storage/History/Column.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// The rows of a generation stand in three streams, in an order of their own (see `TreeOrder`).
enum class HistoryStream : std::uint8_t {
    folders,    ///< containers, and the folders that records only name; each before what it holds
    files,      ///< everything else, folder by folder in the order of `folders`
    irregular,  ///< records whose texts follow no pattern, such as the top of a scan
    lists,      ///< no rows: what rows and the generation refer to (`HistoryList`)
};
inline constexpr std::array everyHistoryStream{HistoryStream::folders, HistoryStream::files, HistoryStream::irregular};

/// What a row has. The values are the numbers of the columns on disk: they never change their meaning.
enum class HistoryField : std::uint8_t {
    kind = 0,       ///< bits 0-2 the kind, 3-4 the risk, 5 hidden, 6 cloud placeholder, 7 hard-link duplicate
    shape = 1,      ///< `RowShape` flags: what is unusual about the row; mostly 0
    logical = 2,    ///< bytes
    allocated = 3,  ///< zigzag of the units of 512 bytes above the logical size in whole blocks of 4096
    aggregate = 4,  ///< zigzag of the bytes above what the row's content and its own allocation sum up to
    seconds = 5,    ///< of the modification, whole, since 2001, plus `biasOfSeconds`
    fraction = 6,   ///< of a second, in 2^-32
    device = 7,     ///< position among the generation's devices
    inode = 8,
    extension = 9,     ///< position among the generation's file extensions
    idHigh = 10,       ///< the identifier's first 8 bytes, where it is not derived
    idLow = 11,        ///< and its last 8; or the number it is derived from (see `IdentifierForm`)
    subfolders = 12,   ///< folders: how many folders right inside
    files = 13,        ///< folders: how many rows of the stream `files`
    fileBytes = 14,    ///< folders: what those have allocated together, further hard links left out
    oldest = 15,       ///< folders: `seconds` of the file changed longest ago; 0 where none has a date
    newest = 16,       ///< folders: the same of the one changed last
    ages = 17,         ///< folders: 17 to 20, the part of `fileBytes` by age (`HistoryAges`), the oldest class left out
    names = 32,        ///< texts: the name; of irregular rows all their texts
    keptRuns = 33,     ///< of a difference: how many rows stay,
    goneRuns = 34,     ///< then how many go,
    newRuns = 35,      ///< then how many are new
    changedRows = 36,  ///< of a difference: which rows have changed, each as the step from the one before
    changedFields = 37,  ///< and in which fields, a bit for each
    changedValues = 64,  ///< 64 and above: the values of changed rows, a column for each field
};

/// What stands in the stream `lists`, as its fields. Extensions and devices: of a difference those that are new.
enum class HistoryList : std::uint8_t {
    extensions = 0,  ///< texts, one after the other
    devices = 1,     ///< numbers
    issues = 2,      ///< texts: path and message of each
    positions = 3,   ///< numbers in chunks: where in the snapshot each row stands; none for the order of a scan
};

inline constexpr std::size_t agesKept = 4;
inline constexpr std::size_t rowFieldCount = static_cast<std::size_t>(HistoryField::ages) + agesKept;
inline constexpr std::uint64_t biasOfSeconds = std::uint64_t{1} << 33;

struct RowShape {
    static constexpr std::uint64_t noIdentity = 1;
    static constexpr std::uint64_t noDate = 2;
    static constexpr std::uint64_t rawDate = 4;       ///< `seconds` has the bits of the number itself
    static constexpr std::uint64_t rawAllocated = 8;  ///< `allocated` has the bytes themselves
    static constexpr std::uint64_t noRecord = 16;     ///< a folder that no record stands for
};

/// The fields that somebody wants, as a bit each.
using HistoryFields = std::uint32_t;
[[nodiscard]] constexpr HistoryFields bit(HistoryField field) {
    return HistoryFields{1} << static_cast<unsigned>(field);
}
[[nodiscard]] constexpr HistoryFields ageBits() {
    return ((HistoryFields{1} << agesKept) - 1) << static_cast<unsigned>(HistoryField::ages);
}
/// What a record consists of, but its name and its identifier.
inline constexpr HistoryFields recordFields = (HistoryFields{1} << static_cast<unsigned>(HistoryField::idHigh)) - 1;
inline constexpr HistoryFields idFields = bit(HistoryField::idHigh) | bit(HistoryField::idLow);
/// How the folders hang together.
inline constexpr HistoryFields treeFields = bit(HistoryField::subfolders) | bit(HistoryField::files);
inline constexpr HistoryFields rollUpFields =
    bit(HistoryField::fileBytes) | bit(HistoryField::oldest) | bit(HistoryField::newest) | ageBits();

/// How a generation keeps its records' identifiers. The values never change their meaning.
enum class IdentifierForm : std::uint8_t {
    inPlace = 0,    ///< not at all: each is derived from the record's place among the generation's rows
    numbered = 1,   ///< derived from the number in `idLow`
    own = 2,        ///< whole
    inherited = 3,  ///< of a difference without new rows: each row has what it had in the generation before
};

/// Whether a column of this field is packed as steps from row to row.
[[nodiscard]] constexpr bool isInSteps(HistoryField field, IdentifierForm identifiers) {
    return field == HistoryField::inode || (field == HistoryField::idLow && identifiers == IdentifierForm::numbered);
}

/// The fields that rows of this stream have.
[[nodiscard]] constexpr HistoryFields fieldsOf(HistoryStream stream) {
    return recordFields | idFields | (stream == HistoryStream::folders ? treeFields | rollUpFields : 0);
}

/// Values of some rows, column by column, wherever they lie; null for a field that was not asked for.
struct RowColumns {
    std::array<const std::uint64_t*, rowFieldCount> values;

    [[nodiscard]] std::uint64_t value(HistoryField field, std::size_t row) const {
        return values[static_cast<std::size_t>(field)][row];
    }
};

/// Some rows of one stream, column by column. A field that was not asked for is empty.
struct RowBlock {
    std::size_t count = 0;
    std::array<std::vector<std::uint64_t>, rowFieldCount> values;
    std::string names;                    ///< with a "/" behind each
    std::vector<std::uint32_t> nameEnds;  ///< position of each name's "/"

    [[nodiscard]] std::uint64_t value(HistoryField field, std::size_t row) const {
        return values[static_cast<std::size_t>(field)][row];
    }
    [[nodiscard]] std::vector<std::uint64_t>& column(HistoryField field) {
        return values[static_cast<std::size_t>(field)];
    }
    [[nodiscard]] std::string_view name(std::size_t row) const {
        const std::size_t begin = row == 0 ? 0 : nameEnds[row - 1] + std::size_t{1};
        return std::string_view{names}.substr(begin, nameEnds[row] - begin);
    }
    void addName(std::string_view name) {
        names += name;
        nameEnds.push_back(static_cast<std::uint32_t>(names.size()));
        names += '/';
    }
};

/// Finds the position of the "/" behind each name; false when there are not just `count` names.
[[nodiscard]] bool findNameEnds(std::string_view names, std::size_t count, std::vector<std::uint32_t>& ends);

}  // namespace KestrelCore
