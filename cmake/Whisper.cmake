# whisper.cpp as the target `whisper`, built once below build/deps for all presets. Sets LUMBRO_HAS_WHISPER.
option(LUMBRO_WHISPER "Build the whisper recogniser" ON)
set(LUMBRO_DEPS_DIR "${PROJECT_SOURCE_DIR}/build/deps" CACHE PATH "Libraries that the build fetches itself")

set(LUMBRO_HAS_WHISPER OFF CACHE INTERNAL "whisper.cpp is there")
if(LUMBRO_WHISPER)
  execute_process(COMMAND "${PROJECT_SOURCE_DIR}/scripts/fetch-whisper" "${LUMBRO_DEPS_DIR}"
    RESULT_VARIABLE whisper_status OUTPUT_FILE "${CMAKE_BINARY_DIR}/fetch-whisper.log"
    ERROR_FILE "${CMAKE_BINARY_DIR}/fetch-whisper.err")
  if(whisper_status EQUAL 0)
    set(LUMBRO_HAS_WHISPER ON CACHE INTERNAL "whisper.cpp is there")
  else()
    message(WARNING "whisper.cpp could not be fetched or built (see ${CMAKE_BINARY_DIR}/fetch-whisper.err): "
      "this build has the embedded recogniser only.")
  endif()
endif()

if(LUMBRO_HAS_WHISPER)
  set(whisper_lib "${LUMBRO_DEPS_DIR}/whisper/lib")
  add_library(whisper INTERFACE)
  target_include_directories(whisper SYSTEM INTERFACE "${LUMBRO_DEPS_DIR}/whisper/include")
  target_link_libraries(whisper INTERFACE
    "${whisper_lib}/libwhisper.a" "${whisper_lib}/libggml.a" "${whisper_lib}/libggml-cpu.a"
    "${whisper_lib}/libggml-base.a" Threads::Threads ${CMAKE_DL_LIBS} m)
endif()
