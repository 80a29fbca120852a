# Shared build settings for every target of the project.

add_compile_definitions(QT_NO_KEYWORDS)

function(corvina_target_settings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror
        -Wno-error=deprecated-declarations)
    target_compile_definitions(${target} PRIVATE QT_NO_KEYWORDS)
    # Fuzz builds leave the diagnostic lines out: printing them would be most
    # of the time of an input.
    if((CMAKE_BUILD_TYPE STREQUAL "Debug" OR CORVINA_SANITIZE) AND NOT CORVINA_FUZZ)
        target_compile_definitions(${target} PRIVATE CORVINA_DIAGNOSTIC_LOG=1)
    endif()
endfunction()

if(CORVINA_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=address,undefined)
endif()

if(CORVINA_FUZZ)
    # Coverage feedback and sanitizers for everything the fuzz targets reach.
    add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()

# corvina_add_library(name SOURCES ... PUBLIC_LIBS ... PRIVATE_LIBS ...)
function(corvina_add_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC_LIBS;PRIVATE_LIBS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_LIBS} PRIVATE ${ARG_PRIVATE_LIBS})
    corvina_target_settings(${name})
endfunction()

# corvina_add_test(name SOURCES ... LIBS ... [ENVIRONMENT ...] [TIMEOUT s])
# A QtTest executable registered with CTest. Tests run inside the private
# D-Bus session that scripts/test.sh starts.
function(corvina_add_test name)
    cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LIBS;ENVIRONMENT" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE Qt6::Test ${ARG_LIBS})
    corvina_target_settings(${name})
    add_test(NAME ${name} COMMAND ${name})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 300)
    endif()
    set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT}
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;TZ=Europe/Berlin;LC_ALL=C.UTF-8;${ARG_ENVIRONMENT}")
endfunction()

# corvina_add_fuzz_target(name TEST test SOURCE file LIBS ... CORPUS folder)
# A libFuzzer target in a clang build with CORVINA_FUZZ; otherwise a plain
# program that replays the committed seed corpus, registered with CTest as
# `test`.
function(corvina_add_fuzz_target name)
    cmake_parse_arguments(ARG "" "TEST;SOURCE;CORPUS" "LIBS" ${ARGN})
    if(CORVINA_FUZZ)
        add_executable(${name} ${ARG_SOURCE})
        target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    else()
        set(name ${ARG_TEST})
        add_executable(${name} ${ARG_SOURCE} ${PROJECT_SOURCE_DIR}/tests/zip/fuzz/FuzzReplay.cpp)
        target_compile_definitions(${name} PRIVATE CORVINA_FUZZ_CORPUS="${ARG_CORPUS}")
        add_test(NAME ${name} COMMAND ${name})
        set_tests_properties(${name} PROPERTIES TIMEOUT 120 ENVIRONMENT "LC_ALL=C.UTF-8")
    endif()
    target_link_libraries(${name} PRIVATE ${ARG_LIBS})
    corvina_target_settings(${name})
endfunction()
