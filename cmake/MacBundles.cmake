# What a loadable component bundle needs on macOS: both architectures (an
# arm64-only bundle does not load in Intel or Rosetta hosts) and a code
# signature over the whole bundle. Tests and tools stay native: the Homebrew
# libraries they link are built for one architecture. Elsewhere these do nothing.
set(VENEER_BUNDLE_ARCHITECTURES "arm64;x86_64" CACHE STRING
    "macOS: architectures of the plug-in and stand-in bundles and the libraries they link")
set(VENEER_CODESIGN_IDENTITY "-" CACHE STRING
    "macOS: identity the bundles are signed with; '-' signs ad hoc")

# Builds `targets` for every bundle architecture.
function(veneer_bundle_architectures)
  if(APPLE)
    set_target_properties(${ARGN} PROPERTIES OSX_ARCHITECTURES "${VENEER_BUNDLE_ARCHITECTURES}")
  endif()
endfunction()

# Signs `bundle` after `target` is built (the last of its post-build steps). A
# Developer ID identity also gets the hardened runtime and a secure timestamp,
# which notarisation asks for; ad hoc signatures need neither.
function(veneer_sign_bundle target bundle)
  if(NOT APPLE)
    return()
  endif()
  set(options --force --sign "${VENEER_CODESIGN_IDENTITY}")
  if(NOT VENEER_CODESIGN_IDENTITY STREQUAL "-")
    list(APPEND options --options runtime --timestamp)
  endif()
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND codesign ${options} "${bundle}"
    COMMAND codesign --verify --strict "${bundle}"
    VERBATIM)
endfunction()
