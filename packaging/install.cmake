# An installation: the bundle as it is, both programs on the path, and what the desktop and the
# session bus look for.
include(GNUInstallDirs)
# Installs a file that names the programs. Where they lie is known for certain only when they are
# installed: there is --prefix.
function(install_naming_programs file folder)
    install(CODE "
        set(installed_programs \"\${CMAKE_INSTALL_PREFIX}/lib/papermill/Papermill.app/Contents/Linux\")
        set(service_program ${service_program})
        set(service_options ${service_options})
        set(described \"\${CMAKE_INSTALL_PREFIX}/${folder}/${file}\")
        configure_file(\"${CMAKE_SOURCE_DIR}/packaging/${file}.in\" \"\$ENV{DESTDIR}\${described}\" @ONLY)
        list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${described}\")
        message(STATUS \"Installing: \$ENV{DESTDIR}\${described}\")")
endfunction()
set(service_program papermill)
set(service_options serve)
if(PAPERMILL_DESKTOP)
    set(service_program papermill-desktop)
    set(service_options --service)
endif()
install(DIRECTORY ${bundle} DESTINATION lib/papermill/Papermill.app USE_SOURCE_PERMISSIONS)
install(FILES ${CMAKE_SOURCE_DIR}/resources/org.papermill.Papermill.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/interfaces)
install_naming_programs(org.papermill.Papermill.service ${CMAKE_INSTALL_DATADIR}/dbus-1/services)
set(programs papermill)
if(PAPERMILL_DESKTOP)
    list(APPEND programs papermill-desktop)
    install_naming_programs(org.papermill.Papermill.desktop ${CMAKE_INSTALL_DATADIR}/applications)
    install(FILES ${CMAKE_SOURCE_DIR}/resources/org.papermill.Papermill.svg
            DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
endif()
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/links)
foreach(program ${programs})
    file(CREATE_LINK ../lib/papermill/Papermill.app/Contents/Linux/${program}
         ${CMAKE_BINARY_DIR}/links/${program} SYMBOLIC)
    install(FILES ${CMAKE_BINARY_DIR}/links/${program} TYPE BIN)
endforeach()
