# The agent: everything but `main` and the real outside world is one library, which the tests link as well.

add_library(plugcore STATIC
  comm/AutoReport.cpp
  comm/ComRequests.cpp
  comm/CommFrame.cpp
  comm/CommHandle.cpp
  comm/CommReports.cpp
  comm/CommServer.cpp
  comm/ReportTimes.cpp
  comm/RingQueue.cpp
  core/Base64.cpp
  core/Common.cpp
  core/Config.cpp
  core/Plug.cpp
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
  platform/TcpQueue.cpp
  platform/TcpServer.cpp
  plugin/ParseJson.cpp
  rules/BadItem.cpp
  rules/Bandwidth.cpp
  rules/PortForward.cpp
  rules/SurfRules.cpp
  rules/SurfTable.cpp
  rules/eaccess.cpp
  rules/iot_poll.cpp
  rules/iot_signal.cpp
  subdev/Function39.cpp
  subdev/Function40.cpp
  subdev/OnlineReport.cpp
  subdev/Subdev.cpp
)
target_compile_definitions(plugcore PRIVATE
  PLUG_DEFAULT_SERVER1="${PLUG_DEFAULT_SERVER1}"
  PLUG_DEFAULT_SERVER2="${PLUG_DEFAULT_SERVER2}"
  PLUG_SINGLE_SERVER_PREFIX="${PLUG_SINGLE_SERVER_PREFIX}"
  PLUG_RATE_TEST_SERVER="${PLUG_RATE_TEST_SERVER}"
)
# Machine code beside the LTO code: the unit tests link it without LTO, to put other procedures in some places.
if(CMAKE_INTERPROCEDURAL_OPTIMIZATION)
  target_compile_options(plugcore PRIVATE -ffat-lto-objects)
endif()
target_link_libraries(plugcore PUBLIC plug_router_code plug_sdk plug_cjson plug_crypto Threads::Threads)

add_library(plug_os STATIC
  os/posix/OsClock.cpp
  os/posix/OsCommand.cpp
  os/posix/OsFile.cpp
  os/posix/OsMemory.cpp
  os/posix/OsProcess.cpp
  os/posix/OsWait.cpp
  os/posix/Paths.cpp
)
target_link_libraries(plug_os PUBLIC plug_router_code Threads::Threads)

add_executable(plug core/main.cpp)
target_link_libraries(plug PRIVATE plugcore plug_os)
plug_link_without_cxx_runtime(plug)
# RUNPATH, not RPATH: LD_LIBRARY_PATH can put another router library in the simulated one's place.
target_link_options(plug PRIVATE -Wl,--enable-new-dtags)
set_target_properties(plug PROPERTIES BUILD_RPATH "$ORIGIN" BUILD_RPATH_USE_ORIGIN ON)

if(NOT PLUG_SANITIZE)
  add_custom_command(TARGET plug POST_BUILD
    COMMAND ${CMAKE_COMMAND} -DPLUG=$<TARGET_FILE:plug> -DSTRIP=${CMAKE_STRIP} -DREADELF=${CMAKE_READELF}
            -P ${CMAKE_SOURCE_DIR}/cmake/PrintAgentFacts.cmake
    VERBATIM)
endif()
