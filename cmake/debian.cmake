# The Debian packages that cpack makes: libvamel1, libvamel-dev and, with the tools, vamel-tools.
# To be configured with CMAKE_INSTALL_PREFIX=/usr, as scripts/package does it, so that libraries go
# to the folder of their architecture.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "the vamel authors")
set(CPACK_PACKAGE_CONTACT "the vamel authors <maintainers@users.noreply.vamel.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/permissions.cmake)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE vamel)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(vamel_debian_version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)

set(about "vamel keeps one table of records in memory and in one file, behind 26
functions in C. A program describes the fields of its table, opens a file
by path, and inserts, updates, deletes and selects records by field.
")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libvamel1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "small embedded record store - shared libraries
${about}
This package holds what programs need to run.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# The trigger takes the place of scripts that would call ldconfig. cpack makes none of those if it
# finds their names in this list, and leaves out, with a warning, what does not exist.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
  ${PROJECT_SOURCE_DIR}/cmake/debian/triggers none/postinst none/postrm)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvamel-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "small embedded record store - development files
${about}
This package holds headers, static libraries and manual pages, and what
CMake and pkg-config need.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libvamel1 (= ${vamel_debian_version})")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME vamel-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION database)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "small embedded record store - command-line tool
${about}
This package holds the command vamel, which shows and changes such files.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)

# ------------------------------------------------------- what a package says about itself
# The components NAME_debian are part of the packages and of nothing else.
set(vamel_debian_dir ${PROJECT_BINARY_DIR}/debian)
file(READ LICENSE vamel_licence)
string(REGEX REPLACE "^[^\n]*\n\n[^\n]*\n\n" "" vamel_licence "${vamel_licence}")
string(REGEX REPLACE "\n+$" "" vamel_licence "${vamel_licence}")
string(REPLACE "\n" "\n " vamel_licence " ${vamel_licence}")
string(REPLACE "\n \n" "\n .\n" vamel_licence "${vamel_licence}")
file(STRINGS LICENSE vamel_copyright REGEX "^Copyright")
string(REGEX REPLACE "^Copyright \\(c\\) " "" vamel_copyright "${vamel_copyright}")
string(TIMESTAMP vamel_debian_date "%a, %d %b %Y %H:%M:%S +0000" UTC) # of SOURCE_DATE_EPOCH
foreach(file copyright changelog)
  configure_file(cmake/debian/${file}.in ${vamel_debian_dir}/${file} @ONLY)
endforeach()
vamel_compressed(${vamel_debian_dir}/changelog ${vamel_debian_dir}/changelog.Debian.gz)
vamel_compressed(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${vamel_debian_dir}/changelog.gz)

set(vamel_package_components runtime development)
if(TARGET vamel_tool)
  list(APPEND vamel_package_components tools)
endif()
set(CPACK_COMPONENTS_ALL "")
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
foreach(component ${vamel_package_components})
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  install(FILES ${vamel_debian_dir}/copyright ${vamel_debian_dir}/changelog.Debian.gz
    ${vamel_debian_dir}/changelog.gz
    DESTINATION share/doc/${package} COMPONENT ${component}_debian EXCLUDE_FROM_ALL)
  foreach(part ${component} ${component}_debian)
    string(TOUPPER ${part} upper)
    set(CPACK_COMPONENT_${upper}_GROUP ${component})
    list(APPEND CPACK_COMPONENTS_ALL ${part})
  endforeach()
endforeach()
include(CPack)
