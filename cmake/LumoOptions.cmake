# Options and compile settings that every target of the project shares.

option(LUMO_BUILD_TESTS "Build the tests" ON)
option(LUMO_BUILD_BENCHMARKS "Build the benchmarks" OFF)
option(LUMO_BUILD_FUZZERS "Build the fuzzers in place of the tests (Clang only)" OFF)
set(LUMO_SANITIZE "" CACHE STRING "Sanitizers to build everything with, e.g. address,undefined or thread")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# What people get lies side by side in the build folder: lumorender, lumovexa.so, vexabase.so, lumovexa.mi.
set(LUMO_PRODUCT_DIR ${CMAKE_BINARY_DIR})

# Folders use each other's packages through the targets they link.
set(CMAKE_FIND_PACKAGE_TARGETS_GLOBAL TRUE)

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
    set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
else()
    # The headers that most files need, compiled once, save a third of the time, but no file could come from the cache.
    set(LUMO_PRECOMPILE TRUE)
endif()

find_program(LLD_PROGRAM ld.lld)
if(LLD_PROGRAM AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    add_link_options(-fuse-ld=lld)
endif()

if(LUMO_SANITIZE)
    add_compile_options(-fsanitize=${LUMO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    # Functions of modules are called by what the host knows of them, which is less than their own types say; and records
    # of the interface end with arrays that are longer than they are declared.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND LUMO_SANITIZE MATCHES "undefined")
        add_compile_options(-fno-sanitize=function,bounds)
    endif()
    # Sanitizers open libraries in their own name: the search path of the module that asks does not count then, only that
    # of the program, and of the old kind.
    add_link_options(-fsanitize=${LUMO_SANITIZE} LINKER:--disable-new-dtags)
    set(CMAKE_BUILD_RPATH "$ORIGIN;$ORIGIN/..")
endif()

if(LUMO_BUILD_FUZZERS)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Warnings are errors in our own code. Not applied to the modules that tests build from foreign-style sources.
add_library(lumo_warnings INTERFACE)
target_compile_options(lumo_warnings INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror>)
# Instrumented code hides from the compiler what guards a value.
if(LUMO_SANITIZE)
    target_compile_options(lumo_warnings INTERFACE $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-maybe-uninitialized>)
endif()

# States, records and results of some hundred bytes are copied and cleared in every call. The string instructions that GCC
# takes for them need as long to begin as vectors need for all of it.
add_library(lumo_vector_copies INTERFACE)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_SYSTEM_PROCESSOR STREQUAL x86_64)
    set(strategy vector_loop:1024:noalign,libcall:-1:noalign)
    target_compile_options(lumo_vector_copies INTERFACE -mmemset-strategy=${strategy} -mmemcpy-strategy=${strategy})
endif()

# The modules run in somebody else's process: nothing is exported unless the symbol map names it, and floating point
# follows the source (no contraction, no fast-math), because NaN, infinity and exact zero are part of the behaviour.
# Calls inside a module are its own, whatever the process around it exports under the same name.
add_library(lumo_module_code INTERFACE)
target_compile_options(lumo_module_code INTERFACE -ffp-contract=off -fvisibility=hidden -fvisibility-inlines-hidden
    -fno-semantic-interposition -fno-math-errno)
target_link_options(lumo_module_code INTERFACE -Wl,-Bsymbolic-functions)
target_link_libraries(lumo_module_code INTERFACE lumo_vector_copies lumo_warnings)
