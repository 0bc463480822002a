# What find_package(UmoNat) and pkg-config need besides the files that each folder installs. Both
# locate the rest relative to themselves, so an installed tree can be moved.

include(CMakePackageConfigHelpers)
set(packageDir "${CMAKE_INSTALL_LIBDIR}/cmake/UmoNat")

install(EXPORT UmoNatTargets NAMESPACE UmoNat:: DESTINATION "${packageDir}")
configure_package_config_file(cmake/UmoNatConfig.cmake.in UmoNatConfig.cmake
                              INSTALL_DESTINATION "${packageDir}")
write_basic_package_version_file(UmoNatConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/UmoNatConfig.cmake"
              "${PROJECT_BINARY_DIR}/UmoNatConfigVersion.cmake"
        DESTINATION "${packageDir}")

string(REGEX REPLACE "[^/]+" ".." UMO_PC_TO_PREFIX "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
configure_file(cmake/umonat.pc.in umonat.pc @ONLY)
configure_file(cmake/umonat-helper-kit.pc.in umonat-helper-kit.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/umonat.pc" "${PROJECT_BINARY_DIR}/umonat-helper-kit.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

install(DIRECTORY docs/ DESTINATION "${CMAKE_INSTALL_DOCDIR}" FILES_MATCHING PATTERN "*.md" PATTERN "*.svg"
        PATTERN "*.json" PATTERN man EXCLUDE)
install(DIRECTORY examples/helper-template/ DESTINATION "${CMAKE_INSTALL_DOCDIR}/umonat-helper-template")
