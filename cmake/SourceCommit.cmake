# Puts the commit of the source into a source: cmake -DFOLDER=checkout -DTO=SourceCommit.cpp -P SourceCommit.cmake
# Run by every build, and writes only what is new. An archive that git made has the commit in source-commit.txt; a
# checkout is asked. What was copied without either has none that anybody could name.
cmake_minimum_required(VERSION 3.25)
set(name "")
set(isChanged false)
file(STRINGS ${FOLDER}/cmake/source-commit.txt archived LIMIT_COUNT 1)
if(archived MATCHES "^([0-9a-f]+) ")
    set(name ${CMAKE_MATCH_1})
else()
    find_program(git git)
    if(git)
        execute_process(COMMAND ${git} -C ${FOLDER} rev-parse --show-prefix HEAD
            OUTPUT_VARIABLE answer ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
        # Nothing before the commit: a copy within the checkout of another project is none of its commits.
        if(answer MATCHES "^\n([0-9a-f]+)$")
            set(name ${CMAKE_MATCH_1})
            execute_process(COMMAND ${git} --no-optional-locks -C ${FOLDER} status --porcelain --untracked-files=no
                OUTPUT_VARIABLE changes ERROR_QUIET)
            if(NOT changes STREQUAL "")
                set(isChanged true)
            endif()
        endif()
    endif()
endif()
file(CONFIGURE OUTPUT ${TO} @ONLY CONTENT "// Made by the build.
#include \"output/SourceCommit.hpp\"

KestrelCLI::SourceCommit KestrelCLI::sourceCommit() { return {.name = \"@name@\", .isChanged = @isChanged@}; }
")
