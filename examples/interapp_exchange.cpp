// An x-callback exchange between two processes: the caller opens
// "exnotes://sum?a=2&b=40&x-success=excaller://sum"; the session bus starts
// the notes host (this program with "serve"), whose coordinator runs the
// "sum" command and replies by opening "excaller://sum?sum=42", which the
// bus hands back to the waiting caller.
//
// usage: interapp_exchange install   registers both schemes (before the bus starts)
//        interapp_exchange           the caller (inside dbus-run-session)
//        interapp_exchange serve     the host, started by the bus
// The ctest runs it on a private bus with the XDG folders in a temporary folder.
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "vantorcore/interapp/LXInterapplicationCoordinator.h"
#include "vantorcore/platform/ApplicationURLReceiver.h"
#include "vantorcore/platform/GIOURLOpener.h"
#include "vantorcore/platform/RunLoop.h"
#include "vantorcore/platform/Timer.h"
#include "vantorcore/platform/URLSchemeHandlerRegistration.h"

namespace {

constexpr lx::StringView kHostID = u"org.vantorcore.Example.Notes";
constexpr lx::StringView kCallerID = u"org.vantorcore.Example.Caller";

// Runs the main run loop for at most `seconds`, or until something stops it.
void runFor(double seconds) {
  auto limit =
      lx::Timer::scheduled(seconds, false, [](lx::Timer&) { lx::RunLoop::main()->stop(); });
  lx::RunLoop::main()->run();
  limit->invalidate();
}

int install(const char* self) {
  const lx::String program = lx::fromUTF8(self);
  lx::ErrorPtr error;
  bool ok =
      lx::installURLSchemeHandler(
          {lx::String(kHostID), u"Example notes", {u"exnotes"}, {program, u"serve"}}, &error) &&
      lx::installURLSchemeHandler(
          {lx::String(kCallerID), u"Example caller", {u"excaller"}, {program}}, &error);
  if (!ok) std::fprintf(stderr, "install: %s\n", lx::toUTF8(error->localizedDescription()).c_str());
  return ok ? 0 : 1;
}

// The host: one command, "sum", replying with the sum of its "a" and "b".
int serve() {
  auto coordinator = std::make_shared<lx::LXInterapplicationCoordinator>();
  coordinator->setAllowedURLSchemes(std::vector<lx::String>{u"exnotes"});
  coordinator->addCommandWithName(
      u"sum", {},
      [](const lx::String&, const lx::Dictionary& arguments,
         const lx::LXInterapplicationReplyHandler& reply) {
        const auto sum = arguments[u"a"].int64Value() + arguments[u"b"].int64Value();
        reply(0, {{u"sum", lx::fromUTF8(std::to_string(sum))}}, nullptr);
      });
  auto receiver = lx::ApplicationURLReceiver::start(
      kHostID, {[&](const lx::String& text) {
                  auto url = lx::URL::URLWithString(text);
                  if (url && coordinator->isValidInterapplicationURL(*url))
                    coordinator->handleInterapplicationURL(*url);
                },
                nullptr, [] { lx::RunLoop::main()->stop(); }});
  if (!receiver) return 1;
  runFor(5);  // long enough to answer; the bus ends with the session anyway
  return 0;
}

// The caller: listens on its own scheme, opens the command URL, waits.
int call() {
  std::optional<std::string> reply;
  lx::ErrorPtr error;
  auto receiver = lx::ApplicationURLReceiver::start(kCallerID,
                                                    {[&](const lx::String& text) {
                                                       reply = lx::toUTF8(text);
                                                       lx::RunLoop::main()->stop();
                                                     },
                                                     nullptr, nullptr},
                                                    lx::DispatchQueue::main(), &error);
  auto url = lx::URL::URLWithString(u"exnotes://sum?a=2&b=40&x-success=excaller://sum");
  if (!receiver || !lx::GIOURLOpener().openURL(*url, &error)) {
    std::fprintf(stderr, "call: %s\n", lx::toUTF8(error->localizedDescription()).c_str());
    return 1;
  }
  runFor(20);
  std::printf("reply: %s\n", reply ? reply->c_str() : "(none)");
  return reply == "excaller://sum?sum=42" ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "install") == 0) return install(argv[0]);
  if (argc > 1 && std::strcmp(argv[1], "serve") == 0) return serve();
  return call();
}
