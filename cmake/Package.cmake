# The exported CMake package (find_package(wxTaviro CONFIG)) and a pkg-config file, so that a
# client program outside this tree builds against an installed copy.
include(CMakePackageConfigHelpers)
set(WXTAVIRO_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/wxTaviro)
install(EXPORT wxTaviroTargets NAMESPACE wxTaviro:: DESTINATION ${WXTAVIRO_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/wxTaviroConfig.cmake.in
    ${PROJECT_BINARY_DIR}/wxTaviroConfig.cmake INSTALL_DESTINATION ${WXTAVIRO_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/wxTaviroConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/wxTaviroConfig.cmake
              ${PROJECT_BINARY_DIR}/wxTaviroConfigVersion.cmake
        DESTINATION ${WXTAVIRO_CMAKE_DIR})
file(RELATIVE_PATH PC_REL_PREFIX "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/wxTaviro.pc.in ${PROJECT_BINARY_DIR}/wxTaviro.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/wxTaviro.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
