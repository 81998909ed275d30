# taviro_add_library(<name> <folder>): a shared library with a versioned SONAME from every
# source of its folder, the repository root as its include root, exported and installed with
# its headers under include/<name>/.
function(taviro_add_library name)
    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
    file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
    add_library(${name} SHARED ${sources})
    add_library(wxTaviro::${name} ALIAS ${name})
    # Before 1.0 a minor version may change the interface, so it is part of the soname.
    if(PROJECT_VERSION_MAJOR EQUAL 0)
        set(soversion 0.${PROJECT_VERSION_MINOR})
    else()
        set(soversion ${PROJECT_VERSION_MAJOR})
    endif()
    # Installed, each finds the others beside it, wherever the prefix is (or was moved to).
    set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${soversion}
                                             INSTALL_RPATH "$ORIGIN")
    target_include_directories(${name} PUBLIC
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    install(TARGETS ${name} EXPORT wxTaviroTargets
            LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
            ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
    install(FILES ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${name})
endfunction()
