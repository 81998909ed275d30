# Translations: each text domain's template is extracted from its sources (xgettext) into
# <build>/po/<domain>.pot, and its shipped catalogs (<po dir>/<lang>.po) are compiled (msgfmt)
# into <build>/locale/<lang>/LC_MESSAGES/<domain>.mo, the layout wx looks up, and installed
# under the system's locale folder. Both tools come with gettext; without them the programs run
# untranslated.
find_program(XGETTEXT_EXECUTABLE xgettext)
find_program(MSGFMT_EXECUTABLE msgfmt)
set(TAVIRO_LOCALE_DIR ${PROJECT_BINARY_DIR}/locale)

# taviro_translations(DOMAIN PO_DIR SOURCES...)
function(taviro_translations domain podir)
    set(sources)
    foreach(source ${ARGN}) # relative, so that the template does not name this machine's folders
        file(RELATIVE_PATH source ${PROJECT_SOURCE_DIR} ${source})
        list(APPEND sources ${source})
    endforeach()
    set(outputs)
    if(XGETTEXT_EXECUTABLE)
        set(pot ${PROJECT_BINARY_DIR}/po/${domain}.pot)
        add_custom_command(OUTPUT ${pot}
            COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/po
            COMMAND ${XGETTEXT_EXECUTABLE} --from-code=UTF-8 --language=C++ --sort-by-file
                    --keyword=_ --keyword=wxTRANSLATE --keyword=wxGetTranslation
                    --keyword=wxPLURAL:1,2 --package-name=${domain}
                    --package-version=${PROJECT_VERSION} --output=${pot} ${sources}
            DEPENDS ${ARGN} WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} VERBATIM)
        list(APPEND outputs ${pot})
    endif()
    if(MSGFMT_EXECUTABLE)
        file(GLOB catalogs CONFIGURE_DEPENDS ${podir}/*.po)
        foreach(po ${catalogs})
            get_filename_component(lang ${po} NAME_WE)
            set(dir ${TAVIRO_LOCALE_DIR}/${lang}/LC_MESSAGES)
            add_custom_command(OUTPUT ${dir}/${domain}.mo
                COMMAND ${CMAKE_COMMAND} -E make_directory ${dir}
                COMMAND ${MSGFMT_EXECUTABLE} --check-format -o ${dir}/${domain}.mo ${po}
                DEPENDS ${po} VERBATIM)
            list(APPEND outputs ${dir}/${domain}.mo)
            install(FILES ${dir}/${domain}.mo DESTINATION ${CMAKE_INSTALL_LOCALEDIR}/${lang}/LC_MESSAGES)
        endforeach()
    endif()
    add_custom_target(${domain}-translations ALL DEPENDS ${outputs})
endfunction()
