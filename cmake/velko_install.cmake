# cmake --install: the programs, the library, its headers, and what find_package(velko) and pkg-config need. The components
# are tools, mpi, library and python.

include(CMakePackageConfigHelpers)

list(TRANSFORM velko_rooms PREPEND velko_ OUTPUT_VARIABLE velko_libraries)
set(velko_package ${CMAKE_INSTALL_LIBDIR}/cmake/velko)

install(TARGETS velko ${velko_libraries} velko_options velko_openmp EXPORT velko_targets COMPONENT library)
if(VELKO_BUILD_VELKRUND)
  install(TARGETS velkrund COMPONENT tools)
endif()
if(VELKO_BUILD_COMPANIONS)
  install(TARGETS velkmtx COMPONENT tools)
  install(TARGETS velkmtx-exchange DESTINATION ${VELKO_LIBEXEC_DIR} COMPONENT tools)
endif()
if(VELKO_BUILD_MPI AND VELKO_BUILD_VELKRUND AND VELKO_BUILD_COMPANIONS)
  install(TARGETS velkrund-mpi velkmtx-mpi COMPONENT mpi)
endif()

set(installed_rooms ${velko_rooms})
if(VELKO_BUILD_MPI)
  list(APPEND installed_rooms mpi)
endif()
foreach(room ${installed_rooms})
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${room} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velko COMPONENT library
          FILES_MATCHING PATTERN "*.h")
endforeach()
install(CODE "set(velko_rooms ${installed_rooms})
set(velko_headers \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_INCLUDEDIR}/velko\")" COMPONENT library)
install(SCRIPT ${PROJECT_SOURCE_DIR}/cmake/velko_installed_headers.cmake COMPONENT library)

install(EXPORT velko_targets NAMESPACE velko:: DESTINATION ${velko_package} COMPONENT library)
if(VELKO_BUILD_MPI)
  set_target_properties(velko_mpi PROPERTIES EXPORT_NAME mpi)
  install(TARGETS velko_mpi EXPORT velko_mpi_targets COMPONENT library)
  install(EXPORT velko_mpi_targets NAMESPACE velko:: DESTINATION ${velko_package} COMPONENT library)
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/velko_config.cmake.in ${PROJECT_BINARY_DIR}/velko-config.cmake @ONLY)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/velko-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/velko-config.cmake ${PROJECT_BINARY_DIR}/velko-config-version.cmake
        DESTINATION ${velko_package} COMPONENT library)

# Wherever the prefix is moved to. A linker wants each library before those that it uses.
set(velko_pkgconfig ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH velko_prefix /${velko_pkgconfig} /)
list(REVERSE velko_libraries)
list(TRANSFORM velko_libraries PREPEND -l)
list(JOIN velko_libraries " " velko_link_names)
configure_file(${PROJECT_SOURCE_DIR}/packaging/velko.pc.in ${PROJECT_BINARY_DIR}/velko.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/velko.pc DESTINATION ${velko_pkgconfig} COMPONENT library)
