# wxWidgets wrapped in one INTERFACE target, instead of include(${wxWidgets_USE_FILE}), which
# would change the flags of every target in the tree.
find_package(wxWidgets REQUIRED COMPONENTS aui core base)
add_library(taviro_wx INTERFACE)
target_include_directories(taviro_wx SYSTEM INTERFACE ${wxWidgets_INCLUDE_DIRS})
target_compile_definitions(taviro_wx INTERFACE ${wxWidgets_DEFINITIONS})
separate_arguments(_wx_cxx_flags UNIX_COMMAND "${wxWidgets_CXX_FLAGS}")
target_compile_options(taviro_wx INTERFACE ${_wx_cxx_flags})
target_link_libraries(taviro_wx INTERFACE ${wxWidgets_LIBRARIES})
# Exported with the libraries, so a client of an installed copy gets wx's flags too.
install(TARGETS taviro_wx EXPORT wxTaviroTargets)
