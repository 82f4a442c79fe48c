# What every folder of this project builds with: the language, the warnings, and the helpers
#   orv_library(NAME SOURCES...)   a shared library that exports its classes
#   orv_test(NAME SOURCES ... LIBRARIES ... [LABEL ...])   a GoogleTest binary, its tests known to ctest
#   orv_bench(NAME SOURCES ... LIBRARIES ...)   a Google Benchmark binary

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")

# Assertions are behaviour here: NDEBUG is defined in no build type.
set(CMAKE_CXX_FLAGS_RELEASE "-O2")
set(CMAKE_CXX_FLAGS_DEBUG "-O0 -g")
if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release)
endif()

set(ORV_SANITIZER "" CACHE STRING "Sanitizer for -fsanitize=, empty for none")
option(ORV_COVERAGE "Instrument for line and branch coverage" OFF)
option(ORV_FUZZ "Instrument for the fuzzer, and build the fuzz targets" OFF)
get_filename_component(ORV_SOURCE_DIR "${CMAKE_CURRENT_LIST_DIR}" DIRECTORY)

add_compile_options(-Wall -Wextra -Wpedantic -Werror -Wformat=2 -Wnon-virtual-dtor -Woverloaded-virtual -Wshadow)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # The annotations reach POCO's mutexes only if they are seen first; see ThreadSafety.h.
    add_compile_options(-Wthread-safety "SHELL:-include \"${ORV_SOURCE_DIR}/common/inc/ThreadSafety.h\"")
endif()
if(ORV_SANITIZER)
    set(CMAKE_CXX_FLAGS_RELEASE "-O1")
    add_compile_options(-fsanitize=${ORV_SANITIZER} -fno-omit-frame-pointer -g)
    add_link_options(-fsanitize=${ORV_SANITIZER})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # Where g++ instruments, it takes values of its own headers for uninitialised. The other presets look for them.
        add_compile_options(-Wno-maybe-uninitialized)
    endif()
    if(ORV_SANITIZER MATCHES "undefined")
        add_compile_options(-fno-sanitize-recover=undefined)
    endif()
endif()
if(ORV_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(ORV_COVERAGE)
    # Several threads count at once: without atomic counters numbers get lost, and differences turn negative.
    add_compile_options(--coverage -fprofile-update=atomic -g)
    add_link_options(--coverage)
endif()

find_package(Threads REQUIRED)
find_package(Poco REQUIRED COMPONENTS Foundation XML)
find_package(GTest REQUIRED)
find_package(benchmark REQUIRED)

include(GoogleTest)

# POCO's mutexes are plain pthread mutexes, and the delivery token is unlocked by another thread on purpose: the
# thread sanitizer's own mutex checks do not apply, its race detection does.
set(ORV_TEST_ENVIRONMENT
    "TSAN_OPTIONS=detect_deadlocks=0:report_mutex_bugs=0:report_destroy_locked=0:halt_on_error=1"
    "ASAN_OPTIONS=detect_stack_use_after_return=1"
    "UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1")

function(orv_library name)
    add_library(${name} SHARED ${ARGN})
endfunction()

# A time-out exists only to turn a hang into a failure. LABEL is unit, component or system; unit tests alone may look at
# private members.
function(orv_test name)
    cmake_parse_arguments(ARG "" "LABEL;TIMEOUT" "SOURCES;LIBRARIES" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    if(NOT ARG_LABEL)
        set(ARG_LABEL unit)
    endif()
    add_executable(${name} ${ARG_SOURCES})
    # A test's own code runs for moments and takes a sanitizing compiler longer than anything else to optimise.
    if(ORV_SANITIZER)
        target_compile_options(${name} PRIVATE -O0)
    elseif(CMAKE_BUILD_TYPE STREQUAL "Release")
        target_compile_options(${name} PRIVATE -O1)
    endif()
    if(ARG_LABEL STREQUAL "unit")
        target_compile_options(${name} PRIVATE -fno-access-control)
        if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
            # They look at guarded members when no other thread runs.
            target_compile_options(${name} PRIVATE -Wno-thread-safety-analysis)
        endif()
    endif()
    target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} GTest::gmock GTest::gtest GTest::gtest_main Threads::Threads)
    gtest_discover_tests(${name}
        DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS ${ARG_LABEL} ENVIRONMENT "${ORV_TEST_ENVIRONMENT}")
endfunction()

# ORV_MEASURABLE is 0 in a build whose figures would mislead; the program then refuses to run.
function(orv_bench name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
    set(measurable 1)
    if(NOT CMAKE_BUILD_TYPE STREQUAL "Release" OR ORV_SANITIZER OR ORV_COVERAGE)
        set(measurable 0)
    endif()
    add_executable(${name} ${ARG_SOURCES})
    target_compile_definitions(${name} PRIVATE ORV_MEASURABLE=${measurable})
    target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} benchmark::benchmark Threads::Threads)
endfunction()
