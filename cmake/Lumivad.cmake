# What every target of this project shares: warnings, sanitizers, hardening and the include root.

add_library(lumivad_options INTERFACE)
target_compile_options(lumivad_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow
    $<$<BOOL:${LUMIVAD_WARNINGS_AS_ERRORS}>:-Werror>)
if(LUMIVAD_SANITIZE)
    target_compile_options(lumivad_options INTERFACE
        -fsanitize=${LUMIVAD_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(lumivad_options INTERFACE -fsanitize=${LUMIVAD_SANITIZE})
else()
    include(CheckPIESupported)
    check_pie_supported()
    set(CMAKE_POSITION_INDEPENDENT_CODE ON)
    # A daemon that listens on the network ends rather than run on with an overwritten stack, buffer
    # or table of addresses. The sanitizers look themselves.
    target_compile_options(lumivad_options INTERFACE
        -fstack-protector-strong $<$<CONFIG:Release>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3>)
    target_link_options(lumivad_options INTERFACE -Wl,-z,relro,-z,now)
endif()
if(LUMIVAD_COVERAGE)
    # The counters are atomic: threads count the same lines.
    target_compile_options(lumivad_options INTERFACE --coverage -fprofile-update=atomic)
    target_link_options(lumivad_options INTERFACE --coverage)
endif()
# A library that nothing calls is not loaded: the daemon needs libcrypto only for functions that
# it does not use, and whose archive members then stay out of the link.
target_link_options(lumivad_options INTERFACE -Wl,--as-needed)

# lumivad_library(NAME SOURCES ... LIBRARIES ...): one static library of src/ or the simulator. What
# holds for this build only is kept out of what an installed library asks of its users.
function(lumivad_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>)
    target_link_libraries(${name} PUBLIC ${ARG_LIBRARIES}
        PRIVATE $<BUILD_INTERFACE:lumivad_options>)
    target_link_options(${name} INTERFACE $<BUILD_INTERFACE:-Wl,--as-needed>)
endfunction()
