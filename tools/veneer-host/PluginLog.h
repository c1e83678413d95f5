// The plug-in's debug log as one run sees it: only the lines written since the run began.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace host {

class PluginLog {
 public:
  // [main thread] Remembers where the log at `path` ends now.
  explicit PluginLog(std::string path);

  // [main thread] The lines written since; a log deleted and begun anew is read from its start.
  [[nodiscard]] std::vector<std::string> NewLines() const;
  // [main thread] Those of them that hold `text`.
  [[nodiscard]] std::vector<std::string> NewLinesWith(std::string_view text) const;

 private:
  std::string path_;
  std::uintmax_t start_ = 0;
};

}  // namespace host
