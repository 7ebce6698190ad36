# cmake --install: the programs, the library, its headers, and what find_package(velko) needs.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(velko_libraries velko velko_topography velko_products velko_files velko_store velko_wavelet velko_reports
                    velko_text velko_arrays velko_options velko_openmp)
set(velko_package ${CMAKE_INSTALL_LIBDIR}/cmake/velko)

install(TARGETS ${velko_libraries} EXPORT velko_targets)
install(TARGETS velkrund)
if(VELKO_BUILD_COMPANIONS)
  install(TARGETS velkmtx)
endif()
foreach(folder arrays text reports wavelet store products files topography)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${folder} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velko
          FILES_MATCHING PATTERN "*.h")
endforeach()

install(EXPORT velko_targets NAMESPACE velko:: DESTINATION ${velko_package})
file(WRITE ${PROJECT_BINARY_DIR}/velko-config.cmake "include(\${CMAKE_CURRENT_LIST_DIR}/velko_targets.cmake)\n")
write_basic_package_version_file(${PROJECT_BINARY_DIR}/velko-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/velko-config.cmake ${PROJECT_BINARY_DIR}/velko-config-version.cmake
        DESTINATION ${velko_package})
