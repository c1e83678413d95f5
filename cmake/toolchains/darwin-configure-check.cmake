# Configures the project as a Mac build would be, from Linux, with clang's
# Darwin target: enough to generate the build (try-compiles build static
# libraries, so nothing is linked and no macOS SDK is needed), never to build.
# Used by scripts/check-darwin-configure.sh.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET arm64-apple-macos12.0)
set(CMAKE_CXX_COMPILER_TARGET arm64-apple-macos12.0)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
