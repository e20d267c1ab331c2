#include "KestrelCore/KestrelCore.hpp"

#include <CLI/CLI.hpp>

#include <fmt/core.h>

int main(int argc, char** argv) {
    CLI::App app{"Shows where disk space goes and helps to reclaim it safely."};
    app.set_version_flag("--version",
                         fmt::format("kestrel {}", reinterpret_cast<const char*>(KestrelCoreVersionString)));
    CLI11_PARSE(app, argc, argv);
    return 0;
}
