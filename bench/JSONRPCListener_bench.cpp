// LXJSONRPCFileHandleListener end to end: the shared LSP-style stream goes
// through a real pipe into a listener whose delegate, on a serial queue,
// counts the messages (b1) or, with --read-members, also reads the params or
// result of every message and walks every string and number in them (b2), as
// a real delegate and the peer reader do. Wall clock from `start` to the last
// message delivered; best of RUNS. Prints the same "BEST ..." line as the
// peer readers, so bench/jsonrpc_compare.sh can set the figures side by side.
//
// usage: JSONRPCListener_bench [--read-members] [STREAM] [RUNS=3]
//   STREAM defaults to $VANTOR_JSONRPC_STREAM, else to
//   <build>/jsonrpc/stream-200000.bin, made with gen_stream.py when missing.
//   Google Benchmark flags (--benchmark_*) are accepted and ignored.
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "vantorcore/jsonrpc/LXJSONRPCFileHandleListener.h"
#include "vantorcore/platform/JSON.h"

namespace {

using Clock = std::chrono::steady_clock;
namespace fs = std::filesystem;

constexpr std::size_t kWriteSize = 64 * 1024;
constexpr std::size_t kDefaultMessages = 200'000;
constexpr double kRunTimeoutSeconds = 300;

// Counts messages by type on the delegate queue and wakes the timer at the
// expected count.
// Every string's length and every number, so that no read can be skipped.
double walk(const lx::Value& value) {
  if (const lx::SharedString* text = value.asString()) return static_cast<double>(text->size());
  if (value.isNumber()) return value.doubleValue();
  double sum = 0;
  if (const lx::Array* array = value.asArray()) {
    for (const lx::Value& element : *array) sum += walk(element);
  } else if (const lx::Dictionary* dictionary = value.asDictionary()) {
    for (const auto& [key, member] : *dictionary)
      sum += static_cast<double>(key.size()) + walk(member);
  }
  return sum;
}

class Counter : public lx::LXJSONRPCListenerDelegate {
 public:
  Counter(std::size_t expected, bool readMembers)
      : expected_(expected), readMembers_(readMembers) {}

  void didReceiveMessage(lx::LXJSONRPCListener&,
                         const std::shared_ptr<lx::LXJSONRPCMessage>& message) override {
    if (readMembers_) {
      const auto members = message->messageType() == lx::LXJSONRPCMessageType::Response
                               ? message->result()
                               : message->parameters();
      if (members) checksum_ += walk(*members);
    }
    ++byType_[static_cast<std::size_t>(message->messageType())];
    if (++count_ == expected_) finish();
  }
  void didTerminateWithError(lx::LXJSONRPCListener&, const lx::ErrorPtr& error) override {
    if (error) {
      std::fprintf(stderr, "listener ended: %s\n",
                   lx::toUTF8(error->localizedDescription()).c_str());
    }
    finish();
  }

  // The moment the last message (or the end) came; nullopt on a time-out.
  std::optional<Clock::time_point> wait(double seconds) {
    std::unique_lock lock(mutex_);
    if (!done_.wait_for(lock, std::chrono::duration<double>(seconds), [&] { return finished_; })) {
      return std::nullopt;
    }
    return end_;
  }
  std::size_t count() const { return count_.load(); }
  std::size_t ofType(lx::LXJSONRPCMessageType type) const {
    return byType_[static_cast<std::size_t>(type)].load();
  }

 private:
  void finish() {
    std::lock_guard lock(mutex_);
    if (finished_) return;
    finished_ = true;
    end_ = Clock::now();
    done_.notify_all();
  }

  const std::size_t expected_;
  const bool readMembers_;
  double checksum_ = 0;  // on the serial delegate queue only
  std::atomic<std::size_t> count_{0};
  std::atomic<std::size_t> byType_[3]{};
  std::mutex mutex_;
  std::condition_variable done_;
  bool finished_ = false;
  Clock::time_point end_;
};

bool writeAll(int fd, const char* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t n = ::write(fd, bytes, size);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;  // the reader went away
    bytes += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

// Copies the file into the pipe in fixed-size writes, then closes the pipe.
void feed(const std::string& path, int pipeWrite) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  std::vector<char> block(kWriteSize);
  ssize_t n = 0;
  while (file >= 0 && (n = ::read(file, block.data(), block.size())) > 0) {
    if (!writeAll(pipeWrite, block.data(), static_cast<std::size_t>(n))) break;
  }
  if (file >= 0) ::close(file);
  ::close(pipeWrite);
}

struct Run {
  double seconds = 0;
  std::size_t count = 0;
  std::size_t requests = 0, notifications = 0, responses = 0;
};

std::optional<Run> oneRun(const std::string& path, std::size_t expected, bool readMembers) {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) return std::nullopt;
  const int sink = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  auto listener = lx::LXJSONRPCFileHandleListener::initWithInputHandle(
      lx::FileHandle::make(fds[0], true), lx::FileHandle::make(sink, true));
  auto counter = std::make_shared<Counter>(expected, readMembers);
  listener->setDelegateQueue(lx::DispatchQueue::makeSerial(u"bench.jsonrpc.delegate"));
  listener->setDelegate(counter);

  const auto begin = Clock::now();
  listener->start();
  std::thread writer(feed, path, fds[1]);
  const auto end = counter->wait(kRunTimeoutSeconds);
  listener->stop();
  // A listener that stopped early leaves the writer blocked on a full pipe.
  listener->inputHandle()->closeFile();
  writer.join();
  if (!end) return std::nullopt;
  using lx::LXJSONRPCMessageType;
  return Run{std::chrono::duration<double>(*end - begin).count(), counter->count(),
             counter->ofType(LXJSONRPCMessageType::Request),
             counter->ofType(LXJSONRPCMessageType::Notification),
             counter->ofType(LXJSONRPCMessageType::Response)};
}

// The stream's message count: from the statistics gen_stream.py writes
// beside it, else by parsing the stream once.
std::size_t countMessages(const std::string& path) {
  std::ifstream stats(path + ".stats.json", std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(stats)), std::istreambuf_iterator<char>());
  if (auto value = lx::JSONSerialization::JSONObjectWithData(text)) {
    if (const auto* object = value->asDictionary(); object && object->contains(u"messages")) {
      return static_cast<std::size_t>((*object)[u"messages"].uint64Value());
    }
  }
  std::ifstream in(path, std::ios::binary);
  const lx::Data bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::size_t count = 0;
  std::size_t offset = 0;
  for (std::size_t used = 0;; offset += used, ++count) {
    used = 0;
    const lx::DataView rest(bytes.data() + offset, bytes.size() - offset);
    if (!lx::LXJSONRPCMessage::messageWithData(rest, &used) || used == 0) break;
  }
  return count;
}

// The default stream, made once per build folder.
std::optional<std::string> defaultStream(const char* argv0) {
  const fs::path build = fs::weakly_canonical(fs::absolute(argv0)).parent_path().parent_path();
  const fs::path stream = build / "jsonrpc" / "stream-200000.bin";
  if (fs::exists(stream)) return stream.string();
  fs::create_directories(stream.parent_path());
  const std::string command = "python3 '" VANTOR_SHARED_DIR "/bench/jsonrpc/gen_stream.py' '" +
                              stream.string() + "' " + std::to_string(kDefaultMessages) +
                              " > /dev/null";
  std::fprintf(stderr, "generating %s\n", stream.c_str());
  if (std::system(command.c_str()) != 0 || !fs::exists(stream)) return std::nullopt;
  return stream.string();
}

}  // namespace

int main(int argc, char** argv) {
  ::signal(SIGPIPE, SIG_IGN);
  std::vector<std::string> args;
  bool readMembers = false;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--read-members") {
      readMembers = true;
    } else if (arg.rfind("--benchmark", 0) != 0) {
      args.push_back(arg);
    }
  }
  std::optional<std::string> stream;
  if (!args.empty()) {
    stream = args[0];
  } else if (const char* env = std::getenv("VANTOR_JSONRPC_STREAM"); env && *env) {
    stream = env;
  } else {
    stream = defaultStream(argv[0]);
  }
  if (!stream || !fs::exists(*stream)) {
    std::fprintf(stderr, "no stream file (set VANTOR_JSONRPC_STREAM or pass a path)\n");
    return 1;
  }
  const int runs = args.size() > 1 ? std::max(1, std::atoi(args[1].c_str())) : 3;
  const std::size_t expected = countMessages(*stream);
  const double megabytes = static_cast<double>(fs::file_size(*stream)) / 1e6;
  std::printf(
      "LXJSONRPCFileHandleListener over a pipe, file %s (%.1f MB, %zu messages), "
      "%zu-byte writes\n",
      stream->c_str(), megabytes, expected, kWriteSize);

  std::optional<Run> best;
  for (int i = 1; i <= runs; ++i) {
    const auto run = oneRun(*stream, expected, readMembers);
    if (!run) {
      std::printf("run %d: no result within %.0f s\n", i, kRunTimeoutSeconds);
      return 1;
    }
    std::printf(
        "run %d: %zu msgs (req %zu, notif %zu, resp %zu) in %.3f s -> %.1f MB/s, %.0f msgs/s\n", i,
        run->count, run->requests, run->notifications, run->responses, run->seconds,
        megabytes / run->seconds, static_cast<double>(run->count) / run->seconds);
    if (run->count != expected) std::printf("  WARNING: expected %zu messages\n", expected);
    if (!best || run->seconds < best->seconds) best = run;
  }
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  std::printf("BEST vantor-listener%s: %.1f MB/s, %.0f msgs/s, %.3f s; maxRSS %ld MiB\n",
              readMembers ? "+members" : "", megabytes / best->seconds,
              static_cast<double>(best->count) / best->seconds, best->seconds,
              usage.ru_maxrss / 1024);
  return best->count == expected ? 0 : 1;
}
