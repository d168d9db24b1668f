# `cmake --install`: what a distribution's package holds, where it expects it. Four components: agent, sdk (for those who
# write a router library), tools and gateway.
#
# The installed scripts name each other and the agent by their full paths, so the prefix is set when configuring
# (-DCMAKE_INSTALL_PREFIX=/usr); DESTDIR stages them in another folder.
include(GNUInstallDirs)
set(PLUG_SYSTEMD_UNITS "${CMAKE_INSTALL_PREFIX}/lib/systemd/system" CACHE PATH "folder of systemd's units")

# plug_installed_copy(FILE): a copy of a file of packaging/ with the paths of this installation, in `installed_copy`
function(plug_installed_copy file)
  file(READ ${CMAKE_SOURCE_DIR}/packaging/${file} text)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/packaging/${file})
  string(REPLACE "/usr/sbin/" "${CMAKE_INSTALL_FULL_SBINDIR}/" text "${text}")
  string(REPLACE "/usr/libexec/" "${CMAKE_INSTALL_FULL_LIBEXECDIR}/" text "${text}")
  string(REPLACE "/var/lib/" "${CMAKE_INSTALL_FULL_LOCALSTATEDIR}/lib/" text "${text}")
  string(REPLACE "/etc/plug.conf" "${CMAKE_INSTALL_FULL_SYSCONFDIR}/plug.conf" text "${text}")
  string(REPLACE "/etc/default/" "${CMAKE_INSTALL_FULL_SYSCONFDIR}/default/" text "${text}")
  set(copy ${CMAKE_BINARY_DIR}/packaging/${file})
  file(WRITE ${copy} "${text}")
  set(installed_copy ${copy} PARENT_SCOPE)
endfunction()

# plug_install_man(PAGE COMPONENT): as it is; in packages compressed, which Debian asks for
find_program(GZIP gzip)
function(plug_install_man page component)
  get_filename_component(name ${page} NAME)
  string(REGEX REPLACE ".*\\." "man" section ${name})
  if(PLUG_PACKAGES)
    configure_file(${page} ${CMAKE_BINARY_DIR}/packaging/man/${name} COPYONLY)
    execute_process(COMMAND ${GZIP} -9nf ${CMAKE_BINARY_DIR}/packaging/man/${name} COMMAND_ERROR_IS_FATAL ANY)
    set(page ${CMAKE_BINARY_DIR}/packaging/man/${name}.gz)
  endif()
  install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/${section} COMPONENT ${component})
endfunction()

install(TARGETS plug RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT agent)
# Behind CMake's own stripping, which nothing can do again afterwards. Not for packages: their tools read the sections.
if(NOT PLUG_PACKAGES)
  install(CODE "
    if(CMAKE_INSTALL_DO_STRIP)
      execute_process(COMMAND sh ${CMAKE_SOURCE_DIR}/cmake/without-sections.sh
        \"\$ENV{DESTDIR}${CMAKE_INSTALL_FULL_SBINDIR}/plug\" ${CMAKE_READELF} COMMAND_ERROR_IS_FATAL ANY)
    endif()" COMPONENT agent)
endif()
foreach(script plug-supervisor.sh plug-log.sh)
  plug_installed_copy(${script})
  install(PROGRAMS ${installed_copy} DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/plug COMPONENT agent)
endforeach()
plug_installed_copy(plugctl)
install(PROGRAMS ${installed_copy} DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT agent)
plug_installed_copy(plug.default)
install(FILES ${installed_copy} DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/default RENAME plug COMPONENT agent)
plug_installed_copy(plug.init)
install(PROGRAMS ${installed_copy} DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/init.d RENAME plug COMPONENT agent)
plug_installed_copy(plug.service)
install(FILES ${installed_copy} DESTINATION ${PLUG_SYSTEMD_UNITS} COMPONENT agent)
# An example only: the real one holds a secret and belongs to the operator.
install(FILES packaging/plug.conf.example DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples RENAME plug.conf COMPONENT agent)
plug_install_man(docs/man/plug.8 agent)
plug_install_man(docs/man/plugctl.8 agent)

configure_file(packaging/plug-router-sdk.pc.in packaging/plug-router-sdk.pc @ONLY)
install(FILES sdk/RouterSdk.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/plug COMPONENT sdk)
install(FILES ${CMAKE_BINARY_DIR}/packaging/plug-router-sdk.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT sdk)

if(PLUG_TOOLS)
  install(TARGETS plugsim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(FILES packaging/plugsim.bash-completion DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME plugsim COMPONENT tools)
  plug_install_man(docs/man/plugsim.1 tools)
endif()
if(TARGET plug-gateway)
  install(TARGETS plug-gateway RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT gateway)
  plug_installed_copy(plug-gateway.service)
  install(FILES ${installed_copy} DESTINATION ${PLUG_SYSTEMD_UNITS} COMPONENT gateway)
  install(FILES packaging/grafana/plug-gateway.json DESTINATION ${CMAKE_INSTALL_DATADIR}/plug-gateway/grafana
    COMPONENT gateway)
  plug_install_man(docs/man/plug-gateway.8 gateway)
endif()
