# SPDX-License-Identifier: MIT
# The files that `cmake --install` installs. They refer to each other by relative paths, so an
# installed tree may be moved.
include(CMakePackageConfigHelpers)

set(ORX_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ORXAccount)
set(ORX_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH ORX_PREFIX_FROM_PKGCONFIG /prefix/${ORX_PKGCONFIG_DIR} /prefix)
string(REGEX REPLACE "/$" "" ORX_PREFIX_FROM_PKGCONFIG "${ORX_PREFIX_FROM_PKGCONFIG}")

install(DIRECTORY include/ORXAccount TYPE INCLUDE COMPONENT headers FILES_MATCHING PATTERN "*.h")

set_target_properties(orxaccount_shared PROPERTIES EXPORT_NAME ORXAccount)
set_target_properties(orxaccount_static PROPERTIES EXPORT_NAME ORXAccountStatic)
foreach(kind IN ITEMS Shared Static)
  string(TOLOWER orxaccount_${kind} library)
  install(TARGETS ${library} EXPORT ORXAccount${kind}Targets)
  install(EXPORT ORXAccount${kind}Targets NAMESPACE ORXAccount:: DESTINATION ${ORX_CMAKE_DIR})
endforeach()

if(ORX_BUILD_TOOLS)
  install(TARGETS orx_devserver EXPORT ORXAccountDevelopmentServiceTargets)
  install(EXPORT ORXAccountDevelopmentServiceTargets NAMESPACE ORXAccount::
          DESTINATION ${ORX_CMAKE_DIR})
  install(DIRECTORY devserver/include/ORXAccount TYPE INCLUDE COMPONENT headers)
endif()

# `cmake --install --strip` leaves static libraries as they are.
foreach(library IN ITEMS orxaccount orxaccount-devservice)
  install(CODE "set(library \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/lib${library}.a\")
if(CMAKE_INSTALL_DO_STRIP AND EXISTS \"\${library}\")
  execute_process(COMMAND \"${CMAKE_STRIP}\" --strip-debug \"\${library}\"
    COMMAND_ERROR_IS_FATAL ANY)
endif()")
endforeach()

configure_package_config_file(cmake/ORXAccountConfig.cmake.in ORXAccountConfig.cmake
                              INSTALL_DESTINATION ${ORX_CMAKE_DIR})
write_basic_package_version_file(ORXAccountConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ORXAccountConfig.cmake
              ${PROJECT_BINARY_DIR}/ORXAccountConfigVersion.cmake DESTINATION ${ORX_CMAKE_DIR})

foreach(name IN ITEMS orxaccount orxaccount-static)
  configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${ORX_PKGCONFIG_DIR})
endforeach()

if(ORX_BUILD_TOOLS)
  set_target_properties(orxaccount_cli PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
  install(TARGETS orxaccount_cli RUNTIME)
endif()
if(TARGET orxaccount-devserver)
  install(TARGETS orxaccount-devserver RUNTIME)
endif()
