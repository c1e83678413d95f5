#include "PluginLog.h"

#include <filesystem>
#include <fstream>

namespace host {

PluginLog::PluginLog(std::string path) : path_(std::move(path)) {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(path_, error);
  start_ = error ? 0 : size;
}

std::vector<std::string> PluginLog::NewLines() const {
  std::vector<std::string> lines;
  std::ifstream log(path_, std::ios::binary);
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(path_, error);
  log.seekg(static_cast<std::streamoff>(!error && size >= start_ ? start_ : 0));
  for (std::string line; std::getline(log, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::vector<std::string> PluginLog::NewLinesWith(std::string_view text) const {
  std::vector<std::string> found;
  for (std::string& line : NewLines()) {
    if (line.find(text) != std::string::npos) {
      found.push_back(std::move(line));
    }
  }
  return found;
}

}  // namespace host
