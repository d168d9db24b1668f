# plug_program_test(TARGET PRELOAD [SOURCE]...): TARGET drives the real programs as the end-to-end tests do. PRELOAD is
# what is loaded into them first, or empty; each SOURCE is a file of this folder that TARGET takes with it.
function(plug_program_test target preload)
  list(TRANSFORM ARGN PREPEND ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/ OUTPUT_VARIABLE sources)
  target_sources(${target} PRIVATE ${sources})
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/agent)
  target_link_libraries(${target} PRIVATE plug_warnings plug_cjson test_support GTest::gtest Threads::Threads)
  add_dependencies(${target} plug plugsim)
  target_compile_definitions(${target} PRIVATE
    PLUG_PROGRAM="$<TARGET_FILE:plug>"
    PLUG_SUPERVISOR="${PROJECT_SOURCE_DIR}/packaging/plug-supervisor.sh"
    PLUG_LOG_FILTER="${PROJECT_SOURCE_DIR}/packaging/plug-log.sh"
    PLUGSIM_PROGRAM="$<TARGET_FILE:plugsim>"
    PLUG_PRELOAD="${preload}"
    PLUG_BUILD_FOLDER="${PROJECT_BINARY_DIR}"
  )
endfunction()
