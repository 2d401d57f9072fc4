# Installs the engine's shared library with the host headers, a CMake package
# (find_package(Q38) gives the imported target Q38::q38) and a pkg-config file.
# Everything belongs to the component "q38".

include(CMakePackageConfigHelpers)
include(${CMAKE_CURRENT_LIST_DIR}/License.cmake)

# Exactly two symbols leave the library, whatever the standard library's
# headers would make visible.
set(Q38_EXPORT_MAP ${PROJECT_SOURCE_DIR}/cmake/q38.map)
target_link_options(q38 PRIVATE "-Wl,--version-script=${Q38_EXPORT_MAP}")
set_property(TARGET q38 APPEND PROPERTY LINK_DEPENDS ${Q38_EXPORT_MAP})

set(Q38_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/Q38)

set_target_properties(q38 PROPERTIES PUBLIC_HEADER
  "${PROJECT_SOURCE_DIR}/include/Q38Engine.h;${PROJECT_SOURCE_DIR}/include/Q38EngineHooks.h")

install(TARGETS q38 EXPORT Q38Targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT q38 NAMELINK_COMPONENT q38
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT q38
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(EXPORT Q38Targets NAMESPACE Q38:: DESTINATION ${Q38_INSTALL_CMAKEDIR} COMPONENT q38)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/Q38Config.cmake.in
  ${PROJECT_BINARY_DIR}/Q38Config.cmake
  INSTALL_DESTINATION ${Q38_INSTALL_CMAKEDIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/Q38ConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/Q38Config.cmake ${PROJECT_BINARY_DIR}/Q38ConfigVersion.cmake
  DESTINATION ${Q38_INSTALL_CMAKEDIR} COMPONENT q38)

# Relocatable: the prefix is found from where the file lies, so that
# cmake --install --prefix and staged installs give a usable file.
file(RELATIVE_PATH Q38_PC_PREFIX_FROM_PCDIR "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file(${PROJECT_SOURCE_DIR}/cmake/q38.pc.in ${PROJECT_BINARY_DIR}/q38.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/q38.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT q38)

install(FILES ${Q38_LICENSE_FILE} DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT q38)
