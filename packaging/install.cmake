# An installation: the bundle as it is, both programs on the path, and what the desktop and the
# session bus look for.
include(GNUInstallDirs)
set(installed_programs ${CMAKE_INSTALL_PREFIX}/lib/papermill/Papermill.app/Contents/Linux)
set(service_command "${installed_programs}/papermill serve")
if(PAPERMILL_DESKTOP)
    set(service_command "${installed_programs}/papermill-desktop --service")
endif()
foreach(file org.papermill.Papermill.desktop org.papermill.Papermill.service)
    configure_file(packaging/${file}.in ${CMAKE_BINARY_DIR}/${file} @ONLY)
endforeach()
install(DIRECTORY ${bundle} DESTINATION lib/papermill/Papermill.app USE_SOURCE_PERMISSIONS)
install(FILES ${CMAKE_SOURCE_DIR}/resources/org.papermill.Papermill.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/interfaces)
install(FILES ${CMAKE_BINARY_DIR}/org.papermill.Papermill.service
        DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/services)
set(programs papermill)
if(PAPERMILL_DESKTOP)
    list(APPEND programs papermill-desktop)
    install(FILES ${CMAKE_BINARY_DIR}/org.papermill.Papermill.desktop
            DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
endif()
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/links)
foreach(program ${programs})
    file(CREATE_LINK ../lib/papermill/Papermill.app/Contents/Linux/${program}
         ${CMAKE_BINARY_DIR}/links/${program} SYMBOLIC)
    install(FILES ${CMAKE_BINARY_DIR}/links/${program} TYPE BIN)
endforeach()
