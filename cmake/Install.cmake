# What `cmake --install` puts in place: the library and the reference host
# with their headers, pmctl, the sphere module, the catalogues, and a CMake
# package that a host project finds with find_package(PermissionManager).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(PM_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/PermissionManager)
set(PM_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/PermissionManager)
set(PM_INSTALL_DATADIR ${CMAKE_INSTALL_DATADIR}/PermissionManager)
set(PM_INSTALL_CATALOGUE ${PM_INSTALL_DATADIR}/catalogue.json)

# The targets name their include directories in the source tree; an installed
# target finds the installed copies instead.
function(pm_install_interface target)
  get_target_property(dirs ${target} INTERFACE_INCLUDE_DIRECTORIES)
  set(rewritten)
  foreach(dir IN LISTS dirs)
    if(IS_ABSOLUTE "${dir}")
      list(APPEND rewritten "$<BUILD_INTERFACE:${dir}>")
    else()
      list(APPEND rewritten "${dir}")
    endif()
  endforeach()
  foreach(dir IN LISTS ARGN)
    list(APPEND rewritten "$<INSTALL_INTERFACE:${dir}>")
  endforeach()
  set_property(TARGET ${target} PROPERTY INTERFACE_INCLUDE_DIRECTORIES "${rewritten}")
endfunction()

pm_install_interface(pm_hostapi ${PM_INSTALL_INCLUDEDIR}/hostapi)
pm_install_interface(PermissionManager ${CMAKE_INSTALL_INCLUDEDIR})
pm_install_interface(pm_host ${PM_INSTALL_INCLUDEDIR})

set_target_properties(pm_hostapi PROPERTIES EXPORT_NAME HostApi)
set_target_properties(pm_host PROPERTIES EXPORT_NAME ReferenceHost)
set_target_properties(pm_host_cindex PROPERTIES EXPORT_NAME ReferenceHostCIndex)
set_target_properties(pm_host_company PROPERTIES EXPORT_NAME ReferenceHostCompany)
# The shared objects find each other in the directory they are installed to.
set_target_properties(PermissionManager pm_host pm_host_cindex pm_host_company PROPERTIES
  INSTALL_RPATH "$ORIGIN")

install(TARGETS PermissionManager pm_host pm_host_cindex pm_host_company pm_hostapi
  EXPORT PermissionManagerTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS pmctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${PROJECT_BINARY_DIR}/tools/pmctl/pmctl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${PROJECT_BINARY_DIR}/tools/pmctl/pmctl.bash-completion
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME pmctl)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/Platform/SecurityRoles/PM/include/PM
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/Platform/SecurityRoles/PM/hostapi/
  DESTINATION ${PM_INSTALL_INCLUDEDIR}/hostapi)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/host
  DESTINATION ${PM_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_SOURCE_DIR}/catalogue/catalogue.json
  ${PROJECT_SOURCE_DIR}/catalogue/catalogue-previous.json
  DESTINATION ${PM_INSTALL_DATADIR})

install(EXPORT PermissionManagerTargets
  NAMESPACE PermissionManager::
  DESTINATION ${PM_INSTALL_CMAKEDIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/PermissionManagerConfig.cmake.in
  ${PROJECT_BINARY_DIR}/PermissionManagerConfig.cmake
  INSTALL_DESTINATION ${PM_INSTALL_CMAKEDIR}
  PATH_VARS PM_INSTALL_CATALOGUE)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/PermissionManagerConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/PermissionManagerConfig.cmake
  ${PROJECT_BINARY_DIR}/PermissionManagerConfigVersion.cmake
  DESTINATION ${PM_INSTALL_CMAKEDIR})

# The sibling module: loaded by name at run time, never linked. pmctl looks
# for it in this directory beside the libraries.
install(TARGETS sphere_mgmt LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/PermissionManager)
