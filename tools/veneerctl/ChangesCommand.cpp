// veneerctl changes: the knobs someone turned in the product's own editor, as the plug-in reports them.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>

#include "Commands.h"
#include "FileAccess.h"
#include "StopSignal.h"

namespace veneerctl {

namespace {

constexpr double kPollSeconds = 0.5;

// The plug-in rewrites this file in place, so a read can catch it cut short.
bool LooksComplete(const std::string& text) {
  return text.rfind("seq=", 0) == 0 && text.back() == '\n' && text.find('\n') + 1 < text.size();
}

std::optional<std::string> ReadReport(const std::string& path) {
  auto text = ReadWholeFile(path);
  for (int retry = 0; retry < 5 && text && !LooksComplete(*text); ++retry) {
    timespec wait{0, 50'000'000};
    nanosleep(&wait, nullptr);
    text = ReadWholeFile(path);
  }
  return text;
}

// The report's seq is its time in milliseconds since 1970.
std::string ReportTime(const std::string& seqText) {
  char* end = nullptr;
  errno = 0;
  const long long millis = std::strtoll(seqText.c_str(), &end, 10);
  if (seqText.empty() || *end != '\0' || errno != 0 || millis < 0) {
    return "unknown time";
  }
  const std::time_t seconds = static_cast<std::time_t>(millis / 1000);
  std::tm local{};
  if (localtime_r(&seconds, &local) == nullptr) {
    return "unknown time";
  }
  char stamp[64];
  const std::size_t length = std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
  std::snprintf(stamp + length, sizeof stamp - length, ".%03lld", millis % 1000);
  return stamp;
}

void PrintReport(const std::string& text) {
  std::size_t start = 0;
  bool first = true;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) {
      end = text.size();
    }
    const std::string line = text.substr(start, end - start);
    start = end + 1;
    if (first && line.rfind("seq=", 0) == 0) {
      const std::string seq = line.substr(4);
      std::cout << "manual changes at " << ReportTime(seq) << " (seq=" << seq << ")\n";
    } else if (!line.empty()) {
      std::cout << "  " << line << "\n";
    }
    first = false;
  }
  std::cout.flush();
}

// Prints the report, or says what is wrong with it; whether it was a report.
bool ShowReport(const std::string& path, const std::string& text) {
  if (text.empty()) {
    std::cout << path << " is empty: no report" << std::endl;
    return false;
  }
  if (!LooksComplete(text)) {
    std::cout << path << " is not a whole report (it must start with a seq= line and end with a line end):\n"
              << text << (text.back() == '\n' ? "" : "\n") << std::flush;
    return false;
  }
  PrintReport(text);
  return true;
}

}  // namespace

int RunChanges(const Invocation& invocation, bool follow) {
  const auto folder = LocateFolder(invocation);
  if (!folder) {
    return kExitUsage;
  }
  if (follow) {
    InstallStopHandlers();
  }
  const std::string path = folder->File(kBackFile);
  auto shown = ReadReport(path);
  bool reported = false;
  if (shown) {
    reported = ShowReport(path, *shown);
  } else {
    std::cout << "no manual changes reported yet (" << path << " is missing)" << std::endl;
  }
  if (!follow) {
    return reported ? kExitOk : kExitFailure;
  }
  while (SleepUnlessStopped(kPollSeconds)) {
    auto current = ReadReport(path);
    if (current == shown) {
      continue;
    }
    if (current) {
      ShowReport(path, *current);
    } else {
      std::cout << path << " was removed" << std::endl;
    }
    shown = std::move(current);
  }
  return kExitOk;
}

}  // namespace veneerctl
