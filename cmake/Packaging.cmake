# Installation extras and Debian packages.
#
# Two packages: "zebosync" (the program, the password tool, the message
# catalogs, zebo.opt, their manual pages) and "vltapi" (the client API
# library, its admin tool, rvk.opt, the linker entry that makes the library
# findable by its bare name, the admin tool's manual page). Each carries its
# bash completion, a copyright file and the changelog.
#
# The programs read their option files at fixed places in the agent and API
# directories. An installation into the standard directories keeps the files
# themselves under /etc (/etc/zebosync/zebo.opt, /etc/vltapi/rvk.opt), where
# an administrator looks for them and the packages mark them as
# configuration files (an upgrade keeps an edited file, "dpkg -r" keeps them,
# "dpkg --purge" removes them), and puts links to them at the fixed places.
# scripts/check-packages.sh builds, checks, installs, upgrades and removes
# both.

# /etc is written only for the standard install directories; a build pointed
# into a scratch folder installs without root: the option files go into its
# directories, and the library is found through LD_LIBRARY_PATH.
if(ZEBO_API_DIR STREQUAL "/opt/marlo/vlt/client/api/bin"
   AND ZEBO_AGENT_DIR STREQUAL "/opt/marlo/vlt/client/oracle/bin")
  set(etc_default ON)
else()
  set(etc_default OFF)
endif()
option(ZEBO_INSTALL_ETC
       "Option files in /etc/zebosync and /etc/vltapi, linked from the agent and API directories; /etc/ld.so.conf.d/zebo-vltapi.conf"
       ${etc_default})
set(ZEBO_PACKAGE_MAINTAINER "zebosync maintainers <zebosync-maintainers@example.org>"
    CACHE STRING "Maintainer field of the Debian packages and their changelog")

set(link_dir ${CMAKE_BINARY_DIR}/generated/links)
file(MAKE_DIRECTORY ${link_dir}/bin ${link_dir}/sbin ${link_dir}/agent ${link_dir}/api)

if(ZEBO_INSTALL_ETC)
  install(FILES ${CMAKE_SOURCE_DIR}/doc/zebo.opt DESTINATION /etc/zebosync COMPONENT agent)
  install(FILES ${CMAKE_SOURCE_DIR}/vltapi/rvk.opt DESTINATION /etc/vltapi COMPONENT api)
  file(CREATE_LINK /etc/zebosync/zebo.opt ${link_dir}/agent/zebo.opt SYMBOLIC)
  file(CREATE_LINK /etc/vltapi/rvk.opt ${link_dir}/api/rvk.opt SYMBOLIC)
  install(FILES ${link_dir}/agent/zebo.opt DESTINATION ${ZEBO_AGENT_DIR} COMPONENT agent)
  install(FILES ${link_dir}/api/rvk.opt DESTINATION ${ZEBO_API_DIR} COMPONENT api)
  file(WRITE ${CMAKE_BINARY_DIR}/generated/zebo-vltapi.conf "${ZEBO_API_DIR}\n")
  install(FILES ${CMAKE_BINARY_DIR}/generated/zebo-vltapi.conf
          DESTINATION /etc/ld.so.conf.d COMPONENT api)
else()
  install(FILES ${CMAKE_SOURCE_DIR}/doc/zebo.opt DESTINATION ${ZEBO_AGENT_DIR} COMPONENT agent)
  install(FILES ${CMAKE_SOURCE_DIR}/vltapi/rvk.opt DESTINATION ${ZEBO_API_DIR} COMPONENT api)
endif()

# The commands on the PATH: links from <prefix>/bin and <prefix>/sbin to the
# programs in their install directories (the programs find their files by
# those directories, not by the name they were started under).
file(CREATE_LINK ${ZEBO_AGENT_DIR}/zebosync ${link_dir}/bin/zebosync SYMBOLIC)
file(CREATE_LINK ${ZEBO_AGENT_DIR}/zebopasswd ${link_dir}/bin/zebopasswd SYMBOLIC)
file(CREATE_LINK ${ZEBO_API_DIR}/vltadm ${link_dir}/sbin/vltadm SYMBOLIC)
install(FILES ${link_dir}/bin/zebosync ${link_dir}/bin/zebopasswd DESTINATION bin COMPONENT agent)
install(FILES ${link_dir}/sbin/vltadm DESTINATION sbin COMPONENT api)

# Bash completion, loaded by the command's name: zebopasswd's is part of
# zebosync's file.
set(completion_src ${CMAKE_SOURCE_DIR}/doc/completion)
file(CREATE_LINK zebosync ${link_dir}/zebopasswd SYMBOLIC)
install(FILES ${completion_src}/zebosync ${link_dir}/zebopasswd
        DESTINATION share/bash-completion/completions COMPONENT agent)
install(FILES ${completion_src}/vltadm DESTINATION share/bash-completion/completions COMPONENT api)
if(ZEBO_TESTS)
  add_test(NAME bash_completion
           COMMAND bash ${completion_src}/completion_test.sh ${completion_src} ${ZEBO_BIN_OUT})
  set_tests_properties(bash_completion PROPERTIES SKIP_RETURN_CODE 77)
endif()

# Manual pages and the changelog, compressed as Debian keeps them; man reads
# the pages either way.
find_program(ZEBO_GZIP gzip REQUIRED)
string(TIMESTAMP ZEBO_CHANGELOG_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(${CMAKE_SOURCE_DIR}/cmake/debian/changelog.in ${CMAKE_BINARY_DIR}/generated/changelog @ONLY)
set(doc_outputs)
foreach(src ${CMAKE_SOURCE_DIR}/doc/man/zebosync.1 ${CMAKE_SOURCE_DIR}/doc/man/zebopasswd.1
            ${CMAKE_SOURCE_DIR}/doc/man/vltadm.8 ${CMAKE_BINARY_DIR}/generated/changelog)
  get_filename_component(name ${src} NAME)
  set(out ${CMAKE_BINARY_DIR}/man/${name}.gz)
  add_custom_command(OUTPUT ${out}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/man
    COMMAND sh -c "${ZEBO_GZIP} -9n < '${src}' > '${out}'"
    DEPENDS ${src}
    COMMENT "Compressing ${name}"
    VERBATIM)
  list(APPEND doc_outputs ${out})
endforeach()
add_custom_target(zebo_manpages ALL DEPENDS ${doc_outputs})
install(FILES ${CMAKE_BINARY_DIR}/man/zebosync.1.gz ${CMAKE_BINARY_DIR}/man/zebopasswd.1.gz
        DESTINATION share/man/man1 COMPONENT agent)
install(FILES ${CMAKE_BINARY_DIR}/man/vltadm.8.gz DESTINATION share/man/man8 COMPONENT api)
foreach(component agent api)
  if(component STREQUAL "agent")
    set(package zebosync)
  else()
    set(package vltapi)
  endif()
  install(FILES ${CMAKE_SOURCE_DIR}/cmake/debian/copyright ${CMAKE_BINARY_DIR}/man/changelog.gz
          DESTINATION share/doc/${package} COMPONENT ${component})
endforeach()

# Control files of the packages. The library's linker cache is refreshed
# through the ldconfig trigger, when the package is installed, upgraded or
# removed; vltapi's maintainer scripts only look after the key file.
set(deb_dir ${CMAKE_BINARY_DIR}/generated/debian)
set(deb_src ${CMAKE_SOURCE_DIR}/cmake/debian)
if(ZEBO_INSTALL_ETC)
  file(WRITE ${deb_dir}/agent/conffiles "/etc/zebosync/zebo.opt\n")
  file(WRITE ${deb_dir}/api/conffiles
       "/etc/ld.so.conf.d/zebo-vltapi.conf\n/etc/vltapi/rvk.opt\n")
else()
  file(WRITE ${deb_dir}/agent/conffiles "${ZEBO_AGENT_DIR}/zebo.opt\n")
  file(WRITE ${deb_dir}/api/conffiles "${ZEBO_API_DIR}/rvk.opt\n")
endif()
foreach(script postinst postrm)
  configure_file(${deb_src}/vltapi.${script}.in ${deb_dir}/api/${script} @ONLY
                 FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                  WORLD_READ WORLD_EXECUTE)
endforeach()
configure_file(${deb_src}/vltapi.triggers ${deb_dir}/api/triggers COPYONLY)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zebosync)
set(CPACK_PACKAGE_VENDOR "zebosync maintainers")
set(CPACK_PACKAGE_CONTACT "${ZEBO_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${ZEBO_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGE_VERSION ${ZEBO_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL agent api)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# Library dependencies come from the binaries (dpkg-shlibdeps).
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SOURCE zebosync)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
# Installed programs carry no debug information; the build tree keeps it.
set(CPACK_STRIP_FILES ON)
# Directories as Debian has them (0755), whatever the umask of the build.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_AGENT_PACKAGE_NAME zebosync)
set(CPACK_COMPONENT_AGENT_DESCRIPTION
    "Catalog synchronisation for the VLT agent for Oracle\nzebosync finds backup objects on the VLT Server that the Oracle\nRecovery Catalog no longer knows and deletes the ones picked.")
# The program loads the library at run time, so no linker dependency names
# it; tput, which clears the screen, is in an essential package.
set(CPACK_DEBIAN_AGENT_PACKAGE_DEPENDS "vltapi (= ${ZEBO_VERSION})")
set(CPACK_DEBIAN_AGENT_PACKAGE_CONTROL_EXTRA "${deb_dir}/agent/conffiles")

set(CPACK_DEBIAN_API_PACKAGE_NAME vltapi)
set(CPACK_COMPONENT_API_DESCRIPTION
    "VLT Server client API library and admin tool\nlibApiQZ.so on an embedded SQLite repository, and vltadm.")
set(CPACK_DEBIAN_API_PACKAGE_CONTROL_EXTRA
    "${deb_dir}/api/postinst;${deb_dir}/api/postrm;${deb_dir}/api/triggers;${deb_dir}/api/conffiles")
include(CPack)
