# The agent: everything but `main` and the real outside world is one library, which the tests link as well.

add_library(plugcore STATIC
  core/Base64.cpp
  core/Common.cpp
  platform/Crypt.cpp
  platform/Frame.cpp
  platform/SessionFrames.cpp
)
target_link_libraries(plugcore PUBLIC plug_router_code plug_sdk plug_cjson plug_crypto Threads::Threads)

add_library(plug_os STATIC
  os/posix/OsClock.cpp
  os/posix/OsFile.cpp
  os/posix/OsProcess.cpp
  os/posix/OsWait.cpp
  os/posix/Paths.cpp
)
target_link_libraries(plug_os PUBLIC plug_router_code Threads::Threads)
