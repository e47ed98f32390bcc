# Libraries that are found through pkg-config, as imported targets.
pkg_check_modules(PULSE REQUIRED IMPORTED_TARGET libpulse)
pkg_check_modules(SOXR REQUIRED IMPORTED_TARGET soxr)
pkg_check_modules(SNDFILE REQUIRED IMPORTED_TARGET sndfile)
pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET libavformat libavcodec libavutil libswresample)
pkg_check_modules(POCKETSPHINX REQUIRED IMPORTED_TARGET pocketsphinx sphinxbase)
pkg_check_modules(WEBRTC REQUIRED IMPORTED_TARGET webrtc-audio-processing)
