# Options shared by all targets of this project: warnings, sanitizers, hardening and the include root.

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
    # A daemon that listens on the network aborts if its stack, a buffer or a table of addresses is
    # overwritten. The sanitizers have checks of their own.
    target_compile_options(lumivad_options INTERFACE
        -fstack-protector-strong $<$<CONFIG:Release>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3>)
    target_link_options(lumivad_options INTERFACE -Wl,-z,relro,-z,now)
    # A function that a program does not call is left out of it: memory is short on the board.
    target_compile_options(lumivad_options INTERFACE -ffunction-sections -fdata-sections)
    target_link_options(lumivad_options INTERFACE -Wl,--gc-sections)
endif()
if(LUMIVAD_COVERAGE)
    # Atomic counters: several threads count the same lines.
    target_compile_options(lumivad_options INTERFACE --coverage -fprofile-update=atomic)
    target_link_options(lumivad_options INTERFACE --coverage)
endif()
# Libraries without a used symbol are not loaded. Only functions that the daemon does not call need
# OpenSSL, and their archive members are not linked.
target_link_options(lumivad_options INTERFACE -Wl,--as-needed)

# lumivad_library(NAME SOURCES ... LIBRARIES ...): adds a static library of src/ or the simulator.
# Options of this build do not become requirements of the installed library.
function(lumivad_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>)
    target_link_libraries(${name} PUBLIC ${ARG_LIBRARIES}
        PRIVATE $<BUILD_INTERFACE:lumivad_options>)
    target_link_options(${name} INTERFACE $<BUILD_INTERFACE:-Wl,--as-needed>)
endfunction()
