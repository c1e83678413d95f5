// What a machine has installed of the products the plug-in drives. On a Mac
// the registry also holds the installed components (a real product, or the
// stand-ins' bundles), and the plug-in takes part of its choice from them: a
// test that must be alone with the copies it registers skips there.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace testsupport {

// [main thread] The products with a copy installed here, as "Auto-Tune Pro,
// AutoTune 2026"; empty when none. Asked before the test registers copies of
// its own (and, on Linux, after it has set HOME: the registry reads the
// components folder at its first use).
std::string InstalledProducts();

}  // namespace testsupport

// Skips the test (from its body or its fixture's SetUp) where a product is installed.
#define SKIP_WHERE_PRODUCTS_ARE_INSTALLED()                                                               \
  if (const std::string installedProducts = testsupport::InstalledProducts(); !installedProducts.empty()) \
  GTEST_SKIP() << "installed here: " << installedProducts                                                 \
               << "; this test needs the plug-in to see only the products it registers"
