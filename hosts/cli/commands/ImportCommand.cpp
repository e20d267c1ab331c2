#include "commands/Commands.hpp"

#include "output/ByteFormat.hpp"
#include "output/JSONOutput.hpp"
#include "output/ModelJSON.hpp"
#include "output/Times.hpp"
#include "store/DataPlace.hpp"
#include "store/HistoryAccess.hpp"
#include "store/Places.hpp"
#include "terminal/Interruption.hpp"
#include "terminal/InterruptionWatch.hpp"

#include "KestrelCore/Exchange/SnapshotImport.hpp"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

// A scan of another machine, or of another time, beside one's own. It is kept under a name, and no command looks into
// it unless it is named: its paths may be those of this disk, and what it says of them is of another.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

struct ReadOptions {
    std::optional<std::string> name;
};

/// The bytes of a file, or of standard input where it is "-".
class Input {
public:
    explicit Input(const std::string& name) : name_{name}, file_{name == "-" ? stdin : std::fopen(name.c_str(), "rb")} {
        if (file_ == nullptr) fail();
    }
    ~Input() {
        if (file_ != stdin) std::fclose(file_);
    }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    std::size_t read(std::span<char> bytes) {
        const std::size_t count = std::fread(bytes.data(), 1, bytes.size(), file_);
        Interruption::check();
        if (count == 0 && std::ferror(file_) != 0) fail();
        return count;
    }

private:
    [[noreturn]] void fail() const {
        throw PathError{fmt::format("{} could not be read: {}.", name_ == "-" ? "Standard input" : name_,
                                    std::generic_category().message(errno)),
                        name_};
    }

    std::string name_;
    std::FILE* file_;
};

/// Whether --at would take it for something else.
bool isNameOfScan(std::string_view name) { return !parseWhen(name, Date::now()) && !name.empty(); }

/// What a scan is called that comes from this file.
std::string nameFor(const ReadOptions& options, const std::string& file) {
    if (options.name) {
        if (isNameOfScan(*options.name)) return *options.name;
        throw UsageError{
            fmt::format("“{}” is no name for an import: --at takes it for a time or a number.", *options.name)};
    }
    if (file == "-") return "stdin";
    const std::string whole = std::filesystem::path{file}.filename().string();
    std::string name = whole;
    for (const std::string_view ending : {".gz", ".zst", ".json", ".jsonl", ".ndjson", ".ncdu"}) {
        if (name.ends_with(ending) && name.size() > ending.size()) name.resize(name.size() - ending.size());
    }
    for (const std::string& each : {name, whole}) {
        if (isNameOfScan(each)) return each;
    }
    return "import " + whole;
}

/// In the history; says where that is where it could not be.
Generation kept(const Session& session, SnapshotHistory& history, const ImportedScan& scan, const std::string& name) {
    try {
        return history.add(scan.snapshot, {.origin = GenerationOrigin::import,
                                           .isComplete = scan.isComplete,
                                           .leftOut = scan.leftOut,
                                           .crossesMounts = false,
                                           .source = {.name = Text{name}, .host = scan.host}});
    } catch (const std::exception& error) {
        const std::string place = historyPath();
        throw PathError{fmt::format("The import could not be saved in {}: {}{}", place, error.what(),
                                    whyNothingIsKept(session) ? ". " + *whyNothingIsKept(session) : ""),
                        place};
    }
}

ExitCode importFile(const Session& session, const ReadOptions& options, const Operands& operands) {
    const std::string& file = operands.front();
    const std::string name = nameFor(options, file);
    if (file == "-" && session.terminal.isInput)
        throw UsageError{"import - reads an export from standard input, which is the terminal here."};
    const std::shared_ptr<SnapshotHistory> history = openHistory(session);
    Input input{file};
    const InterruptionWatch watch;
    const Date now = Date::now();
    std::optional<ImportedScan> scan;
    try {
        scan = importScan([&](std::span<char> bytes) { return input.read(bytes); },
                          {.displayName = Text{name}, .now = now, .cancellation = watch.token()});
    } catch (const ImportError& error) {
        throw PathError{fmt::format("{} was not imported: {}", file == "-" ? "Standard input" : file, error.what()),
                        file};
    }
    Interruption::check();
    if (!scan) throw Interrupted{};
    const Generation added = kept(session, *history, *scan, name);
    if (session.options.json) {
        JSONOutput json{session.out};
        writeSnapshot(json, "snapshot", added);
        json.member("name", std::string_view{name});
        if (scan->host) json.member("host", scan->host->view());
        if (scan->program) json.member("program", scan->program->view());
        json.member("records", added.records);
        json.member("unread", scan->unread);
        json.member("totalAllocatedBytes", added.totalAllocatedBytes);
        json.finish();
        return ExitCode::done;
    }
    session.out << fmt::format("Scan {} is “{}”: {} with {} {}, {}, scanned {}{}{}.\n", added.number,
                               session.shown(name), session.shown(added.scope.root.path().view()),
                               ByteFormat::count(added.records), added.records == 1 ? "item" : "items",
                               session.size(added.totalAllocatedBytes), age(added.completedAt, now),
                               scan->program ? " by " + session.shown(scan->program->view()) : "",
                               scan->host ? " on " + session.shown(scan->host->view()) : "");
    if (scan->unread > 0) {
        session.out << fmt::format("{} {} could not be read when it was scanned.\n", ByteFormat::count(scan->unread),
                                   scan->unread == 1 ? "item" : "items");
    }
    session.out << session.painted(Style::quiet, fmt::format("kestrel browse --at {} looks into it.", added.number))
                << '\n';
    return ExitCode::done;
}

}  // namespace

void addImportCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<ReadOptions>();
    const CommandOptions command = addCommand(
        app,
        {.name = "import",
         .operands = "FILE",
         .description = "Takes an export of ncdu, gdu or kestrel into the history, to look at another machine's disk "
                        "(- reads standard input).",
         .examples = {"kestrel import server.json.gz", "ssh server ncdu -0 -o- / | kestrel import - --name server",
                      "kestrel list --at server /srv"},
         .fewestOperands = 1,
         .mostOperands = 1,
         .operandKind = ValueKind::file},
        [&session, options](const Operands& operands) { return importFile(session, *options, operands); });
    command.value("--name", options->name, "What --at is to call it (default: the name of the file)").valueName("NAME");
}

}  // namespace KestrelCLI
