# Builds for macOS on Linux, with Clang as compiler, zig as linker, and the headers of this machine's libraries. For
# scripts/check-macos, which names its folder of tools and headers in KESTREL_MACOS and the processor in
# KESTREL_MACOS_PROCESSOR. What the libraries would define stays undefined in what is linked, and the script reads that.
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KESTREL_MACOS KESTREL_MACOS_PROCESSOR)
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR ${KESTREL_MACOS_PROCESSOR})
set(CMAKE_CXX_COMPILER ${KESTREL_MACOS}/bin/${KESTREL_MACOS_PROCESSOR}-c++)
# Said here, since the linker does not take the option with which CMake would ask.
set(CMAKE_CXX_ABI_COMPILED TRUE)
set(CMAKE_SIZEOF_VOID_P 8)
# Questions to the compiler need no linker, whose first call for a processor builds the standard library for it.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_AR ${KESTREL_MACOS}/bin/ar)
set(CMAKE_RANLIB ${KESTREL_MACOS}/bin/ranlib)
set(CMAKE_INSTALL_NAME_TOOL true)  # asked for by CMake; nothing is installed
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-undefined dynamic_lookup")
# Only a library may leave something undefined, so the program is linked as one.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-undefined dynamic_lookup -dynamiclib")

# The libraries, as find_package finds them: headers only.
set(CMAKE_FIND_PACKAGE_PREFER_CONFIG ON)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE NEVER)
set(targets_ICU ICU::uc ICU::i18n)
set(targets_SQLite3 SQLite::SQLite3)
set(targets_fmt fmt::fmt)
set(targets_simdjson simdjson::simdjson)
set(targets_zstd zstd::libzstd_shared)
set(targets_ZLIB ZLIB::ZLIB)
set(targets_Boost Boost::headers)
set(targets_CLI11 CLI11::CLI11)
set(targets_CURL CURL::libcurl)
set(targets_Curses "")
foreach(package ICU SQLite3 fmt simdjson zstd ZLIB Boost CLI11 CURL Curses)
    set(folder ${CMAKE_BINARY_DIR}/packages/${package})
    set(text "set(CURSES_INCLUDE_DIRS ${KESTREL_MACOS}/include)\n")
    foreach(target ${targets_${package}})
        string(APPEND text "if(NOT TARGET ${target})\n  add_library(${target} INTERFACE IMPORTED)\n"
            "  target_include_directories(${target} SYSTEM INTERFACE ${KESTREL_MACOS}/include)\nendif()\n")
    endforeach()
    file(WRITE ${folder}/${package}Config.cmake "${text}")
    file(WRITE ${folder}/${package}ConfigVersion.cmake "set(PACKAGE_VERSION_COMPATIBLE TRUE)\n")
    set(${package}_DIR ${folder})
endforeach()
set(KESTREL_TOML_HEADERS ${KESTREL_MACOS}/include)
