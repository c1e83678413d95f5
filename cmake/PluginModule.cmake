# The loadable plug-in: exports VeneerFactory and nothing else.
add_library(Veneer MODULE shell/VeneerModule.cpp)
target_link_libraries(Veneer PRIVATE veneer_core)
set_target_properties(Veneer PROPERTIES PREFIX "" CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
if(APPLE)
  target_link_options(Veneer PRIVATE "-Wl,-exported_symbol,_VeneerFactory")
else()
  target_link_options(Veneer PRIVATE "-Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/VeneerExports.map")
  set_property(TARGET Veneer APPEND PROPERTY LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/VeneerExports.map)
endif()
veneer_warnings(Veneer)

# Veneer.component in the platform's bundle layout: Info.plist, the module
# under Contents/ (MacOS/ on macOS, Linux/ here) and Contents/Resources/.
math(EXPR VENEER_COMPONENT_VERSION
     "(${PROJECT_VERSION_MAJOR} << 16) | (${PROJECT_VERSION_MINOR} << 8) | ${PROJECT_VERSION_PATCH}")
if(APPLE)
  set(VENEER_BUNDLE_EXECUTABLE_DIR MacOS)
else()
  set(VENEER_BUNDLE_EXECUTABLE_DIR Linux)
endif()
set(VENEER_BUNDLE_DIR ${PROJECT_BINARY_DIR}/Veneer.component)
configure_file(bundle/Info.plist.in ${VENEER_BUNDLE_DIR}/Contents/Info.plist @ONLY)
# In a generator expression, so that multi-configuration generators (Xcode,
# Ninja Multi-Config) put the module here too, not in a per-configuration folder.
set_target_properties(Veneer PROPERTIES
  SUFFIX ""
  LIBRARY_OUTPUT_DIRECTORY "$<1:${VENEER_BUNDLE_DIR}/Contents/${VENEER_BUNDLE_EXECUTABLE_DIR}>")
# The signature covers Info.plist: a changed one links, so signs, the bundle again.
set_property(TARGET Veneer APPEND PROPERTY LINK_DEPENDS ${VENEER_BUNDLE_DIR}/Contents/Info.plist)
add_custom_command(TARGET Veneer POST_BUILD
  COMMAND ${CMAKE_COMMAND} -E make_directory ${VENEER_BUNDLE_DIR}/Contents/Resources)
veneer_bundle_architectures(Veneer veneer_core ausdk)
veneer_sign_bundle(Veneer ${VENEER_BUNDLE_DIR})

# `cmake --install` puts the bundle in the per-user components folder.
# HOME is read when installing, not when configuring.
install(CODE "file(INSTALL \"${VENEER_BUNDLE_DIR}\"
  DESTINATION \"\$ENV{HOME}/Library/Audio/Plug-Ins/Components\" USE_SOURCE_PERMISSIONS)")
