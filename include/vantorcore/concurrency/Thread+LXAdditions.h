// Thread naming under the library's reverse-domain prefix, starting threads
// with a future, and running closures on a given thread.
//
// Names: a thread named "worker" is recorded as "com.vantor.worker" (the
// platform name, at most 63 UTF-8 bytes, cut before a partial character)
// and read back as "worker". Linux gives the kernel only 15 bytes, and the
// prefix alone would take 11 of them, so the kernel (ps, top, gdb) gets the
// first 15 bytes of the part after the prefix: "com.vantor.transcript-log"
// shows as "transcript-log".
#pragma once

#include "vantorcore/Export.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "vantorcore/concurrency/LXThreadFuture.h"
#include "vantorcore/platform/Thread.h"

namespace LX_API lx {

/// The reverse-domain prefix of every name set through these functions.
inline constexpr StringView LXThreadNamePrefix = u"com.vantor.";

/// Names `thread` prefix + `name` (just the prefix for an empty name). The
/// record changes at once; the kernel name is applied on the thread itself,
/// at once when it is the calling thread, else through its run loop (not
/// waiting), since the kernel only lets a thread name itself.
void lx_setName(const std::shared_ptr<Thread>& thread, StringView name);
/// Records `name` as `thread`'s platform name (63 bytes at most, no partial
/// character) and, on the calling thread, gives the kernel its most useful
/// 15 bytes (see above).
void pthread_setname_np(Thread& thread, StringView name);
/// `thread`'s platform name without the prefix; a name set some other way
/// comes back unchanged:
///   "com.vantor.worker" => "worker"    "com.vantor." => ""    "gmain" => "gmain"
String lx_name(const Thread& thread);

/// Starts a thread that hands itself to the returned future and then calls
/// the method named `selector` of `target` with no argument. `object` is
/// kept alive until the thread has started but is not passed. Returns at once.
std::shared_ptr<LXThreadFuture> lx_detachNewThreadSelector(std::string selector,
                                                           std::shared_ptr<Object> target,
                                                           Value object,
                                                           std::optional<String> name);
/// The closure form: runs `body` on the new thread.
std::shared_ptr<LXThreadFuture> lx_detachNewThread(std::function<void()> body,
                                                   std::optional<String> name);
/// The new thread's side of `lx_detachNewThreadSelector`: gives the current
/// thread to `future`, then calls `selector` on `receiver` with no argument.
void lx_beginThreadWithFuture(const std::shared_ptr<Object>& receiver,
                              const std::shared_ptr<LXThreadFuture>& future,
                              const std::string& selector, const Value& object);

/// Runs `block` on `thread` through its run loop in the common modes, not
/// waiting. Dropped when the thread has exited.
void lx_performAsyncBlock(const std::shared_ptr<Thread>& thread, std::function<void()> block);
/// Runs `block` on `thread` and waits for it; on the calling thread it runs
/// at once, without the run loop. Returns without running it when the
/// thread has exited (never a hang).
void lx_performSyncBlock(const std::shared_ptr<Thread>& thread, std::function<void()> block);

}  // namespace lx
