# Puts the files of the catalogue into a source: cmake -DFOLDER=reclaim -DTO=ShippedRules.cpp -P ShippedRules.cmake
file(GLOB files ${FOLDER}/*.toml)
list(SORT files)
set(rows "")
set(count 0)
foreach(file ${files})
    cmake_path(GET file FILENAME name)
    file(READ ${file} text)
    if(text MATCHES "\\)rule\"")
        message(FATAL_ERROR "${file}: )rule\" ends the text in the source that it is put into.")
    endif()
    string(APPEND rows "    {\"${name}\", R\"rule(${text})rule\"},\n")
    math(EXPR count "${count} + 1")
endforeach()
file(WRITE ${TO}.new "// Made by the build from the files of the catalogue.
#include \"Reclaim/ShippedRules.hpp\"

#include <array>

namespace KestrelCore {

namespace {

constexpr std::array<ShippedRule, ${count}> rules{{
${rows}}};

}  // namespace

std::span<const ShippedRule> shippedRules() { return rules; }

}  // namespace KestrelCore
")
file(RENAME ${TO}.new ${TO})
