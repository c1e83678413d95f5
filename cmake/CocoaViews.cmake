# macOS only: the Objective-C++ glue of the Cocoa views (Veneer's window, the
# stand-ins' editor) and the program that checks it. Included by each directory
# that builds some, since a language is enabled per directory.

# The C++ compiler builds the Objective-C++ too: one toolchain, and the one a
# configure from another system names.
if(NOT CMAKE_OBJCXX_COMPILER)
  set(CMAKE_OBJCXX_COMPILER "${CMAKE_CXX_COMPILER}")
endif()
if(CMAKE_CXX_COMPILER_TARGET AND NOT CMAKE_OBJCXX_COMPILER_TARGET)
  set(CMAKE_OBJCXX_COMPILER_TARGET "${CMAKE_CXX_COMPILER_TARGET}")
endif()
# Configured from another system (scripts/check-darwin-configure.sh), nothing is
# built, and the Mac's install_name_tool, which enabling a language asks for,
# is not there: its name will do.
if(CMAKE_CROSSCOMPILING AND NOT CMAKE_INSTALL_NAME_TOOL)
  set(CMAKE_INSTALL_NAME_TOOL install_name_tool)
endif()
enable_language(OBJCXX)

# ARC, and the project's warning set (veneer_warnings covers C and C++ only).
function(veneer_objcxx target)
  target_compile_options(${target} PRIVATE
    $<$<COMPILE_LANGUAGE:OBJCXX>:-fobjc-arc -Wall -Wextra -Wshadow -Wnon-virtual-dtor -Wno-multichar>)
  set_target_properties(${target} PROPERTIES OBJCXX_STANDARD 20 OBJCXX_STANDARD_REQUIRED ON OBJCXX_EXTENSIONS OFF)
endfunction()

# A loadable Cocoa view bundle, `directory`/`target`.bundle, made from the
# Objective-C++ sources after the arguments: its Info.plist configured from
# `plist`, built for every bundle architecture, exporting only the factory
# class a host looks up (`factory`), and signed once built.
function(veneer_cocoa_view_bundle target factory plist directory)
  add_library(${target} MODULE ${ARGN})
  set(exports ${CMAKE_CURRENT_BINARY_DIR}/${target}.exports)
  file(CONFIGURE OUTPUT ${exports} CONTENT "_OBJC_CLASS_$_${factory}\n_OBJC_METACLASS_$_${factory}\n" @ONLY)
  set_target_properties(${target} PROPERTIES
    BUNDLE TRUE
    BUNDLE_EXTENSION bundle
    MACOSX_BUNDLE_INFO_PLIST ${plist}
    LIBRARY_OUTPUT_DIRECTORY "$<1:${directory}>"
    OBJCXX_VISIBILITY_PRESET hidden
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    LINK_DEPENDS ${exports})
  target_link_options(${target} PRIVATE "-Wl,-exported_symbols_list,${exports}")
  # Signed over its Info.plist too: a changed one links, so signs, it again.
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "$<TARGET_BUNDLE_CONTENT_DIR:${target}>/Info.plist")
  target_link_libraries(${target} PRIVATE
    "-framework AppKit" "-framework Foundation" "-framework AudioToolbox" "-framework AudioUnit")
  veneer_objcxx(${target})
  veneer_bundle_architectures(${target})
  veneer_sign_bundle(${target} ${directory}/${target}.bundle)
endfunction()
