// `LXJSONRPCFileHandleListener`: a JSON-RPC listener on a pair of file
// handles, such as a child process's standard input and output or this
// process's own.
#pragma once

#include "vantorcore/Export.h"

#include <memory>

#include "vantorcore/jsonrpc/LXJSONRPCListener.h"
#include "vantorcore/platform/FileHandle.h"

namespace LX_API lx {

class LXJSONRPCFileHandleListener : public LXJSONRPCListener {
  LX_DECLARE_CLASS(LXJSONRPCFileHandleListener)
  struct Key {};

 public:
  /// Reads messages from `inputHandle` and writes to `outputHandle`.
  static std::shared_ptr<LXJSONRPCFileHandleListener> initWithInputHandle(
      std::shared_ptr<FileHandle> inputHandle, std::shared_ptr<FileHandle> outputHandle);
  /// On the process's standard input and standard output.
  static std::shared_ptr<LXJSONRPCFileHandleListener> initWithStandardInputOutput();
  /// Throws `InvalidArgumentException` ("Must be initialized using
  /// -initWithInputHandle:outputHandle:"): a listener needs its handles.
  static std::shared_ptr<LXJSONRPCFileHandleListener> init();

  /// Made by the factory above; the key keeps the constructor private to it.
  LXJSONRPCFileHandleListener(Key, std::shared_ptr<FileHandle> inputHandle,
                              std::shared_ptr<FileHandle> outputHandle);
  /// Stops watching the input handle when dropped while running.
  ~LXJSONRPCFileHandleListener() override;

  /// The handle messages are read from.
  [[nodiscard]] const std::shared_ptr<FileHandle>& inputHandle() const noexcept {
    return inputHandle_;
  }
  /// The handle messages are written to.
  [[nodiscard]] const std::shared_ptr<FileHandle>& outputHandle() const noexcept {
    return outputHandle_;
  }

 protected:
  /// Installs the readability handler: each chunk goes to `didReadData`,
  /// end of file to `didTerminateWithError` with no error.
  void didStart() override;
  /// Removes the readability handler.
  void willStop() override;
  /// Writes to the output handle.
  bool writeData(const Data& data, ErrorPtr* error) override;

 private:
  const std::shared_ptr<FileHandle> inputHandle_;
  const std::shared_ptr<FileHandle> outputHandle_;
};

}  // namespace lx
