# The install tree: libraries, public headers, the program, and what find_package and pkg-config read.
include(CMakePackageConfigHelpers)

set(KESTREL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/KestrelCore)

install(TARGETS kestrel RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
# Two export sets: who links the shared library needs none of the packages that the static one brings along.
set_target_properties(KestrelCoreStatic PROPERTIES EXPORT_NAME KestrelCoreStatic)
install(TARGETS KestrelCore KestrelC EXPORT KestrelCoreTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS KestrelCoreStatic EXPORT KestrelCoreStaticTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
foreach(set KestrelCoreTargets KestrelCoreStaticTargets)
    install(EXPORT ${set} NAMESPACE KestrelCore:: DESTINATION ${KESTREL_CMAKE_DIR})
endforeach()

# To be read: the library has its own copy of them.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/reclaim DESTINATION ${CMAKE_INSTALL_DATADIR}/kestrel OPTIONAL
    FILES_MATCHING PATTERN "*.toml")
# For the administrator of a column store.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/packaging/clickhouse DESTINATION ${CMAKE_INSTALL_DATADIR}/kestrel)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/KestrelCoreConfig.cmake.in
    ${PROJECT_BINARY_DIR}/KestrelCoreConfig.cmake INSTALL_DESTINATION ${KESTREL_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KestrelCoreConfigVersion.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KestrelCoreConfig.cmake ${PROJECT_BINARY_DIR}/KestrelCoreConfigVersion.cmake
    DESTINATION ${KESTREL_CMAKE_DIR})

# The file finds its prefix from its own place, so the tree may be moved.
file(RELATIVE_PATH KESTREL_PREFIX_FROM_PC /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
foreach(package kestrelcore kestrel)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/${package}.pc.in ${PROJECT_BINARY_DIR}/${package}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${package}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

# For a user's own systemd: whoever wants a scan a day enables the timer. Looked for there below /usr, /usr/local and
# ~/.local alike.
set(KESTREL_SYSTEMD_USER_DIR ${CMAKE_INSTALL_DATADIR}/systemd/user CACHE STRING "Folder of systemd's units for users")
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    # The service names the program by its whole path, and `cmake --install --prefix` may say at the last moment where.
    install(CODE "set(program \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/kestrel\")
        configure_file(\"${PROJECT_SOURCE_DIR}/packaging/systemd/kestrel-scan.service.in\"
            \"${PROJECT_BINARY_DIR}/kestrel-scan.service\" @ONLY)")
    install(FILES ${PROJECT_BINARY_DIR}/kestrel-scan.service ${PROJECT_SOURCE_DIR}/packaging/systemd/kestrel-scan.timer
        DESTINATION ${KESTREL_SYSTEMD_USER_DIR})
endif()
