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
install(FILES "${PROJECT_BINARY_DIR}/umonat.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
