// Poses as another program: runs the current test again in a copy of this
// test program whose file name is that program's. The process name the system
// reports (proc_name) comes from the executable's file name on both platforms
// (Linux keeps its first 15 characters), so this is how a test plays a host
// that the plug-in recognises by name.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace testsupport {

// The name this process poses under when it is such a copy; empty in the test program itself.
std::string PosedName();

// [main thread] Runs only the current test in a copy of this program named `name`, where
// PosedName() answers `name`, and succeeds when that one test ran there and passed. A test
// calls it when PosedName() is empty, and does its work when it is not.
::testing::AssertionResult PassesPosingAs(const std::string& name);

}  // namespace testsupport
