# Where the libraries are on a Mac with Homebrew. What macOS has in a form of its own lies outside the usual folders.
find_program(KESTREL_BREW brew)
if(KESTREL_BREW)
    foreach(formula icu4c sqlite curl zlib ncurses)
        execute_process(COMMAND ${KESTREL_BREW} --prefix ${formula}
            OUTPUT_VARIABLE prefix OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
        if(prefix)
            list(APPEND CMAKE_PREFIX_PATH ${prefix})
        endif()
    endforeach()
    execute_process(COMMAND ${KESTREL_BREW} --prefix OUTPUT_VARIABLE prefix OUTPUT_STRIP_TRAILING_WHITESPACE)
    list(APPEND CMAKE_PREFIX_PATH ${prefix})
endif()
