#include "Platform/Linux/Processes/ProcText.hpp"

#include "Platform/Linux/TextFields.hpp"

#include <algorithm>
#include <limits>

namespace KestrelCore::ProcText {
namespace {

constexpr std::int64_t largestInt64 = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t largestUInt64 = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t bytesPerKilobyte = 1024;

/// Sums that stay at their maximum: a text may claim anything.
std::uint64_t saturatingSum(std::uint64_t a, std::uint64_t b) { return b > largestUInt64 - a ? largestUInt64 : a + b; }

std::uint64_t saturatingProduct(std::uint64_t a, std::uint64_t b) {
    return a != 0 && b > largestUInt64 / a ? largestUInt64 : a * b;
}

std::int64_t asSigned(std::uint64_t value) {
    return static_cast<std::int64_t>(std::min(value, static_cast<std::uint64_t>(largestInt64)));
}

/// The kernel keeps names of at most this many bytes, but for some of its own threads.
constexpr std::size_t longestStoredName = 15;
/// A name as long as a file name can be; more is a command line that was overwritten with some other text.
constexpr std::size_t longestName = 255;

std::string_view lastComponent(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

/// What follows the name in a stat text, and the name. The name may hold anything, also a forged end, so only the last
/// ')' of the text ends it.
struct SplitStatus {
    std::string_view name;
    std::string_view fields;
};

std::optional<SplitStatus> splitStatus(std::string_view text) {
    const std::size_t open = text.find('(');
    const std::size_t close = text.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open) return std::nullopt;
    return SplitStatus{text.substr(open + 1, close - open - 1), text.substr(close + 1)};
}

}  // namespace

namespace {

/// What follows the name of one processor, or of all.
std::optional<ProcessorTicks> ticksOf(TextFields fields) {
    const auto user = fields.number<std::uint64_t>();
    const auto nice = fields.number<std::uint64_t>();
    const auto system = fields.number<std::uint64_t>();
    const auto idle = fields.number<std::uint64_t>();
    if (!user || !nice || !system || !idle) return std::nullopt;
    // Kernels before 2.6 have only the first four.
    const std::uint64_t waiting = fields.number<std::uint64_t>().value_or(0);
    const std::uint64_t interrupts = fields.number<std::uint64_t>().value_or(0);
    const std::uint64_t softInterrupts = fields.number<std::uint64_t>().value_or(0);
    return ProcessorTicks{.user = *user,
                          .system = saturatingSum(*system, saturatingSum(interrupts, softInterrupts)),
                          .idle = saturatingSum(*idle, waiting),
                          .nice = *nice};
}

}  // namespace

std::optional<ProcessorTicks> processorTicks(std::string_view text) {
    TextFields fields{TextFields{text}.line()};
    if (fields.word() != "cpu") return std::nullopt;
    return ticksOf(fields);
}

std::vector<ProcessorTicks> eachProcessorTicks(std::string_view text) {
    constexpr std::size_t mostProcessors = 4096;
    constexpr std::string_view prefix = "cpu";
    std::vector<ProcessorTicks> result;
    for (TextFields lines{text}; !lines.isAtEnd() && result.size() < mostProcessors;) {
        TextFields fields{lines.line()};
        const std::string_view name = fields.word();
        if (!name.starts_with(prefix) || !TextFields::wholeNumber<std::uint32_t>(name.substr(prefix.size()))) continue;
        if (const auto ticks = ticksOf(fields)) result.push_back(*ticks);
    }
    return result;
}

std::optional<std::uint64_t> bootTime(std::string_view text) {
    for (TextFields lines{text}; !lines.isAtEnd();) {
        TextFields fields{lines.line()};
        if (fields.word() == "btime") return fields.number<std::uint64_t>();
    }
    return std::nullopt;
}

std::optional<MemoryStatistics> memory(std::string_view text, std::int64_t pageBytes) {
    struct Key {
        std::string_view name;
        std::optional<std::uint64_t> kilobytes;
    };
    enum Index {
        total,
        available,
        buffers,
        cached,
        active,
        inactive,
        unevictable,
        slab,
        reclaimableSlab,
        kernelStack,
        pageTables,
        swapTotal,
        swapFree
    };
    Key keys[] = {{"MemTotal", {}},   {"MemAvailable", {}}, {"Buffers", {}}, {"Cached", {}},       {"Active", {}},
                  {"Inactive", {}},   {"Unevictable", {}},  {"Slab", {}},    {"SReclaimable", {}}, {"KernelStack", {}},
                  {"PageTables", {}}, {"SwapTotal", {}},    {"SwapFree", {}}};
    // By their names and not by their places: each kernel adds lines where it likes. A key that is missing counts
    // nothing.
    for (TextFields lines{text}; !lines.isAtEnd();) {
        TextFields line{lines.line()};
        const std::string_view name = line.upTo(':');
        const auto key = std::ranges::find(keys, name, &Key::name);
        if (key != std::end(keys)) key->kilobytes = line.number<std::uint64_t>();
    }
    const auto has = [&keys](Index index) { return keys[index].kilobytes.has_value(); };
    const auto bytes = [&keys](Index index) {
        return saturatingProduct(keys[index].kilobytes.value_or(0), bytesPerKilobyte);
    };
    const auto pages = [pageBytes](std::uint64_t byteCount) {
        return byteCount / static_cast<std::uint64_t>(pageBytes);
    };
    if (pageBytes <= 0) return std::nullopt;

    const std::uint64_t swap = bytes(swapTotal);
    MemoryStatistics result{.swapUsedBytes = asSigned(swap - std::min(swap, bytes(swapFree)))};
    if (has(total) && has(available)) {
        // What the kernel calls inactive is mostly the content of files, which it gives up on demand: its own estimate
        // of what is to be had is the one figure that says what is in use.
        result.activePages = pages(bytes(total) - std::min(bytes(total), bytes(available)));
    } else if (has(active) && has(inactive)) {
        // Kernels before 3.14 make no such estimate. The kernel's own memory is summed in bytes first, so that the
        // rounding to pages happens once.
        std::uint64_t wired = 0;
        for (const Index index : {unevictable, slab, kernelStack, pageTables}) {
            wired = saturatingSum(wired, bytes(index));
        }
        result.activePages = pages(bytes(active));
        result.inactivePages = pages(bytes(inactive));
        result.wiredPages = pages(wired);
    } else {
        return std::nullopt;
    }
    if (has(cached)) {
        result.cacheBytes =
            asSigned(saturatingSum(bytes(cached), saturatingSum(bytes(buffers), bytes(reclaimableSlab))));
    }
    if (has(swapTotal)) result.swapTotalBytes = asSigned(swap);
    return result;
}

void interfaces(std::string_view text, std::vector<InterfaceCounters>& interfaces) {
    std::size_t count = 0;
    for (TextFields lines{text}; !lines.isAtEnd();) {
        const std::string_view line = lines.line();
        // A name may hold a colon (an alias), the counters can't. The two lines of headings have none.
        const std::size_t colon = line.rfind(':');
        if (colon == std::string_view::npos) continue;
        const std::string_view name = TextFields{line.substr(0, colon)}.word();
        TextFields counters{line.substr(colon + 1)};
        const auto received = counters.number<std::uint64_t>();
        counters.skipWords(7);
        const auto sent = counters.number<std::uint64_t>();
        if (name.empty() || !received || !sent) continue;
        // Elements are written over rather than made anew, so that their names keep their memory.
        if (count == interfaces.size()) interfaces.emplace_back();
        InterfaceCounters& interface = interfaces[count++];
        interface.name.assign(name);
        interface.isLoopback = false;
        interface.receivedBytes = *received;
        interface.sentBytes = *sent;
    }
    interfaces.resize(count);
}

std::optional<char> processState(std::string_view text) {
    const auto split = splitStatus(text);
    if (!split) return std::nullopt;
    const std::string_view state = TextFields{split->fields}.word();
    if (state.size() != 1) return std::nullopt;
    return state[0];
}

std::optional<ProcessStatus> processStatus(std::string_view text) {
    constexpr std::uint64_t kernelThreadFlag = 0x00200000;
    const auto split = splitStatus(text);
    if (!split) return std::nullopt;
    TextFields fields{split->fields};
    const std::string_view state = fields.word();  // field 3 of the manual
    if (state.size() != 1) return std::nullopt;
    // Counted from the end of the name, which may hold blanks and parentheses. Later fields than these are not needed.
    const auto parent = fields.number<std::int32_t>();  // 4
    fields.skipWords(4);
    const auto flags = fields.number<std::uint64_t>();  // 9
    fields.skipWords(4);
    const auto userTicks = fields.number<std::uint64_t>();    // 14
    const auto systemTicks = fields.number<std::uint64_t>();  // 15
    fields.skipWords(2);
    const auto priority = fields.number<std::int64_t>();  // 18
    fields.skipWords(1);
    const auto threadCount = fields.number<std::int64_t>();  // 20
    fields.skipWords(1);
    const auto startTicks = fields.number<std::uint64_t>();    // 22
    const auto virtualBytes = fields.number<std::uint64_t>();  // 23
    if (!parent || !startTicks || !flags || !userTicks || !systemTicks || !priority || !threadCount || !virtualBytes)
        return std::nullopt;
    return ProcessStatus{.name = split->name,
                         .state = state[0],
                         .parentIdentifier = std::max(0, *parent),
                         .isKernelThread = (*flags & kernelThreadFlag) != 0,
                         .processorTicks = saturatingSum(*userTicks, *systemTicks),
                         .priority = *priority,
                         .threadCount = std::max<std::int64_t>(0, *threadCount),
                         .startTicks = *startTicks,
                         .virtualBytes = asSigned(*virtualBytes)};
}

std::optional<std::uint32_t> effectiveUser(std::string_view text) {
    for (TextFields lines{text}; !lines.isAtEnd();) {
        TextFields fields{lines.line()};
        if (fields.word() != "Uid:") continue;
        fields.skipWords(1);  // the user who started it
        return fields.number<std::uint32_t>();
    }
    return std::nullopt;
}

std::string commandLine(std::string_view text) {
    constexpr std::string_view filling{" \0", 2};
    std::string line{text.substr(0, text.find_last_not_of(filling) + 1)};
    std::ranges::replace(line, '\0', ' ');
    return line;
}

std::optional<ProcessTraffic> traffic(std::string_view text) {
    std::optional<std::uint64_t> readBytes;
    std::optional<std::uint64_t> writtenBytes;
    for (TextFields lines{text}; !lines.isAtEnd();) {
        TextFields fields{lines.line()};
        const std::string_view key = fields.word();
        if (key == "read_bytes:") readBytes = fields.number<std::uint64_t>();
        if (key == "write_bytes:") writtenBytes = fields.number<std::uint64_t>();
    }
    if (!readBytes || !writtenBytes) return std::nullopt;
    return ProcessTraffic{*readBytes, *writtenBytes};
}

std::optional<std::int64_t> residentBytes(std::string_view text, std::int64_t pageBytes) {
    TextFields fields{text};
    fields.skipWords(1);
    const auto pages = fields.number<std::uint64_t>();
    if (!pages || pageBytes < 0) return std::nullopt;
    return asSigned(saturatingProduct(*pages, static_cast<std::uint64_t>(pageBytes)));
}

bool mayBeCut(std::string_view name) { return name.size() == longestStoredName; }

std::string_view fullName(std::string_view name, std::string_view executablePath, std::string_view commandLine) {
    if (!mayBeCut(name)) return name;
    const std::string_view firstArgument = commandLine.substr(0, commandLine.find('\0'));
    for (const std::string_view candidate : {lastComponent(executablePath), lastComponent(firstArgument)}) {
        if (candidate.size() <= longestName && candidate.starts_with(name)) return candidate;
    }
    return name;
}

std::optional<std::int32_t> processIdentifier(std::string_view name) {
    if (name.empty() || name[0] < '1' || name[0] > '9') return std::nullopt;
    return TextFields::wholeNumber<std::int32_t>(name);
}

}  // namespace KestrelCore::ProcText
