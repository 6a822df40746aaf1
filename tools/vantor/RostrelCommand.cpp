// `vantor rostrel --base URL [--param KEY=VALUE]...`: runs the announcement
// request against a given server and prints what came back.
#include <iostream>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/platform/RunLoop.h"
#include "vantorcore/platform/Timer.h"
#include "vantorcore/web/LXRostrel.h"
#include "vantorcore/web/LXWebServer.h"

namespace vantor {
namespace {

constexpr char kUsage[] =
    "usage: vantor rostrel --base URL [--param KEY=VALUE]...\n\n"
    "Asks the announcement service at URL (scheme and host) for this program's\n"
    "announcement, with the parameters appended in order, and prints the query\n"
    "URL, then the response's URL, ID, action and button, or the error: code\n"
    "100 (already shown) and 101 (nothing to show) in LXErrorDomain exit 2,\n"
    "transport errors exit 1. The identifier is remembered in the\n"
    "\"rostrel.displayedID\" user default as for any host.";

const Command& self() {
  static const Command command{"rostrel", "", kUsage, nullptr};
  return command;
}

void printField(const char* name, const std::optional<lx::String>& value) {
  if (value) std::cout << name << ": " << lx::toUTF8(*value) << "\n";
}

int run(Arguments args) {
  std::optional<std::string> base;
  lx::Dictionary parameters;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--base" && i + 1 < args.size()) {
      base = args[++i];
    } else if (args[i] == "--param" && i + 1 < args.size()) {
      const std::string& pair = args[++i];
      const auto equals = pair.find('=');
      if (equals == std::string::npos) return usageError(self(), "a parameter is KEY=VALUE");
      parameters.set(lx::fromUTF8(pair.substr(0, equals)),
                     lx::Value(lx::fromUTF8(pair.substr(equals + 1))));
    } else {
      return usageError(self(), "unexpected argument '" + args[i] + "'");
    }
  }
  if (!base) return usageError(self(), "--base is needed");
  lx::LXSetWebServerBaseAddress(lx::fromUTF8(*base));
  if (const auto url = lx::LXRostrel::applicationRostrelURL()) {
    std::cout << "query: " << url->absoluteUTF8() << std::endl;
  }
  int status = -1;
  const auto loop = lx::RunLoop::current();
  auto rostrel = lx::LXRostrel::startRostrelRequestWithParameters(
      parameters, [&](std::shared_ptr<lx::LXRostrel> answer, lx::ErrorPtr error) {
        const auto url = answer->responseURL();
        printField("URL", url ? std::optional(url->absoluteString()) : std::nullopt);
        printField("ID", answer->responseID());
        printField("action", answer->responseAction());
        printField("buttonCaption", answer->buttonCaption());
        const auto button = answer->buttonURL();
        printField("buttonURL", button ? std::optional(button->absoluteString()) : std::nullopt);
        if (error) {
          std::cout << "error: " << error->code() << " (" << lx::toUTF8(error->domain()) << ")";
          if (error->domain() != lx::LXErrorDomain)
            std::cout << ": " << lx::toUTF8(error->localizedDescription());
          std::cout << "\n";
        }
        status = !error ? 0 : error->domain() == lx::LXErrorDomain ? 2 : 1;
        loop->stop();
      });
  // A timer that never fires gives the loop something to wait on, so it
  // sleeps until the answer is performed on it instead of spinning.
  const auto keepAlive = lx::Timer::make(lx::Date::distantFuture(), 0, false, [](lx::Timer&) {});
  loop->addTimer(keepAlive);
  while (status < 0) loop->runMode(lx::DefaultRunLoopMode, lx::Date::distantFuture());
  keepAlive->invalidate();
  std::cout << std::flush;
  return status;
}

}  // namespace

VANTOR_COMMAND("rostrel", "runs the announcement request against a given server", kUsage, run);

}  // namespace vantor
