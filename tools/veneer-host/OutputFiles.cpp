#include "OutputFiles.h"

#include <stdlib.h>  // mkstemp
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>
#include <utility>

#include "AudioFile.h"
#include "FileAccess.h"

namespace host {

namespace {

namespace fs = std::filesystem;

std::string Lowercase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

// Whether the file system holding `folder` (or its nearest existing parent)
// takes names that differ only in case for one name, as macOS does by
// default: a probe file is made there and looked up with its case swapped.
bool FoldsCase(fs::path folder) {
  std::error_code error;
  while (!folder.empty() && !fs::is_directory(folder, error)) {
    folder = folder.parent_path();
  }
  std::string probe = (folder.empty() ? fs::path(".") : folder) / ".veneer-case-probe-aAXXXXXX";
  const int fd = mkstemp(probe.data());
  if (fd < 0) {
    return false;  // cannot tell: the paths stay as distinct as they look
  }
  close(fd);
  const fs::path made(probe);
  std::string swapped = made.filename().string();
  std::transform(swapped.begin(), swapped.end(), swapped.begin(), [](unsigned char c) {
    return static_cast<char>(std::islower(c) != 0 ? std::toupper(c) : std::tolower(c));
  });
  const bool folds = fs::exists(made.parent_path() / swapped, error);
  fs::remove(made, error);
  return folds;
}

// Whether two paths name one file: the same file when both exist (links
// included), else the same place, where names that differ only in case are
// one place on a file system that folds case.
bool SameFile(const std::string& a, const std::string& b) {
  std::error_code error;
  if (fs::exists(a, error) && fs::exists(b, error)) {
    return fs::equivalent(a, b, error);
  }
  // Absolute first: a relative name whose first part does not exist yet stays
  // as it is written, so "o.wav" and "./o.wav" would differ.
  const fs::path first = fs::weakly_canonical(fs::absolute(a, error), error);
  const fs::path second = fs::weakly_canonical(fs::absolute(b, error), error);
  if (first == second) {
    return true;
  }
  return Lowercase(first.string()) == Lowercase(second.string()) && FoldsCase(first.parent_path());
}

}  // namespace

std::string DefaultOutput(const std::string& input) {
  const std::size_t dot = input.find_last_of('.');
  const std::size_t slash = input.find_last_of('/');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) {
    return input + "-veneer.wav";
  }
  std::string output = input.substr(0, dot) + "-veneer" + input.substr(dot);
  std::string unused;
  // A type the tool reads but does not write (.aifc, .caf...): WAV instead.
  return CanWriteAudioTo(output, &unused) ? output : input.substr(0, dot) + "-veneer.wav";
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
  std::error_code failure;
  std::error_code unknown;  // a name that does not exist yet is the usual case
  if (const fs::file_status status = fs::status(path, unknown); fs::exists(status) && !fs::is_regular_file(status)) {
    *error = path + (fs::is_directory(status) ? " is a folder" : " is not a regular file") + ": give a file name";
    return false;
  }
  const std::filesystem::path parent = std::filesystem::path(path).parent_path();
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
