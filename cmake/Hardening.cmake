# What makes a fault in a released program harder to use: its memory lies elsewhere in each run and its tables can't be
# written (PIE, RELRO with every symbol bound at the start), frames and known buffers are watched (stack protector,
# _FORTIFY_SOURCE, a touch of each page that a large frame takes), and calls and returns land only where they may (CET,
# BTI). For the optimised builds and the packages of KestrelCore itself: who embeds it decides alone, and the sanitizers
# look closer than all this. scripts/check-hardening reads from the built files that it is there.
#
# A target has it by `target_link_libraries(TARGET PRIVATE $<BUILD_INTERFACE:kestrel_hardening>)`; a program, and what
# is linked into nothing else, by kestrel_harden_program(TARGET...).
option(KESTREL_HARDENED "Harden optimised builds" ${PROJECT_IS_TOP_LEVEL})

add_library(kestrel_hardening INTERFACE)
if(NOT KESTREL_HARDENED OR KESTREL_SANITIZE OR KESTREL_FUZZ)
    function(kestrel_harden_program)
    endfunction()
    return()
endif()

include(CheckCXXCompilerFlag)
set(branchProtection -fcf-protection)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
    set(branchProtection -mbranch-protection=standard)
endif()
set(isOptimised "CONFIG:Release,RelWithDebInfo,MinSizeRel")
# A compiler that does not know a flag for its machine goes without, and the script says so.
foreach(flag -fstack-protector-strong -fstack-clash-protection ${branchProtection})
    string(MAKE_C_IDENTIFIER "KESTREL_KNOWS_${flag}" isKnown)
    check_cxx_compiler_flag("-Werror ${flag}" ${isKnown})
    if(${isKnown})
        target_compile_options(kestrel_hardening INTERFACE $<$<${isOptimised}>:${flag}>)
    endif()
endforeach()
# A distribution's own flags may ask for less: the last one counts.
target_compile_options(kestrel_hardening INTERFACE
    $<$<${isOptimised}>:-U_FORTIFY_SOURCE> $<$<${isOptimised}>:-D_FORTIFY_SOURCE=3>)
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    target_link_options(kestrel_hardening INTERFACE $<$<${isOptimised}>:LINKER:-z,relro,-z,now,-z,noexecstack>)
endif()

include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
function(kestrel_harden_program)
    foreach(target ${ARGN})
        target_link_libraries(${target} PRIVATE kestrel_hardening)
        if(CMAKE_CONFIGURATION_TYPES OR CMAKE_BUILD_TYPE MATCHES "Rel")
            set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
        endif()
    endforeach()
endfunction()
