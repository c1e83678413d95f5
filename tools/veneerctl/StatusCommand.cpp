// veneerctl status: what the plug-in reports about itself, and what it thinks of the heartbeat.
#include <ctime>
#include <iostream>
#include <map>

#include "Commands.h"
#include "FileAccess.h"
#include "PluginState.h"

namespace veneerctl {

namespace {

// The plug-in rewrites its alive file about every 2 s.
constexpr long kAliveFreshSeconds = 5;

std::map<std::string, std::string> ParseKeyValueLines(const std::string& text) {
  std::map<std::string, std::string> fields;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) {
      end = text.size();
    }
    std::string line = text.substr(start, end - start);
    start = end + 1;
    if (!line.empty() && line.back() == '\r') {
      line.pop_back();
    }
    const std::size_t eq = line.find('=');
    if (eq != std::string::npos) {
      fields[line.substr(0, eq)] = line.substr(eq + 1);
    }
  }
  return fields;
}

// A clock set back, or a file copied from elsewhere, gives a time ahead of now.
std::string AgeText(long age) {
  return age < 0 ? std::to_string(-age) + " s in the future" : std::to_string(age) + " s old";
}

std::string Field(const std::map<std::string, std::string>& fields, const std::string& key) {
  const auto found = fields.find(key);
  return found == fields.end() ? "?" : found->second;
}

std::string Flag(const std::map<std::string, std::string>& fields, const std::string& key, const char* on,
                 const char* off) {
  const std::string value = Field(fields, key);
  return value == "?" ? value : (value == "1" ? on : off);
}

// The same test the plug-in makes on every link pass.
void PrintHeartbeat(const SupportFolder& folder, std::time_t now) {
  const HeartbeatReading reading = ReadHeartbeat(folder, now);
  std::cout << "settings file:  ";
  if (reading.verdict == Heartbeat::kMissing) {
    std::cout << "missing - the plug-in will bypass\n";
    return;
  }
  const PluginState& state = reading.state;
  std::cout << AgeText(reading.ageSeconds) << ", seq " << (state.seq ? std::to_string(*state.seq) : "none");
  switch (reading.verdict) {
    case Heartbeat::kStale:
      std::cout << " - stale, the plug-in will bypass\n";
      break;
    case Heartbeat::kQuitMarker:
      std::cout << " - quit marker appRunning=0, the plug-in will bypass\n";
      break;
    default:
      std::cout << (reading.ageSeconds < 0 ? " - heartbeat OK (a time ahead counts as fresh)\n" : " - heartbeat OK\n");
      break;
  }
}

}  // namespace

int RunStatus(const Invocation& invocation) {
  const auto folder = LocateFolder(invocation);
  if (!folder) {
    return kExitUsage;
  }
  const std::time_t now = std::time(nullptr);
  const std::string path = folder->File(kAliveFile);
  const auto modified = ModificationTime(path);
  const auto text = ReadWholeFile(path);
  int status = kExitOk;
  std::cout << "alive file:     " << path << "\n";
  if (!modified || !text) {
    std::cout << "verdict:        no alive file (no plug-in instance has been initialised)\n";
    status = kExitFailure;
  } else {
    const long age = static_cast<long>(now - *modified);
    const auto fields = ParseKeyValueLines(*text);
    const bool running = age <= kAliveFreshSeconds;
    std::cout << "age:            " << AgeText(age) << "\n"
              << "variant:        " << Field(fields, "variant") << "\n"
              << "inner unit:     " << Flag(fields, "inner", "yes", "no") << "\n"
              << "classic mode:   " << Flag(fields, "classic", "on", "off") << "\n"
              << "verdict:        " << (running ? "plug-in running" : "plug-in stopped or not loaded")
              << (age < 0 ? " (the file's time is ahead of this clock, so its age says little)" : "") << "\n";
    status = running ? kExitOk : kExitStopped;
  }
  PrintHeartbeat(*folder, now);
  return status;
}

}  // namespace veneerctl
