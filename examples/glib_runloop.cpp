// Driving the library's main run loop from a GLib main loop.
//
// A GLib (GTK) application owns its main loop; the library's main thread
// work (main-queue closures, run-loop timers, cross-thread calls, message
// queue deliveries) waits in `RunLoop::main()`. The run loop exposes one
// descriptor that becomes readable whenever it has something to do; GLib
// watches it and runs one non-blocking pass each time.
#include <glib-unix.h>
#include <glib.h>

#include <cstdio>
#include <thread>

#include "vantorcore/concurrency/LXMessageQueue.h"
#include "vantorcore/platform/DispatchQueue.h"
#include "vantorcore/platform/RunLoop.h"
#include "vantorcore/platform/Timer.h"

namespace {

gboolean runLibraryPass(gint, GIOCondition, gpointer) {
  lx::RunLoop::main()->runMode(lx::DefaultRunLoopMode, lx::Date::distantPast());
  return G_SOURCE_CONTINUE;
}

}  // namespace

int main() {
  GMainLoop* glibLoop = g_main_loop_new(nullptr, FALSE);
  g_unix_fd_add(lx::RunLoop::main()->pollDescriptor(), G_IO_IN, runLibraryPass, nullptr);

  // Library work that needs the main run loop, from several directions.
  int ticks = 0;
  auto timer = lx::Timer::scheduled(0.05, true, [&](lx::Timer& t) {
    std::printf("run-loop timer tick %d\n", ++ticks);
    if (ticks == 3) t.invalidate();
  });

  auto queue = lx::LXMessageQueue::messageQueue();  // delivers on the main thread
  std::thread([queue] {
    for (int i = 0; i < 5; ++i) {
      queue->enqueueMessageWithName(u"progress", nullptr, lx::LXMessageCoalesceByName,
                                    [i] { std::printf("progress message %d (latest wins)\n", i); });
    }
    lx::DispatchQueue::main()->asyncAfter(
        0.5, [] { std::printf("main-queue closure from a background thread; quitting\n"); });
  }).detach();

  g_timeout_add(
      700,
      [](gpointer loop) -> gboolean {
        g_main_loop_quit(static_cast<GMainLoop*>(loop));
        return G_SOURCE_REMOVE;
      },
      glibLoop);

  g_main_loop_run(glibLoop);
  g_main_loop_unref(glibLoop);
  return ticks == 3 ? 0 : 1;
}
