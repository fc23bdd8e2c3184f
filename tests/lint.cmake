# The style and the checks of .clang-format and .clang-tidy, held as tests. Each file's check is
# built, so that only what has changed is checked again.
find_program(clang_format clang-format REQUIRED)
find_program(clang_tidy clang-tidy REQUIRED)
file(GLOB_RECURSE checked_sources CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/app/*.cpp ${PROJECT_SOURCE_DIR}/bench/*.cpp
    ${PROJECT_SOURCE_DIR}/cli/*.cpp ${PROJECT_SOURCE_DIR}/console/*.cpp
    ${PROJECT_SOURCE_DIR}/dialogs/*.cpp ${PROJECT_SOURCE_DIR}/engine/*.cpp
    ${PROJECT_SOURCE_DIR}/platform/*.cpp
    ${PROJECT_SOURCE_DIR}/resources/*.cpp ${PROJECT_SOURCE_DIR}/scripting/*.cpp
    ${PROJECT_SOURCE_DIR}/settings/*.cpp
    ${PROJECT_SOURCE_DIR}/stand_ins/*.cpp ${PROJECT_SOURCE_DIR}/tests/*.cpp)
file(GLOB_RECURSE checked_headers CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/app/*.h ${PROJECT_SOURCE_DIR}/cli/*.h ${PROJECT_SOURCE_DIR}/console/*.h
    ${PROJECT_SOURCE_DIR}/dialogs/*.h
    ${PROJECT_SOURCE_DIR}/engine/*.h ${PROJECT_SOURCE_DIR}/platform/*.h
    ${PROJECT_SOURCE_DIR}/scripting/*.h
    ${PROJECT_SOURCE_DIR}/settings/*.h ${PROJECT_SOURCE_DIR}/stand_ins/*.h
    ${PROJECT_SOURCE_DIR}/tests/*.h)

add_test(NAME lint.format
    COMMAND ${clang_format} --dry-run -Werror ${checked_sources} ${checked_headers})

set(stamps)
foreach(source ${checked_sources})
    file(RELATIVE_PATH name ${PROJECT_SOURCE_DIR} ${source})
    if(name MATCHES "^(tests|bench)/") # the checks are for what users run
        continue()
    endif()
    string(REPLACE "/" "." stamp ${name})
    set(stamp ${CMAKE_BINARY_DIR}/tidy/${stamp}.checked)
    add_custom_command(
        OUTPUT ${stamp}
        COMMAND ${clang_tidy} --quiet -p ${CMAKE_BINARY_DIR} ${source}
        COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
        DEPENDS ${source} ${checked_headers} ${PROJECT_SOURCE_DIR}/.clang-tidy
        VERBATIM)
    list(APPEND stamps ${stamp})
endforeach()
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/tidy)
add_custom_target(tidy DEPENDS ${stamps})
# The only test that uses several processors: no other one is slowed down by it.
add_test(NAME lint.tidy
    COMMAND ${CMAKE_COMMAND} --build ${CMAKE_BINARY_DIR} --target tidy --parallel 2)
set_tests_properties(lint.tidy PROPERTIES PROCESSORS 2 TIMEOUT 7200)
