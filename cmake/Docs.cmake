# The API reference: Doxygen (Debian: doxygen) over the public headers of the three libraries
# into <build>/doc/html, with the project's version. The "doc" target first checks the GUI
# library alone and fails on any warning there (an undocumented public member, a broken
# command), then writes the reference. ./run docs builds it.
find_program(DOXYGEN_EXECUTABLE doxygen)
if(DOXYGEN_EXECUTABLE)
    configure_file(${PROJECT_SOURCE_DIR}/doc/Doxyfile.in ${PROJECT_BINARY_DIR}/doc/Doxyfile @ONLY)
    configure_file(${PROJECT_SOURCE_DIR}/doc/Doxyfile-wxTaviro.in
                   ${PROJECT_BINARY_DIR}/doc/Doxyfile-wxTaviro @ONLY)
    add_custom_target(doc
        COMMAND ${DOXYGEN_EXECUTABLE} ${PROJECT_BINARY_DIR}/doc/Doxyfile-wxTaviro
        COMMAND ${DOXYGEN_EXECUTABLE} ${PROJECT_BINARY_DIR}/doc/Doxyfile
        WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
        COMMENT "API reference into ${PROJECT_BINARY_DIR}/doc/html" VERBATIM)
endif()
