# Installation extras and Debian packages.
#
# Two packages: "zebosync" (the program, the password tool, the message
# catalogs, the sample zebo.opt, their manual pages) and "vltapi" (the client
# API library, its admin tool, the sample rvk.opt, the linker entry that makes
# the library findable by its bare name, the admin tool's manual page).
#
# The two option files are the administrator's to edit, so the packages mark
# them as configuration files: an upgrade keeps an edited file, "dpkg -r"
# keeps them and "dpkg --purge" removes them with everything else.
# scripts/check-packages.sh builds, installs, exercises and removes both.

# The linker entry goes to /etc only for the standard install directories; a
# build pointed into a scratch folder installs without root and relies on
# LD_LIBRARY_PATH instead.
if(ZEBO_API_DIR STREQUAL "/opt/marlo/vlt/client/api/bin")
  set(ldconf_default ON)
else()
  set(ldconf_default OFF)
endif()
option(ZEBO_INSTALL_LDCONF "Install /etc/ld.so.conf.d/zebo-vltapi.conf" ${ldconf_default})

install(FILES ${CMAKE_SOURCE_DIR}/doc/zebo.opt DESTINATION ${ZEBO_AGENT_DIR} COMPONENT agent)

# The commands on the PATH: links from <prefix>/bin and <prefix>/sbin to the
# programs in their install directories (the programs find their files by
# those directories, not by the name they were started under).
set(link_dir ${CMAKE_BINARY_DIR}/generated/links)
file(MAKE_DIRECTORY ${link_dir}/bin ${link_dir}/sbin)
file(CREATE_LINK ${ZEBO_AGENT_DIR}/zebosync ${link_dir}/bin/zebosync SYMBOLIC)
file(CREATE_LINK ${ZEBO_AGENT_DIR}/zebopasswd ${link_dir}/bin/zebopasswd SYMBOLIC)
file(CREATE_LINK ${ZEBO_API_DIR}/vltadm ${link_dir}/sbin/vltadm SYMBOLIC)
install(FILES ${link_dir}/bin/zebosync ${link_dir}/bin/zebopasswd DESTINATION bin COMPONENT agent)
install(FILES ${link_dir}/sbin/vltadm DESTINATION sbin COMPONENT api)

# Manual pages, compressed as Debian keeps them; man reads them either way.
find_program(ZEBO_GZIP gzip REQUIRED)
set(man_outputs)
foreach(page zebosync.1 zebopasswd.1 vltadm.8)
  set(src ${CMAKE_SOURCE_DIR}/doc/man/${page})
  set(out ${CMAKE_BINARY_DIR}/man/${page}.gz)
  add_custom_command(OUTPUT ${out}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/man
    COMMAND sh -c "${ZEBO_GZIP} -9n < '${src}' > '${out}'"
    DEPENDS ${src}
    COMMENT "Compressing manual page ${page}"
    VERBATIM)
  list(APPEND man_outputs ${out})
endforeach()
add_custom_target(zebo_manpages ALL DEPENDS ${man_outputs})
install(FILES ${CMAKE_BINARY_DIR}/man/zebosync.1.gz ${CMAKE_BINARY_DIR}/man/zebopasswd.1.gz
        DESTINATION share/man/man1 COMPONENT agent)
install(FILES ${CMAKE_BINARY_DIR}/man/vltadm.8.gz DESTINATION share/man/man8 COMPONENT api)

if(ZEBO_INSTALL_LDCONF)
  file(WRITE ${CMAKE_BINARY_DIR}/generated/zebo-vltapi.conf "${ZEBO_API_DIR}\n")
  install(FILES ${CMAKE_BINARY_DIR}/generated/zebo-vltapi.conf
          DESTINATION /etc/ld.so.conf.d COMPONENT api)
endif()

# Control files of the packages: the maintainer scripts refresh the linker
# cache; conffiles name the option files.
set(deb_dir ${CMAKE_BINARY_DIR}/generated/debian)
file(WRITE ${deb_dir}/agent/conffiles "${ZEBO_AGENT_DIR}/zebo.opt\n")
file(WRITE ${deb_dir}/api/conffiles "${ZEBO_API_DIR}/rvk.opt\n")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zebosync)
set(CPACK_PACKAGE_VENDOR "zebosync developers")
set(CPACK_PACKAGE_CONTACT "zebosync developers <zebosync@localhost>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL agent api)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
# Installed programs carry no debug information; the build tree keeps it.
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_AGENT_PACKAGE_NAME zebosync)
set(CPACK_COMPONENT_AGENT_DESCRIPTION
    "Catalog synchronisation for the VLT agent for Oracle\nzebosync finds backup objects on the VLT Server that the Oracle\nRecovery Catalog no longer knows and deletes the ones picked.")
set(CPACK_DEBIAN_AGENT_PACKAGE_DEPENDS "vltapi (= ${PROJECT_VERSION}), libc6, libstdc++6, ncurses-bin")
set(CPACK_DEBIAN_AGENT_PACKAGE_CONTROL_EXTRA "${deb_dir}/agent/conffiles")

set(CPACK_DEBIAN_API_PACKAGE_NAME vltapi)
set(CPACK_COMPONENT_API_DESCRIPTION
    "VLT Server client API library and admin tool\nlibApiQZ.so on an embedded SQLite repository, and vltadm.")
set(CPACK_DEBIAN_API_PACKAGE_DEPENDS "libc6, libstdc++6, libsqlite3-0, libssl3")
set(CPACK_DEBIAN_API_PACKAGE_CONTROL_EXTRA
    "${CMAKE_SOURCE_DIR}/cmake/debian/postinst;${CMAKE_SOURCE_DIR}/cmake/debian/postrm;${deb_dir}/api/conffiles")
include(CPack)
