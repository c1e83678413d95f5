#include "SupportFacts.h"

#include <chrono>
#include <optional>
#include <vector>

#include "FileAccess.h"
#include "Heartbeat.h"
#include "SupportFolder.h"
#include "shell/LogTexts.h"

namespace veneerview {
namespace {

namespace logtext = veneer::logtext;

// Enough of the debug log for the last creation attempt: a few hundred lines.
constexpr std::size_t kLogTail = std::size_t{32} * 1024;

bool Holds(std::string_view line, std::string_view text) { return line.find(text) != std::string_view::npos; }

// A line that tells that a creation failed, or why.
bool FailureLine(std::string_view line) {
  return Holds(line, "CreateInnerUnit FAIL") || Holds(line, logtext::kCreateFailed) ||
         Holds(line, logtext::kInitializeEnsureFailed) || Holds(line, logtext::kFormatChangeEnsureFailed);
}

// A line that begins an attempt, or ends one well.
bool AttemptLine(std::string_view line) {
  return Holds(line, logtext::kInitializeCalled) || Holds(line, logtext::kCreateOnMainThread) ||
         Holds(line, logtext::kCreated) || Holds(line, logtext::kReusingRetired) ||
         Holds(line, logtext::kCleanupCalled);
}

// Without the "[HH:MM:SS] " stamp.
std::string_view Message(std::string_view line) {
  if (!line.empty() && line.front() == '[') {
    if (const size_t end = line.find("] "); end <= 9) {
      line.remove_prefix(end + 2);
    }
  }
  return line;
}

std::vector<std::string_view> Lines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const size_t end = text.find('\n');
    lines.push_back(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return lines;
}

CompanionFiles CompanionFrom(companion::Heartbeat verdict) {
  switch (verdict) {
    case companion::Heartbeat::kFresh:
      return CompanionFiles::kRunning;
    case companion::Heartbeat::kQuitMarker:
      return CompanionFiles::kQuit;
    case companion::Heartbeat::kMissing:
    case companion::Heartbeat::kStale:
      break;
  }
  return CompanionFiles::kGone;
}

}  // namespace

Creation CreationFromLog(std::string_view log, std::string* detail) {
  const std::vector<std::string_view> lines = Lines(log);
  // The last attempt's failure lines, read back to the line that began it.
  std::optional<std::string_view> cause;
  bool noProduct = false;
  for (size_t i = lines.size(); i-- > 0;) {
    const std::string_view line = lines[i];
    if (FailureLine(line)) {
      noProduct = noProduct || Holds(line, logtext::kNoVariant);
      if (Holds(line, "CreateInnerUnit FAIL") || !cause) {
        cause = Message(line);  // the earliest says why
      }
    } else if (AttemptLine(line)) {
      break;
    }
  }
  if (!cause) {
    return Creation::kStarting;
  }
  if (noProduct) {
    return Creation::kNoProduct;
  }
  if (detail != nullptr) {
    *detail = std::string(*cause);
  }
  return Creation::kFailed;
}

SupportFacts ReadSupportFacts(std::time_t now) {
  SupportFacts facts;
  std::string error;
  const std::optional<companion::SupportFolder> folder = companion::SupportFolder::Locate(std::nullopt, &error);
  if (!folder) {
    return facts;  // no HOME: Veneer has no support folder either
  }
  facts.companion = CompanionFrom(companion::ReadHeartbeat(*folder, now).verdict);
  if (const std::optional<std::string> log = companion::ReadFileTail(folder->File(companion::kDebugLog), kLogTail)) {
    facts.creation = CreationFromLog(*log, &facts.creationDetail);
  }
  return facts;
}

SupportWatch::SupportWatch() : thread_([this] { Run(); }) {}

SupportWatch::~SupportWatch() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  thread_.join();
}

SupportFacts SupportWatch::Latest(const SupportFacts& previous) {
  const std::unique_lock lock(mutex_, std::try_to_lock);
  if (!lock.owns_lock() || !read_) {
    return previous;
  }
  return latest_;
}

void SupportWatch::Run() {
  std::unique_lock lock(mutex_);
  while (!stopping_) {
    lock.unlock();
    SupportFacts facts = ReadSupportFacts(std::time(nullptr));
    lock.lock();
    latest_ = std::move(facts);
    read_ = true;
    wake_.wait_for(lock, std::chrono::milliseconds(500), [this] { return stopping_; });
  }
}

}  // namespace veneerview
