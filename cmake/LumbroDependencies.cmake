# Libraries that are found through pkg-config, as imported targets.
pkg_check_modules(PULSE REQUIRED IMPORTED_TARGET libpulse)
pkg_check_modules(SOXR REQUIRED IMPORTED_TARGET soxr)
pkg_check_modules(SNDFILE REQUIRED IMPORTED_TARGET sndfile)
pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET libavformat libavcodec libavutil libswresample)
pkg_check_modules(POCKETSPHINX REQUIRED IMPORTED_TARGET pocketsphinx sphinxbase)
pkg_check_modules(WEBRTC REQUIRED IMPORTED_TARGET webrtc-audio-processing)
pkg_check_modules(ICAL REQUIRED IMPORTED_TARGET libical)

# Debian's file for sphinxbase names a folder that its package does not have, which CMake takes for an error.
get_target_property(_pocketsphinx_folders PkgConfig::POCKETSPHINX INTERFACE_INCLUDE_DIRECTORIES)
set(_existing "")
foreach(folder IN LISTS _pocketsphinx_folders)
  if(IS_DIRECTORY "${folder}")
    list(APPEND _existing "${folder}")
  endif()
endforeach()
set_target_properties(PkgConfig::POCKETSPHINX PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${_existing}")
