# What holds for those who work on KestrelCore and never reaches those who embed it.
add_library(kestrel_developer INTERFACE)
if(KESTREL_DEVELOPER)
    target_compile_options(kestrel_developer INTERFACE -Wall -Wextra -Wconversion)
    # A warning is an error with the compilers that we test with; a newer one may know warnings that nobody has seen.
    if((CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
       OR (CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 17))
        target_compile_options(kestrel_developer INTERFACE -Werror)
    endif()
    # GCC 12 sees an overlapping copy in every optimised "literal" + std::string (GCC bug 105651).
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
        target_compile_options(kestrel_developer INTERFACE -Wno-restrict)
    endif()
endif()
if(KESTREL_SANITIZE)
    # The check of virtual tables needs a descriptor for each look, and some tests leave the process without any.
    add_compile_options(
        -fsanitize=${KESTREL_SANITIZE} -fno-sanitize=vptr -fno-omit-frame-pointer -fno-sanitize-recover=all -O1)
    add_link_options(-fsanitize=${KESTREL_SANITIZE})
    add_compile_definitions(KESTREL_SANITIZED=1)
endif()
if(KESTREL_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(KESTREL_DEVELOPER AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # Several presets and checkouts compile much alike.
    find_program(KESTREL_CCACHE ccache)
    if(KESTREL_CCACHE)
        set(CMAKE_CXX_COMPILER_LAUNCHER ${KESTREL_CCACHE})
        # Or it can't see into a precompiled header, and keeps nothing that was compiled with one.
        if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
            add_compile_options(-fpch-preprocess)
        endif()
    endif()
endif()
