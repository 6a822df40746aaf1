// Observation: what a key-value change costs against a plain std::function
// call, and how long a preference change takes to reach its observer, from
// this process and from another one through the file watch.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <string>

#include "../tests/support/ObservationSupport.h"
#include "vantorcore/observation/LXKVONotificationCenter.h"
#include "vantorcore/platform/String+Paths.h"
#include "vantorcore/platform/UserDefaults.h"

namespace {

using namespace lx;

using test::Model;

struct Counter : KeyValueObserver {
  std::int64_t calls = 0;
  void observeValueForKeyPath(const String&, Object&, const Dictionary&, void*) override {
    ++calls;
  }
};

class Listener : public Object {};

// The baseline: a closure called with the new value.
void BM_StdFunctionCall(benchmark::State& state) {
  std::int64_t calls = 0;
  std::function<void(const Value&)> observer = [&](const Value&) { ++calls; };
  benchmark::DoNotOptimize(observer);
  std::int64_t i = 0;
  for (auto _ : state) observer(Value(++i));
  benchmark::DoNotOptimize(calls);
}
BENCHMARK(BM_StdFunctionCall);

// One change of an observed key, with the given options, to one observer.
void BM_KVOChangeToObserver(benchmark::State& state) {
  auto model = std::make_shared<Model>();
  auto counter = std::make_shared<Counter>();
  model->addObserver(counter, u"title", static_cast<unsigned>(state.range(0)));
  std::int64_t i = 0;
  for (auto _ : state) model->set(u"title", Value(++i));
  if (counter->calls != static_cast<std::int64_t>(state.iterations())) state.SkipWithError("lost");
}
BENCHMARK(BM_KVOChangeToObserver)
    ->Arg(0)
    ->Arg(KeyValueObservingOptionNew | KeyValueObservingOptionOld);

// The same through the notification centre: a registration object, a weak
// observer and a closure.
void BM_KVOChangeThroughCenter(benchmark::State& state) {
  LXKVONotificationCenter center;
  auto model = std::make_shared<Model>();
  auto listener = std::make_shared<Listener>();
  std::int64_t calls = 0;
  center.addObserver(
      listener, model, u"title",
      [&](const String&, const ObjectPtr&, const Dictionary&, const Value&) { ++calls; });
  std::int64_t i = 0;
  for (auto _ : state) model->set(u"title", Value(++i));
  benchmark::DoNotOptimize(calls);
}
BENCHMARK(BM_KVOChangeThroughCenter);

// A change at the end of a dotted path of the given depth.
void BM_KVOChangeAtKeyPathDepth(benchmark::State& state) {
  const auto depth = state.range(0);
  std::vector<std::shared_ptr<Model>> models{std::make_shared<Model>()};
  String path;
  for (std::int64_t d = 1; d < depth; ++d) {
    models.push_back(std::make_shared<Model>());
    models[d - 1]->set(u"child", Value(models[d]));
    path += u"child.";
  }
  path += u"title";
  auto counter = std::make_shared<Counter>();
  models[0]->addObserver(counter, path, KeyValueObservingOptionNew);
  std::int64_t i = 0;
  for (auto _ : state) models.back()->set(u"title", Value(++i));
  if (counter->calls != static_cast<std::int64_t>(state.iterations())) state.SkipWithError("lost");
}
BENCHMARK(BM_KVOChangeAtKeyPathDepth)->Arg(1)->Arg(3);

std::shared_ptr<UserDefaults> benchSuite(const char* name) {
  static const bool configured = [] {
    char folder[] = "/tmp/vantor-observation-bench-XXXXXX";
    if (::mkdtemp(folder)) ::setenv("XDG_CONFIG_HOME", folder, 1);
    return true;
  }();
  (void)configured;
  auto suite = UserDefaults::suiteNamed(fromUTF8(name));
  std::error_code ec;
  std::filesystem::remove(fileSystemRepresentation(suite->path()), ec);
  return suite;
}

// Waits for the observer to report a value.
struct Arrival {
  std::mutex mutex;
  std::condition_variable arrived;
  std::int64_t last = -1;
  std::chrono::steady_clock::time_point at;
  void take(std::int64_t value) {
    std::lock_guard lock(mutex);
    last = value;
    at = std::chrono::steady_clock::now();
    arrived.notify_all();
  }
  std::chrono::steady_clock::time_point waitFor(std::int64_t value) {
    std::unique_lock lock(mutex);
    arrived.wait(lock, [&] { return last == value; });
    return at;
  }
};

// In this process: setObject (file written under the lock) until the
// observer has the value.
void BM_PreferenceChangeToObserverInProcess(benchmark::State& state) {
  auto store = benchSuite("in-process");
  Arrival arrival;
  auto token = store->addObserver(u"volume", [&](const String&, const std::optional<Value>& v) {
    if (v) arrival.take(v->int64Value());
  });
  std::int64_t i = 0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    store->setObject(Value(++i), u"volume");
    state.SetIterationTime(std::chrono::duration<double>(arrival.waitFor(i) - start).count());
  }
}
BENCHMARK(BM_PreferenceChangeToObserverInProcess)->UseManualTime()->Unit(benchmark::kMicrosecond);

// Formats an integer with async-signal-safe code only (the child of fork).
std::size_t formatInteger(char* out, std::int64_t value) {
  char digits[24];
  std::size_t n = 0;
  do {
    digits[n++] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value);
  for (std::size_t k = 0; k < n; ++k) out[k] = digits[n - 1 - k];
  return n;
}

// A writer process that replaces the suite's file (temporary file, then
// rename) with each number it reads from `commands` until the parent closes
// `parentEnd`.
pid_t startWriter(const std::string& path, int commands, int parentEnd) {
  const pid_t pid = ::fork();
  if (pid != 0) return pid;
  ::close(parentEnd);  // or the end of input would never come
  const std::string temporary = path + ".writer";
  std::int64_t value;
  while (::read(commands, &value, sizeof value) == sizeof value) {
    char text[256] = "<plist version=\"1.0\"><dict><key>volume</key><integer>";
    std::size_t length = sizeof "<plist version=\"1.0\"><dict><key>volume</key><integer>" - 1;
    length += formatInteger(text + length, value);
    const char tail[] = "</integer></dict></plist>";
    for (char c : tail) text[length++] = c;
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0 || ::write(fd, text, length - 1) < 0) ::_exit(1);
    ::close(fd);
    if (::rename(temporary.c_str(), path.c_str()) != 0) ::_exit(1);
  }
  ::_exit(0);
}

// From another process: the writer replaces the file, the watch notices,
// waits out its coalescing delay, reloads and calls the observer.
void BM_PreferenceChangeFromAnotherProcess(benchmark::State& state) {
  auto store = benchSuite("other-process");
  store->setObject(Value(0), u"volume");
  Arrival arrival;
  auto token = store->addObserver(u"volume", [&](const String&, const std::optional<Value>& v) {
    if (v) arrival.take(v->int64Value());
  });
  int pipeEnds[2];
  if (::pipe(pipeEnds) != 0) return state.SkipWithError("pipe");
  const pid_t writer =
      startWriter(fileSystemRepresentation(store->path()), pipeEnds[0], pipeEnds[1]);
  ::close(pipeEnds[0]);
  std::int64_t i = 0;
  for (auto _ : state) {
    ++i;
    const auto start = std::chrono::steady_clock::now();
    if (::write(pipeEnds[1], &i, sizeof i) != sizeof i) return state.SkipWithError("writer");
    state.SetIterationTime(std::chrono::duration<double>(arrival.waitFor(i) - start).count());
  }
  ::close(pipeEnds[1]);
  ::waitpid(writer, nullptr, 0);
}
BENCHMARK(BM_PreferenceChangeFromAnotherProcess)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(100);

}  // namespace

BENCHMARK_MAIN();
