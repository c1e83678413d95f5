#include "OutputFiles.h"

#include <filesystem>
#include <iterator>
#include <utility>

#include "FileAccess.h"

namespace host {

namespace {

// Whether two paths name one file: the same file when both exist (links included), else the same place.
bool SameFile(const std::string& a, const std::string& b) {
  namespace fs = std::filesystem;
  std::error_code error;
  if (fs::exists(a, error) && fs::exists(b, error)) {
    return fs::equivalent(a, b, error);
  }
  return fs::weakly_canonical(a, error) == fs::weakly_canonical(b, error);
}

}  // namespace

std::string DefaultOutput(const std::string& input) {
  const std::size_t dot = input.find_last_of('.');
  const std::size_t slash = input.find_last_of('/');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) {
    return input + "-veneer.wav";
  }
  return input.substr(0, dot) + "-veneer" + input.substr(dot);
}

bool OutputsAreDistinct(const RenderOptions& options, std::string* error) {
  const std::pair<const char*, const std::optional<std::string>*> outputs[] = {
      {"-o", &options.output}, {"--report", &options.report}, {"--save-preset", &options.savePreset}};
  for (std::size_t i = 0; i < std::size(outputs); ++i) {
    const auto& [option, path] = outputs[i];
    if (!*path) {
      continue;
    }
    if (options.input && SameFile(**path, *options.input)) {
      *error = std::string(option) + " names the input file " + *options.input + "; choose another file";
      return false;
    }
    for (std::size_t j = i + 1; j < std::size(outputs); ++j) {
      if (*outputs[j].second && SameFile(**path, **outputs[j].second)) {
        *error = std::string(option) + " and " + outputs[j].first + " name the same file " + **path;
        return false;
      }
    }
  }
  return true;
}

bool PrepareOutput(const std::string& path, std::string* error) {
  const std::filesystem::path parent = std::filesystem::path(path).parent_path();
  std::error_code failure;
  if (!parent.empty()) {
    std::filesystem::create_directories(parent, failure);
  }
  if (failure) {
    *error = "cannot create the folder " + parent.string() + " for " + path + ": " + failure.message();
    return false;
  }
  const std::optional<std::string> probe = companion::CreateFileBeside(path, error);
  if (!probe) {
    return false;
  }
  return !companion::CommitFileBeside(*probe, path, false, error);
}

}  // namespace host
