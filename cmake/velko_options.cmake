# What every target of this project is compiled and linked with.

include(GNUInstallDirs)
# Programs that users don't call themselves.
set(VELKO_LIBEXEC_DIR ${CMAKE_INSTALL_LIBEXECDIR}/velko)

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()
set(CMAKE_CXX_FLAGS_RELEASE "-O3 -DNDEBUG")
set(CMAKE_CXX_FLAGS_DEBUG "-O1 -g1 -fno-omit-frame-pointer")
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_library(velko_options INTERFACE)
target_compile_features(velko_options INTERFACE cxx_std_20)
target_include_directories(velko_options INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
                                                   $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
# Contraction off: a product has the same bits on every machine, and geometry's exact zeros stay exact.
target_compile_options(velko_options INTERFACE -ffp-contract=off)

# Both compilers share LLVM's OpenMP run-time; g++ gets it by name, in place of its own. So does a program that another
# compiler links with the installed library. It lies where the system looks, and no program names the folder of a compiler.
find_library(VELKO_LIBOMP NAMES omp libomp.so.5 PATHS /usr/lib/llvm-14/lib REQUIRED)
add_library(velko_openmp INTERFACE)
target_compile_options(velko_openmp INTERFACE -fopenmp)
target_link_options(velko_openmp INTERFACE "$<$<CXX_COMPILER_ID:Clang>:-fopenmp;-fno-openmp-implicit-rpath>")
target_link_libraries(velko_openmp INTERFACE $<$<NOT:$<CXX_COMPILER_ID:Clang>>:${VELKO_LIBOMP}>)

# Warnings concern who works here; they are no interface of the library. g++ 12 sees overlapping copies inside its own
# std::string where there are none (GCC bug 105651).
add_library(velko_warnings INTERFACE)
target_compile_options(velko_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                       $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict> $<$<BOOL:${VELKO_WARNINGS_ARE_ERRORS}>:-Werror>)

# Instrumented is our own code. The Fortran programs of the tests are judges, and their compiler knows other flags.
set(velko_cxx "$<COMPILE_LANGUAGE:CXX>")
set(velko_linked_by_cxx "$<LINK_LANGUAGE:CXX>")
if(VELKO_SANITIZE)
  add_compile_definitions(VELKO_SANITIZED)  # tests of memory limits: the sanitizers' own memory meets them first
  add_compile_options("$<${velko_cxx}:-fsanitize=${VELKO_SANITIZE};-fno-sanitize-recover=all>")
  add_link_options("$<${velko_linked_by_cxx}:-fsanitize=${VELKO_SANITIZE}>")
endif()
if(VELKO_LIBFUZZER)
  add_compile_options("$<${velko_cxx}:-fsanitize=fuzzer-no-link>")
endif()
if(VELKO_COVERAGE)
  add_compile_options("$<${velko_cxx}:-fprofile-instr-generate;-fcoverage-mapping>")
  add_link_options("$<${velko_linked_by_cxx}:-fprofile-instr-generate>")
endif()

# velko_folder_library(NAME SOURCES ... USES ...): the library of one folder.
function(velko_folder_library name)
  cmake_parse_arguments(arg "" "" "SOURCES;USES" ${ARGN})
  add_library(${name} STATIC ${arg_SOURCES})
  add_library(velko::${name} ALIAS ${name})
  target_link_libraries(${name} PUBLIC ${arg_USES} PRIVATE $<BUILD_INTERFACE:velko_warnings>)
endfunction()
