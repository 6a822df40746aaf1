#include "vantorcore/platform/FileHandle.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "concurrency/ConcurrencyTestSupport.h"
#include "support/TestSupport.h"

namespace lx {
namespace {

using test::spinUntil;

struct Pipe {
  Pipe() {
    int fds[2];
    EXPECT_EQ(::pipe(fds), 0);
    reader = FileHandle::make(fds[0], true);
    writer = FileHandle::make(fds[1], true);
  }
  std::shared_ptr<FileHandle> reader, writer;
};

// Asio switches a watched descriptor to non-blocking mode; the handle must
// give it back, as standard input may be shared with other readers.
TEST(FileHandleReadability, DeliversEverythingInOrderWithoutOverlapThenEndOfFile) {
  Pipe pipe;
  std::vector<std::string> pieces;
  std::string written;
  for (int i = 0; i < 200; ++i) written += pieces.emplace_back("chunk " + std::to_string(i) + ";");
  std::string contents(600 * 1024, 'x');  // more than one read's worth
  auto path = test::makeTemporaryFolder("fh") / "contents.txt";
  test::writeFile(path, contents);
  struct Case {
    const char* name;
    std::shared_ptr<FileHandle> handle;
    std::string expected;
    std::function<void()> afterWatching;
  } cases[] = {
      {"pipe written while watched", pipe.reader, written,
       [&] {
         for (const auto& piece : pieces) ASSERT_TRUE(pipe.writer->writeData(dataFromBytes(piece)));
         pipe.writer->closeFile();
       }},
      {"regular file, always readable", FileHandle::make(::open(path.c_str(), O_RDONLY), true),
       contents, [] {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    // A handler that removed itself may still be finishing: its last act is
    // the one the test waits for, under the lock the test reads with.
    std::atomic<int> inside{0};
    std::atomic<bool> overlapped{false};
    std::mutex mutex;
    std::pair<std::string, bool> seen;  // bytes, end of file
    auto snapshot = [&] {
      std::lock_guard lock(mutex);
      return seen;
    };
    c.handle->setReadabilityHandler([&](FileHandle& handle) {
      if (inside++) overlapped = true;
      Data chunk = handle.availableData();
      if (chunk.empty()) handle.setReadabilityHandler(nullptr);
      --inside;
      std::lock_guard lock(mutex);
      seen.first.append(chunk.begin(), chunk.end());
      seen.second = seen.second || chunk.empty();
    });
    EXPECT_EQ(::fcntl(c.handle->fileDescriptor(), F_GETFL) & O_NONBLOCK, 0);
    c.afterWatching();
    ASSERT_TRUE(spinUntil([&] { return snapshot().second; }));
    EXPECT_EQ(snapshot().first, c.expected);
    EXPECT_FALSE(overlapped);
  }
}

// A watcher must not outlive its handle: with the reader gone no handler
// runs, and writing fails with the POSIX error.
TEST(FileHandleIO, WriteWithTheReaderGoneFailsWithEPIPE) {
  Pipe pipe;
  std::atomic<int> calls{0};
  pipe.reader->setReadabilityHandler([&](FileHandle& handle) {
    ++calls;
    handle.availableData();
  });
  pipe.reader.reset();
  ErrorPtr error;
  EXPECT_FALSE(pipe.writer->writeData(dataFromBytes("nobody listens"), &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), NSPOSIXErrorDomain);
  EXPECT_EQ(error->code(), EPIPE);
  EXPECT_EQ(calls, 0);
}

TEST(FileHandleIO, LargeWriteArrivesWholeThroughAppendingReads) {
  Pipe pipe;
  Data payload(3 * 1024 * 1024 + 7);
  for (std::size_t i = 0; i < payload.size(); ++i) payload[i] = static_cast<std::uint8_t>(i * 31);
  std::thread writer([&] {
    EXPECT_TRUE(pipe.writer->writeData(payload));
    pipe.writer->closeFile();
  });
  Data received = dataFromBytes("01");
  EXPECT_EQ(pipe.reader->readAvailable(received, 4), 4);  // appends, no more than asked
  Data rest = pipe.reader->readDataToEndOfFile();
  writer.join();
  EXPECT_EQ(pipe.reader->readAvailable(received, 100), 0);  // end of file
  received.insert(received.end(), rest.begin(), rest.end());
  ASSERT_EQ(received.size(), payload.size() + 2);
  EXPECT_EQ(asStringView(received).substr(0, 2), "01");
  EXPECT_TRUE(std::equal(payload.begin(), payload.end(), received.begin() + 2));
}

}  // namespace
}  // namespace lx
