# The agent: everything but `main` and the real outside world is one library, which the tests link as well.

add_library(plugcore STATIC
  comm/AutoReport.cpp
  comm/ComRequests.cpp
  comm/CommFrame.cpp
  comm/CommHandle.cpp
  comm/CommListener.cpp
  comm/CommReports.cpp
  comm/CommServer.cpp
  comm/FirmwareAnswer.cpp
  comm/ReportTimes.cpp
  comm/RingQueue.cpp
  core/About.cpp
  core/Base64.cpp
  core/Common.cpp
  core/Config.cpp
  core/JsonParse.cpp
  core/Plug.cpp
  core/Version.cpp
  functions/Devices.cpp
  functions/Diagnostics.cpp
  functions/Download.cpp
  functions/FwVersionReport.cpp
  functions/HttpSocket.cpp
  functions/Identity.cpp
  functions/Lan.cpp
  functions/LocalRows.cpp
  functions/Parameters.cpp
  functions/Ping.cpp
  functions/ProtoolSdk.cpp
  functions/RateTest.cpp
  functions/Records.cpp
  functions/Rules.cpp
  functions/Services.cpp
  functions/System.cpp
  functions/Traceroute.cpp
  functions/Url.cpp
  functions/Wan.cpp
  functions/Wireless.cpp
  platform/CBHandle.cpp
  platform/Crypt.cpp
  platform/Frame.cpp
  platform/PlugStatus.cpp
  platform/Protool.cpp
  platform/Sending.cpp
  platform/Session.cpp
  platform/SessionFrames.cpp
  platform/Settings.cpp
  platform/SignOfLife.cpp
  platform/TcpQueue.cpp
  platform/TcpServer.cpp
  plugin/BuildJson.cpp
  plugin/ParseJson.cpp
  plugin/PlugParameters.cpp
  plugin/PlugUpdate.cpp
  rules/BadItem.cpp
  rules/Bandwidth.cpp
  rules/PortForward.cpp
  rules/SurfRules.cpp
  rules/SurfTable.cpp
  rules/eaccess.cpp
  rules/iot_poll.cpp
  rules/iot_signal.cpp
  subdev/ArpTable.cpp
  subdev/Function39.cpp
  subdev/Function40.cpp
  subdev/KnownDevices.cpp
  subdev/MacText.cpp
  subdev/OnlineReport.cpp
  subdev/Subdev.cpp
  subdev/SubdevReport.cpp
)
target_compile_definitions(plugcore PRIVATE
  PLUG_DEFAULT_SERVER1="${PLUG_DEFAULT_SERVER1}"
  PLUG_DEFAULT_SERVER2="${PLUG_DEFAULT_SERVER2}"
  PLUG_SINGLE_SERVER_PREFIX="${PLUG_SINGLE_SERVER_PREFIX}"
  PLUG_RATE_TEST_SERVER="${PLUG_RATE_TEST_SERVER}"
)
# plug_version_of(TARGET VERSION): for the one source that knows it
function(plug_version_of target version)
  string(REPLACE "." ", " parts "${version}")
  target_compile_definitions(${target} PRIVATE
    PLUG_VERSION="${version}" "PLUG_VERSION_PARTS=${parts}" PLUG_BUILD_TAG="${PLUG_BUILD_TAG}")
endfunction()
plug_version_of(plugcore ${PLUG_VERSION})
target_link_libraries(plugcore PUBLIC plug_router_code plug_sdk plug_cjson plug_crypto Threads::Threads)

add_library(plug_os STATIC
  os/posix/OsClock.cpp
  os/posix/OsCommand.cpp
  os/posix/OsFile.cpp
  os/posix/OsLibraries.cpp
  os/posix/OsMemory.cpp
  os/posix/OsProcess.cpp
  os/posix/OsWait.cpp
  os/posix/Paths.cpp
)
target_link_libraries(plug_os PUBLIC plug_router_code Threads::Threads)

function(plug_agent_program target)
  add_executable(${target} core/main.cpp ${ARGN})
  target_link_libraries(${target} PRIVATE plugcore plug_os)
  plug_link_without_cxx_runtime(${target})
  # RUNPATH, not RPATH: LD_LIBRARY_PATH can put another router library in the simulated one's place.
  target_link_options(${target} PRIVATE -Wl,--enable-new-dtags)
  set_target_properties(${target} PROPERTIES BUILD_RPATH "$ORIGIN" BUILD_RPATH_USE_ORIGIN ON)
endfunction()
plug_agent_program(plug)

# The same agent under another version, to have something to update to.
add_library(plug_next_version OBJECT EXCLUDE_FROM_ALL core/Version.cpp)
target_link_libraries(plug_next_version PRIVATE plug_router_code)
plug_version_of(plug_next_version 2.0.0.8)
plug_agent_program(plug_next $<TARGET_OBJECTS:plug_next_version>)
set_target_properties(plug_next PROPERTIES EXCLUDE_FROM_ALL ON)

if(NOT PLUG_SANITIZE)
  add_custom_command(TARGET plug POST_BUILD
    COMMAND ${CMAKE_COMMAND} -DPLUG=$<TARGET_FILE:plug> -DSTRIP=${CMAKE_STRIP} -DREADELF=${CMAKE_READELF}
            -P ${CMAKE_SOURCE_DIR}/cmake/PrintAgentFacts.cmake
    VERBATIM)
endif()
