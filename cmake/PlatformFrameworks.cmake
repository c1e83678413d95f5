# `veneer::platform` is the platform API every other target builds against:
# the system frameworks on macOS, our own shared library elsewhere.
if(APPLE)
  add_library(veneer_platform INTERFACE)
  target_link_libraries(veneer_platform INTERFACE
    "-framework AudioToolbox" "-framework AudioUnit" "-framework CoreFoundation"
    "-framework CoreAudioKit" "-framework CoreMIDI")
  add_library(veneer::platform ALIAS veneer_platform)
endif()
