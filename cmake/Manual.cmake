# Manual pages and completions, made at build time. The pages are the text of docs/ with the options that the program itself
# tells, and so never behind either. The date is that of the release and changes with the version, so that every build gives the same bytes.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
set(KESTREL_RELEASE_DATE 2026-11-22)

set(manual ${PROJECT_BINARY_DIR}/manual)
set(documents ${PROJECT_SOURCE_DIR}/docs/kestrel.md ${PROJECT_SOURCE_DIR}/docs/reclaim.md ${PROJECT_SOURCE_DIR}/docs/exchange.md)
add_custom_command(OUTPUT ${manual}/definitions.json
    COMMAND ${CMAKE_COMMAND} -E make_directory ${manual}
    COMMAND kestrel definitions > ${manual}/definitions.json
    DEPENDS kestrel VERBATIM)
add_custom_command(OUTPUT ${manual}/written
    COMMAND Python3::Interpreter -B ${PROJECT_SOURCE_DIR}/scripts/manual-pages
        ${manual}/definitions.json ${manual}/pages ${PROJECT_VERSION} ${KESTREL_RELEASE_DATE}
    COMMAND ${CMAKE_COMMAND} -E touch ${manual}/written
    DEPENDS ${manual}/definitions.json ${PROJECT_SOURCE_DIR}/scripts/manual-pages ${documents} VERBATIM)
# Under the names by which the shells find them.
set(completions ${manual}/completions)
add_custom_command(OUTPUT ${completions}/kestrel ${completions}/_kestrel ${completions}/kestrel.fish
    COMMAND ${CMAKE_COMMAND} -E make_directory ${completions}
    COMMAND kestrel completion bash > ${completions}/kestrel
    COMMAND kestrel completion zsh > ${completions}/_kestrel
    COMMAND kestrel completion fish > ${completions}/kestrel.fish
    DEPENDS kestrel VERBATIM)
add_custom_target(kestrel-manual ALL DEPENDS ${manual}/written ${completions}/kestrel)
install(DIRECTORY ${manual}/pages/ DESTINATION ${CMAKE_INSTALL_MANDIR})
install(FILES ${completions}/kestrel DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES ${completions}/_kestrel DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
install(FILES ${completions}/kestrel.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
