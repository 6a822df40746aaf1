#include "vantorcore/platform/FileHandle.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <mutex>
#include <string>
#include <thread>

#include "concurrency/ConcurrencyTestSupport.h"
#include "support/TestSupport.h"

namespace lx {
namespace {

using test::spinUntil;

// Both ends of a pipe, each owned by a handle that closes it.
struct Pipe {
  Pipe() {
    int fds[2];
    EXPECT_EQ(::pipe(fds), 0);
    reader = FileHandle::make(fds[0], true);
    writer = FileHandle::make(fds[1], true);
  }
  std::shared_ptr<FileHandle> reader;
  std::shared_ptr<FileHandle> writer;
};

// What a readability handler saw: the bytes, end of file, overlapping calls.
// A handler that removed itself may still be finishing when the test ends,
// so its last act is the one the test waits for, under the lock it reads with.
struct Reads {
  std::atomic<int> inside{0};
  std::atomic<bool> overlapped{false};

  FileHandle::ReadabilityHandler handler() {
    return [this](FileHandle& handle) {
      if (inside.fetch_add(1) != 0) overlapped = true;
      Data chunk = handle.availableData();
      if (chunk.empty()) handle.setReadabilityHandler(nullptr);
      inside.fetch_sub(1);
      std::lock_guard lock(mutex);
      bytes.append(chunk.begin(), chunk.end());
      endOfFile = endOfFile || chunk.empty();
    };
  }
  std::string received() {
    std::lock_guard lock(mutex);
    return bytes;
  }
  bool ended() {
    std::lock_guard lock(mutex);
    return endOfFile;
  }

 private:
  std::mutex mutex;
  std::string bytes;
  bool endOfFile = false;
};

TEST(FileHandleReadability, DeliversPipeDataInOrderWithoutOverlappingCalls) {
  Pipe pipe;
  Reads reads;
  pipe.reader->setReadabilityHandler(reads.handler());
  std::string expected;
  for (int i = 0; i < 200; ++i) {
    std::string piece = "chunk " + std::to_string(i) + ";";
    expected += piece;
    ASSERT_TRUE(pipe.writer->writeData(dataFromBytes(piece)));
  }
  ASSERT_TRUE(spinUntil([&] { return reads.received().size() == expected.size(); }));
  EXPECT_EQ(reads.received(), expected);
  EXPECT_FALSE(reads.overlapped);
  pipe.reader->setReadabilityHandler(nullptr);
}

TEST(FileHandleReadability, EndOfFileReadsEmpty) {
  Pipe pipe;
  Reads reads;
  pipe.reader->setReadabilityHandler(reads.handler());
  ASSERT_TRUE(pipe.writer->writeData(dataFromBytes("last words")));
  pipe.writer->closeFile();
  ASSERT_TRUE(spinUntil([&] { return reads.ended(); }));
  EXPECT_EQ(reads.received(), "last words");
}

// Asio switches a watched descriptor to non-blocking mode; the handle must
// give it back, as standard input may be shared with other readers.
TEST(FileHandleReadability, LeavesTheDescriptorBlocking) {
  Pipe pipe;
  Reads reads;
  pipe.reader->setReadabilityHandler(reads.handler());
  EXPECT_EQ(::fcntl(pipe.reader->fileDescriptor(), F_GETFL) & O_NONBLOCK, 0);
  pipe.reader->setReadabilityHandler(nullptr);
}

TEST(FileHandleReadability, RegularFileIsAlwaysReadable) {
  auto path = test::makeTemporaryFolder("fh") / "contents.txt";
  std::string contents(600 * 1024, 'x');  // more than one read's worth
  contents += "end";
  test::writeFile(path, contents);
  auto file = FileHandle::make(::open(path.c_str(), O_RDONLY), true);
  Reads reads;
  file->setReadabilityHandler(reads.handler());
  ASSERT_TRUE(spinUntil([&] { return reads.ended(); }));
  EXPECT_EQ(reads.received(), contents);
  EXPECT_FALSE(reads.overlapped);
}

TEST(FileHandleReadability, HandleDyingWhileWaitingIsHarmless) {
  int fds[2];
  ASSERT_EQ(::pipe(fds), 0);
  std::atomic<int> calls{0};
  {
    auto reader = FileHandle::make(fds[0], true);
    reader->setReadabilityHandler([&](FileHandle& handle) {
      ++calls;
      handle.availableData();
    });
  }
  // The watcher outlives nothing: writing now must reach no handler.
  auto writer = FileHandle::make(fds[1], true);
  EXPECT_FALSE(writer->writeData(dataFromBytes("x")));  // reader closed: EPIPE
  EXPECT_EQ(calls, 0);
}

TEST(FileHandleIO, WriteToClosedPipeFailsWithPOSIXError) {
  Pipe pipe;
  pipe.reader->closeFile();
  ErrorPtr error;
  EXPECT_FALSE(pipe.writer->writeData(dataFromBytes("nobody listens"), &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), NSPOSIXErrorDomain);
  EXPECT_EQ(error->code(), EPIPE);
}

TEST(FileHandleIO, LargeWritesArriveWhole) {
  Pipe pipe;
  Data payload(3 * 1024 * 1024 + 7);
  for (std::size_t i = 0; i < payload.size(); ++i) payload[i] = static_cast<std::uint8_t>(i * 31);
  std::thread writer([&] {
    EXPECT_TRUE(pipe.writer->writeData(payload));
    pipe.writer->closeFile();
  });
  Data received = pipe.reader->readDataToEndOfFile();
  writer.join();
  EXPECT_EQ(received, payload);
}

TEST(FileHandleIO, ReadAvailableAppendsAndReportsEndOfFile) {
  Pipe pipe;
  ASSERT_TRUE(pipe.writer->writeData(dataFromBytes("abcdef")));
  Data buffer = dataFromBytes("01");
  EXPECT_EQ(pipe.reader->readAvailable(buffer, 4), 4);
  EXPECT_EQ(asStringView(buffer), "01abcd");
  pipe.writer->closeFile();
  EXPECT_EQ(pipe.reader->readAvailable(buffer, 100), 2);
  EXPECT_EQ(pipe.reader->readAvailable(buffer, 100), 0);
  EXPECT_EQ(asStringView(buffer), "01abcdef");
}

}  // namespace
}  // namespace lx
