#include "PosedProcess.h"

#include <libproc.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "RunProgram.h"

namespace testsupport {

namespace {

namespace fs = std::filesystem;

constexpr const char* kPosedVariable = "VENEER_POSED_AS";

}  // namespace

std::string PosedName() {
  const char* name = std::getenv(kPosedVariable);
  return name != nullptr ? name : "";
}

::testing::AssertionResult PassesPosingAs(const std::string& name) {
  char self[PROC_PIDPATHINFO_MAXSIZE] = {};
  if (proc_pidpath(getpid(), self, sizeof self) <= 0) {
    return ::testing::AssertionFailure() << "cannot find this test program's own file";
  }
  char pattern[] = "/tmp/veneer-posed-XXXXXX";
  if (mkdtemp(pattern) == nullptr) {
    return ::testing::AssertionFailure() << "cannot make a scratch folder";
  }
  const fs::path folder(pattern);
  const fs::path copy = folder / name;
  std::error_code error;
  fs::copy_file(self, copy, error);
  if (!error) {
    fs::permissions(copy, fs::perms::owner_read | fs::perms::owner_exec, fs::perm_options::add, error);
  }
  if (error) {
    const std::string why = error.message();
    fs::remove_all(folder, error);
    return ::testing::AssertionFailure() << "cannot copy " << self << " as " << copy << ": " << why;
  }
  const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
  const std::string filter = std::string("--gtest_filter=") + test->test_suite_name() + "." + test->name();
  const ProgramResult result =
      RunProgram({copy.string(), filter}, {std::string(kPosedVariable) + "=" + name}, folder.string());
  fs::remove_all(folder, error);
  // The filter must have selected exactly this test, and it must have passed.
  if (result.status == 0 && result.out.find("[  PASSED  ] 1 test.") != std::string::npos) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure() << "posing as \"" << name << "\" (exit status " << result.status << "):\n"
                                       << result.out << result.err;
}

}  // namespace testsupport
