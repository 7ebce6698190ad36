# cmake --install: the programs, the library, its headers, and what find_package(velko) needs.

include(CMakePackageConfigHelpers)

list(TRANSFORM velko_rooms PREPEND velko_ OUTPUT_VARIABLE velko_libraries)
set(velko_package ${CMAKE_INSTALL_LIBDIR}/cmake/velko)

install(TARGETS velko ${velko_libraries} velko_options velko_openmp EXPORT velko_targets)
if(VELKO_BUILD_VELKRUND)
  install(TARGETS velkrund)
endif()
if(VELKO_BUILD_COMPANIONS)
  install(TARGETS velkmtx velkmtx-exchange)
endif()
if(VELKO_BUILD_MPI AND VELKO_BUILD_VELKRUND AND VELKO_BUILD_COMPANIONS)
  install(TARGETS velkrund-mpi velkmtx-mpi)
endif()

foreach(room ${velko_rooms})
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${room} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velko
          FILES_MATCHING PATTERN "*.h")
endforeach()
install(CODE "set(velko_rooms ${velko_rooms})
set(velko_headers \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_INCLUDEDIR}/velko\")")
install(SCRIPT ${PROJECT_SOURCE_DIR}/cmake/velko_installed_headers.cmake)

install(EXPORT velko_targets NAMESPACE velko:: DESTINATION ${velko_package})
file(WRITE ${PROJECT_BINARY_DIR}/velko-config.cmake "include(\${CMAKE_CURRENT_LIST_DIR}/velko_targets.cmake)\n")
write_basic_package_version_file(${PROJECT_BINARY_DIR}/velko-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/velko-config.cmake ${PROJECT_BINARY_DIR}/velko-config-version.cmake
        DESTINATION ${velko_package})
