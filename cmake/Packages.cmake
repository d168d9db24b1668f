# Debian packages, made with `cpack` from an installation below /usr; scripts/package.sh does both and checks them.
#
#   plug               agent, supervisor, plugctl, unit, SysV script
#   plug-router-linux  libRouterSdk.so.1 for Linux machines
#   plug-router-sim    the simulated router as libRouterSdk.so.1
#   plugsim            the desk's platform
#   plug-gateway       the platform's end of a fleet
#   plug-dev           for who writes a router library
include(GNUInstallDirs)
set(debian ${CMAKE_SOURCE_DIR}/packaging/debian)
set(made ${CMAKE_BINARY_DIR}/packaging/debian)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME plug)
set(CPACK_PACKAGE_VENDOR "the plug developers")
set(CPACK_PACKAGE_CONTACT "The plug developers <plug@example.net>")
set(CPACK_PACKAGE_VERSION ${PLUG_VERSION})
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
  WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PROJECT_CONFIG_FILE "")

# plug_package(COMPONENT NAME SUMMARY MORE): what every package has; MORE is the rest of its description. Its change log
# and its copyright are part of its component.
set(components "")
macro(plug_package component name summary more)
  list(APPEND components ${component})
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${more}")
  set(CPACK_COMPONENT_${upper}_DESCRIPTION "${summary}\n${more}")
  set(package ${name})
  configure_file(${debian}/changelog.in ${made}/${name}/changelog @ONLY)
  execute_process(COMMAND ${GZIP} -9nf ${made}/${name}/changelog COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${made}/${name}/changelog.gz ${debian}/copyright DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${name}
    COMPONENT ${component})
  if(EXISTS ${debian}/${name}.overrides)
    install(FILES ${debian}/${name}.overrides DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides RENAME ${name}
      COMPONENT ${component})
  endif()
endmacro()

plug_package(agent plug "agent that ties a router to its operator's device-management platform"
"The agent registers with the platform, logs in, answers its queries and
settings through the router's library, runs diagnostics, enforces rules,
reports the devices attached and updates itself. A supervisor keeps it running.")
set(CPACK_DEBIAN_AGENT_PACKAGE_DEPENDS
  "plug-router-linux | plug-router, iptables, iputils-ping, traceroute, psmisc, procps")
set(CPACK_DEBIAN_AGENT_PACKAGE_CONTROL_EXTRA
  "${debian}/conffiles;${debian}/postinst;${debian}/prerm;${debian}/postrm;${debian}/triggers")

# plug_router_package(COMPONENT [SCRIPT]...): the agent takes whichever is there, and there can be one
macro(plug_router_package component)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_PROVIDES plug-router)
  set(CPACK_DEBIAN_${upper}_PACKAGE_CONFLICTS plug-router)
  set(CPACK_DEBIAN_${upper}_PACKAGE_REPLACES plug-router)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA "${debian}/router/shlibs;${debian}/router/triggers;${ARGN}")
endmacro()

plug_package(linux plug-router-linux "Linux machine as the router of the plugin agent"
"A router library for any Linux machine with a WAN and a LAN: devices from the
kernel, accesses and limits by nftables and tc, Wi-Fi by hostapd.")
plug_router_package(linux ${debian}/linux/prerm ${debian}/linux/postrm)
set(CPACK_DEBIAN_LINUX_PACKAGE_DEPENDS "nftables, iproute2")
install(TARGETS router_linux LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_SKIP COMPONENT linux)
install(FILES packaging/router-linux.conf DESTINATION ${PLUG_SYSTEMD_UNITS}/plug.service.d COMPONENT linux)
plug_installed_copy(plug-router-off.sh)
install(PROGRAMS ${installed_copy} DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/plug COMPONENT linux)

plug_package(sim plug-router-sim "simulated router for the plugin agent"
"A router library whose household, devices and settings are a file: to try the
agent, and to test a platform, on any machine.")
plug_router_package(sim)

plug_package(tools plugsim "test platform for the plugin agent"
"A registration and a login server to run an agent against, with a prompt,
scripts, faults to switch on, and the router's management process.")

if(TARGET plug-gateway)
  plug_package(gateway plug-gateway "platform's end of a fleet of plugin agents, on NATS"
"Routers on one side, a NATS cluster on the other: their reports as JSON in a
stream, questions and commands to them as requests. With a page, metrics for
Prometheus and a dashboard for Grafana.")
  set(CPACK_DEBIAN_GATEWAY_PACKAGE_RECOMMENDS nats-server)
  set(CPACK_DEBIAN_GATEWAY_PACKAGE_CONTROL_EXTRA
    "${debian}/gateway/postinst;${debian}/gateway/prerm;${debian}/gateway/postrm")
endif()

plug_package(sdk plug-dev "what router libraries of the plugin agent are made with"
"The contract between the agent and the library of a router's maker, the
pkg-config file with which such a library is compiled, a template of stubs to
begin with, and a program that tries a library.")
install(TARGETS plug_sdk_check RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT sdk)
plug_install_man(docs/man/plug-sdk-check.1 sdk)
install(DIRECTORY sdk/template DESTINATION ${CMAKE_INSTALL_DATADIR}/plug COMPONENT sdk
  FILES_MATCHING PATTERN "*.[ch]" PATTERN "Makefile")
set(CPACK_DEBIAN_SDK_PACKAGE_SECTION libdevel)

install(TARGETS RouterSdkSim LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_SKIP COMPONENT sim)
set(CPACK_COMPONENTS_ALL ${components})
include(CPack)
