# Installation extras and Debian packages.
#
# Two packages: "zebosync" (the program, the password tool, the message
# catalogs, the sample zebo.opt, their manual pages) and "vltapi" (the client
# API library, its admin tool, the sample rvk.opt, the linker entry that makes
# the library findable by its bare name, the admin tool's manual page).

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
install(FILES ${CMAKE_SOURCE_DIR}/doc/man/zebosync.1 ${CMAKE_SOURCE_DIR}/doc/man/zebopasswd.1
        DESTINATION share/man/man1 COMPONENT agent)
install(FILES ${CMAKE_SOURCE_DIR}/doc/man/vltadm.8 DESTINATION share/man/man8 COMPONENT api)
if(ZEBO_INSTALL_LDCONF)
  file(WRITE ${CMAKE_BINARY_DIR}/generated/zebo-vltapi.conf "${ZEBO_API_DIR}\n")
  install(FILES ${CMAKE_BINARY_DIR}/generated/zebo-vltapi.conf
          DESTINATION /etc/ld.so.conf.d COMPONENT api)
endif()

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

set(CPACK_DEBIAN_AGENT_PACKAGE_NAME zebosync)
set(CPACK_COMPONENT_AGENT_DESCRIPTION
    "Catalog synchronisation for the VLT agent for Oracle\n zebosync finds backup objects on the VLT Server that the Oracle\n Recovery Catalog no longer knows and deletes the ones picked.")
set(CPACK_DEBIAN_AGENT_PACKAGE_DEPENDS "vltapi (= ${PROJECT_VERSION}), libc6, libstdc++6, ncurses-bin")

set(CPACK_DEBIAN_API_PACKAGE_NAME vltapi)
set(CPACK_COMPONENT_API_DESCRIPTION
    "VLT Server client API library and admin tool\n libApiQZ.so on an embedded SQLite repository, and vltadm.")
set(CPACK_DEBIAN_API_PACKAGE_DEPENDS "libc6, libstdc++6, libsqlite3-0, libssl3")
set(CPACK_DEBIAN_API_PACKAGE_CONTROL_EXTRA
    "${CMAKE_SOURCE_DIR}/cmake/debian/postinst;${CMAKE_SOURCE_DIR}/cmake/debian/postrm")
include(CPack)
