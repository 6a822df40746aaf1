// A download with progress: a download task of an ephemeral URL session
// writes the body to a temporary file while the main thread shows how much
// has arrived; the completion handler moves the file next to the program's
// working folder before the session removes it.
//
// usage: download_with_progress URL [DESTINATION]
// The ctest serves a file from a temporary folder on a loopback port.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "vantorcore/platform/URLSession.h"
#include "vantorcore/platform/URLSessionTask.h"

namespace fs = std::filesystem;

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s URL [DESTINATION]\n", argv[0]);
    return 2;
  }
  auto url = lx::URL::URLWithString(lx::fromUTF8(argv[1]));
  if (!url) {
    std::fprintf(stderr, "not a URL: %s\n", argv[1]);
    return 2;
  }
  const fs::path destination = argc > 2 ? argv[2] : "download.bin";

  auto session = lx::URLSession::sessionWithConfiguration(
      lx::URLSessionConfiguration::ephemeralSessionConfiguration());
  std::atomic<bool> done{false};
  bool saved = false;
  // Runs on the session's delegate queue; the file is gone once it returns.
  auto task = session->downloadTaskWithURL(
      *url, [&](std::optional<lx::URL> location, std::shared_ptr<lx::HTTPURLResponse> response,
                lx::ErrorPtr error) {
        if (error) {
          std::fprintf(stderr, "failed: %s\n", lx::toUTF8(error->localizedDescription()).c_str());
        } else if (response && response->statusCode() != 200) {
          std::fprintf(stderr, "failed: HTTP status %d\n", response->statusCode());
        } else if (location) {
          std::error_code ec;
          fs::rename(lx::toUTF8(location->path()), destination, ec);
          if (ec)
            fs::copy_file(lx::toUTF8(location->path()), destination,
                          fs::copy_options::overwrite_existing, ec);
          saved = !ec;
        }
        done = true;
      });
  task->resume();

  // Progress, sampled from the main thread; the expected size is -1 until
  // the server has announced it.
  while (!done) {
    const auto received = task->countOfBytesReceived();
    const auto expected = task->countOfBytesExpectedToReceive();
    if (expected > 0) {
      std::printf("\r%lld of %lld bytes (%3lld%%)", static_cast<long long>(received),
                  static_cast<long long>(expected),
                  static_cast<long long>(received * 100 / expected));
    } else {
      std::printf("\r%lld bytes", static_cast<long long>(received));
    }
    std::fflush(stdout);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  std::printf("\r%lld bytes received\n", static_cast<long long>(task->countOfBytesReceived()));
  session->invalidateAndCancel();
  if (!saved) return 1;
  std::printf("saved %s (%llu bytes)\n", destination.c_str(),
              static_cast<unsigned long long>(fs::file_size(destination)));
  return 0;
}
