# What every target of the project shares, and the one way to declare a folder.

add_library(tolvik_options INTERFACE)
target_compile_features(tolvik_options INTERFACE cxx_std_23)
target_include_directories(tolvik_options INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(tolvik_options INTERFACE
    -Wall -Wextra -Wpedantic -Werror -Wconversion -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wcast-qual
    -Woverloaded-virtual -Wimplicit-fallthrough -fno-omit-frame-pointer)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # g++ 12 sees overlapping copies inside its own string at the highest optimisation.
    target_compile_options(tolvik_options INTERFACE $<$<CONFIG:Release>:-Wno-restrict>)
endif()
find_program(TOLVIK_MOLD mold)
if(TOLVIK_MOLD)
    target_link_options(tolvik_options INTERFACE -fuse-ld=mold)
endif()
target_link_options(tolvik_options INTERFACE -Wl,--as-needed)
if(TOLVIK_SANITIZE STREQUAL "address")
    target_compile_options(tolvik_options INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=undefined
        # Left out for build time (a third less): null and out-of-object accesses mostly end in the address sanitizer
        # too, misaligned ones and wrong dynamic types are then not looked for.
        -fno-sanitize=null,alignment,object-size,vptr)
    target_link_options(tolvik_options INTERFACE -fsanitize=address,undefined)
elseif(TOLVIK_SANITIZE STREQUAL "thread")
    # g++ 12 warns about fences that the sanitizer does not model; they stand inside library headers.
    target_compile_options(tolvik_options INTERFACE -fsanitize=thread -Wno-tsan)
    target_link_options(tolvik_options INTERFACE -fsanitize=thread)
endif()
if(TOLVIK_FUZZ)
    # The libraries report their coverage to the fuzzer; clang alone finds the deprecated call inside stable_sort.
    target_compile_options(tolvik_options INTERFACE
        -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize=vptr -Wno-error=deprecated-declarations)
    target_link_options(tolvik_options INTERFACE -fsanitize=address,undefined -fno-sanitize=vptr)
endif()
# Options of the files with tests alone; presets leave them unoptimised, which halves the time to compile them.
set(TOLVIK_TEST_FLAGS "" CACHE STRING "Compiler options of test files")
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# tolvik_module(NAME [DEPS target...] [PRIVATE_DEPS target...] [TEST_DEPS target...])
#
# Makes the library tolvik_NAME of the folder's *.cpp files and, of its *_test.cpp files, the program NAME_tests,
# each of whose cases is known to ctest. A folder without sources of its own becomes an interface library.
function(tolvik_module name)
    cmake_parse_arguments(ARG "" "" "DEPS;PRIVATE_DEPS;TEST_DEPS" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
    set(tests ${sources})
    list(FILTER tests INCLUDE REGEX "_test\\.cpp$")
    list(FILTER sources EXCLUDE REGEX "(_test|_main|_fuzz|_bench)\\.cpp$")
    if(sources)
        add_library(tolvik_${name} STATIC ${sources})
        target_link_libraries(tolvik_${name} PUBLIC tolvik_options ${ARG_DEPS} PRIVATE ${ARG_PRIVATE_DEPS})
    else()
        add_library(tolvik_${name} INTERFACE)
        target_link_libraries(tolvik_${name} INTERFACE tolvik_options ${ARG_DEPS})
    endif()
    if(TOLVIK_TESTS AND tests)
        add_executable(${name}_tests ${tests})
        target_compile_options(${name}_tests PRIVATE ${TOLVIK_TEST_FLAGS})
        target_link_libraries(${name}_tests PRIVATE tolvik_${name} ${ARG_TEST_DEPS} GTest::gmock GTest::gtest_main)
        gtest_discover_tests(${name}_tests PROPERTIES TIMEOUT 120 DISCOVERY_TIMEOUT 60)
    endif()
    # libFuzzer targets: NAME_fuzz.cpp becomes the program NAME_fuzz. Without clang the same file is replayed over
    # the seed corpus as an ordinary test, see tests/fuzz.
    if(TOLVIK_FUZZ)
        file(GLOB fuzzers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*_fuzz.cpp)
        foreach(file ${fuzzers})
            get_filename_component(target ${file} NAME_WE)
            add_executable(${target} ${file})
            target_link_libraries(${target} PRIVATE tolvik_${name})
            target_compile_options(${target} PRIVATE -fsanitize=fuzzer)
            target_link_options(${target} PRIVATE -fsanitize=fuzzer)
        endforeach()
    endif()
    if(TOLVIK_BENCH)
        file(GLOB benches CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*_bench.cpp)
        foreach(file ${benches})
            get_filename_component(target ${file} NAME_WE)
            add_executable(${target} ${file})
            target_link_libraries(${target} PRIVATE tolvik_${name} benchmark::benchmark)
        endforeach()
    endif()
endfunction()
