# What "cmake --install" puts where. Components: runtime, development, tools, documentation.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

if(APPLE)
  install(TARGETS vamel FRAMEWORK DESTINATION Library/Frameworks COMPONENT runtime)
  return()
endif()

# A tree of its own must find its parts wherever it is moved to. On the system's own path the
# loader needs no help, and packages must not give it.
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set_target_properties(vamel PROPERTIES INSTALL_RPATH "$ORIGIN")
endif()

install(TARGETS vamel vamelcf vamel_static vamelcf_static EXPORT vamelTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/vamel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
  FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")

# ------------------------------------------------------------------------- CMake package
set(vamel_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vamel)
configure_package_config_file(cmake/vamelConfig.cmake.in ${PROJECT_BINARY_DIR}/vamelConfig.cmake
  INSTALL_DESTINATION ${vamel_package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vamelConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vamelConfig.cmake ${PROJECT_BINARY_DIR}/vamelConfigVersion.cmake
  DESTINATION ${vamel_package_dir} COMPONENT development)
install(EXPORT vamelTargets NAMESPACE vamel:: DESTINATION ${vamel_package_dir}
  COMPONENT development)

# ---------------------------------------------------------------------------- pkg-config
# Paths start at the place of the .pc file itself, so that the tree can be moved.
set(vamel_pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(vamel_pc_prefix ${CMAKE_INSTALL_PREFIX})
else()
  file(RELATIVE_PATH vamel_pc_up /prefix/${vamel_pc_dir} /prefix)
  string(REGEX REPLACE "/$" "" vamel_pc_up "${vamel_pc_up}")
  set(vamel_pc_prefix "\${pcfiledir}/${vamel_pc_up}")
endif()
foreach(dir LIBDIR INCLUDEDIR)
  string(TOLOWER ${dir} name)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    set(vamel_pc_${name} ${CMAKE_INSTALL_${dir}})
  else()
    set(vamel_pc_${name} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  endif()
endforeach()
foreach(name vamel vamelcf)
  configure_file(cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${vamel_pc_dir}
    COMPONENT development)
endforeach()

# ------------------------------------------------------------------------- documentation
# Adds gzip's form of FILE as OUTPUT to what is built, without a time stamp in it.
function(vamel_compressed file output)
  add_custom_command(OUTPUT ${output} DEPENDS ${file} VERBATIM
    COMMAND gzip -9nc ${file} > ${output})
  set_property(GLOBAL APPEND PROPERTY vamel_compressed ${output})
endfunction()

# Installs a manual page where its section says.
function(vamel_manual page component)
  get_filename_component(name ${page} NAME)
  get_filename_component(section ${page} LAST_EXT)
  string(SUBSTRING ${section} 1 -1 section)
  set(output ${PROJECT_BINARY_DIR}/man/${name}.gz)
  vamel_compressed(${page} ${output})
  install(FILES ${output} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section}
    COMPONENT ${component})
endfunction()

file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/man)
file(GLOB vamel_manuals CONFIGURE_DEPENDS docs/man/*.3 docs/man/*.5)
foreach(page ${vamel_manuals})
  vamel_manual(${page} development)
endforeach()
install(FILES LICENSE README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR}
  COMPONENT documentation)

# --------------------------------------------------------------------------------- tools
if(TARGET vamel_tool)
  install(TARGETS vamel_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(FILES tools/vamel.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME vamel COMPONENT tools)
  file(GLOB vamel_manuals CONFIGURE_DEPENDS tools/*.1)
  foreach(page ${vamel_manuals})
    vamel_manual(${page} tools)
  endforeach()
endif()

if(PROJECT_IS_TOP_LEVEL)
  include(cmake/debian.cmake)
endif()
get_property(vamel_outputs GLOBAL PROPERTY vamel_compressed)
add_custom_target(vamel_compressed ALL DEPENDS ${vamel_outputs})
