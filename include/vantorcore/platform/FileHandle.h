// `FileHandle`: a file descriptor with blocking reads and writes and a
// readability handler served by the dispatch engine, for pipes, terminals,
// sockets and files.
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/Error.h"

namespace LX_API lx {

class FileHandle : public std::enable_shared_from_this<FileHandle> {
  struct Key {};

 public:
  /// Called on a dispatch-engine thread each time the descriptor has data
  /// (or end of file) to read; calls never overlap. The handler is expected
  /// to read (`availableData`), or it is called again at once.
  using ReadabilityHandler = std::function<void(FileHandle& handle)>;

  /// The process's standard input, output and error (descriptors 0, 1, 2),
  /// never closed by the handle.
  static std::shared_ptr<FileHandle> standardInput();
  /// Handles on the process's standard output and error; they are never closed.
  ///@{
  static std::shared_ptr<FileHandle> standardOutput();
  static std::shared_ptr<FileHandle> standardError();
  ///@}
  /// Wraps `descriptor`; with `closeOnDealloc` the handle closes it when it
  /// goes away.
  static std::shared_ptr<FileHandle> make(int descriptor, bool closeOnDealloc);

  /// Made by the factory functions above; the key keeps the constructor private to them.
  FileHandle(Key, int descriptor, bool closeOnDealloc);
  ~FileHandle();

  /// The file descriptor; after `closeFile` it is closed but keeps its number.
  [[nodiscard]] int fileDescriptor() const noexcept { return descriptor_; }

  /// Installs `handler`, or removes the current one when null. Once this
  /// returns, no call of the old handler starts and one running on another
  /// thread has finished (a handler may remove itself). The descriptor
  /// keeps its blocking mode; a regular file counts as always readable.
  /// Any thread.
  void setReadabilityHandler(ReadabilityHandler handler);

  /// The bytes available now, waiting for at least one; empty at end of file
  /// or on a read error (then `error` says which).
  Data availableData(ErrorPtr* error = nullptr);
  /// Appends what is available now (up to `maximum` bytes) to `buffer`,
  /// waiting for at least one; the count appended, 0 at end of file, -1 on
  /// a read error. Lets a reader fill its own buffer without a copy.
  std::ptrdiff_t readAvailable(Data& buffer, std::size_t maximum, ErrorPtr* error = nullptr);
  /// Everything up to end of file.
  Data readDataToEndOfFile(ErrorPtr* error = nullptr);
  /// Writes all of `data`, retrying short writes and waiting out EAGAIN.
  /// False with an error in `NSPOSIXErrorDomain` when the system refuses
  /// (EPIPE for a reader that went away). The first write of the process
  /// sets SIGPIPE to be ignored, unless the host installed a disposition of
  /// its own. Thread-safe: writes from several threads do not interleave.
  bool writeData(DataView data, ErrorPtr* error = nullptr);
  /// Closes the descriptor (once); the readability handler is removed first.
  void closeFile();

  struct Watcher;

 private:
  int descriptor_;
  bool closeOnDealloc_;
  std::mutex writeMutex_;
  std::mutex watcherMutex_;  // guards the two below
  std::shared_ptr<Watcher> watcher_;
  bool closed_ = false;
};

}  // namespace lx
