#include "transcript/TranscriptWork.h"

#include <algorithm>

#include "transcript/TranscriptFiles.h"

namespace lx::transcript {

void LineBatch::add(const String& path, std::string_view bytes) {
  if (path.empty()) return;
  // Two or three files are in play (the shared log and the session logs
  // being written), so a scan beats a map.
  auto file = std::find_if(files_.begin(), files_.end(),
                           [&](const auto& entry) { return entry.first == path; });
  if (file == files_.end()) file = files_.insert(files_.end(), {path, std::string()});
  file->second.append(bytes);
  bytes_ += bytes.size();
  if (bytes_ > kMaximumBytes) writeOut();
}

void LineBatch::writeOut() {
  for (const auto& [path, bytes] : files_) appendToFile(path, bytes);
  files_.clear();
  bytes_ = 0;
}

void WorkList::append(Work work) {
  std::lock_guard lock(mutex_);
  pending_.push_back(std::move(work));
  if (draining_) return;
  draining_ = true;
  queue_->async([this] { drain(); });
}

void WorkList::perform(std::function<void()> work) {
  append([work = std::move(work)](LineBatch& lines) {
    lines.writeOut();
    work();
  });
}

void WorkList::drain() {
  LineBatch lines;
  std::vector<Work> round;
  for (;;) {
    {
      std::lock_guard lock(mutex_);
      if (pending_.empty()) {
        draining_ = false;
        return;
      }
      round.swap(pending_);
    }
    // Each piece of work is dropped as soon as it has run, so what it holds
    // (a transcript, say) is released before anything queued after it runs.
    for (Work& work : round) std::exchange(work, nullptr)(lines);
    round.clear();
    lines.writeOut();
  }
}

}  // namespace lx::transcript
