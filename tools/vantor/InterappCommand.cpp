// `vantor interapp`: a host of interapplication commands on the session bus,
// a client that waits for the reply, and the files that register a host.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/interapp/Error+LXInterapplication.h"
#include "vantorcore/interapp/LXInterapplicationCoordinator.h"
#include "vantorcore/platform/ApplicationURLReceiver.h"
#include "vantorcore/platform/Date.h"
#include "vantorcore/platform/GIOURLOpener.h"
#include "vantorcore/platform/RunLoop.h"
#include "vantorcore/platform/Timer.h"
#include "vantorcore/platform/URLSchemeHandlerRegistration.h"

namespace {

constexpr char kUsage[] =
    "usage: vantor interapp install --scheme S [--id APP-ID]\n"
    "       vantor interapp uninstall --scheme S [--id APP-ID]\n"
    "       vantor interapp serve --scheme S [--id APP-ID] [--idle-exit SECONDS]\n"
    "       vantor interapp call --scheme S [--id APP-ID] [--timeout SECONDS] URL\n\n"
    "install writes the desktop file (x-scheme-handler/S, DBusActivatable) and\n"
    "the D-Bus service file that start `vantor interapp serve --scheme S` under\n"
    "$XDG_DATA_HOME; uninstall removes them. The application ID defaults to\n"
    "org.vantorcore.Interapp.<S>.\n\n"
    "serve hosts commands for URLs S://COMMAND?ARGUMENTS with x-callback-url\n"
    "replies (x-success, x-error, x-cancel):\n"
    "  echo            succeeds with its arguments (the x- ones left out)\n"
    "  sum             succeeds with sum = the total of its numeric arguments\n"
    "  fail            fails: argument NAME, reason REASON\n"
    "  slow            is cancelled after SECONDS (default 1)\n"
    "  quit            ends the host without replying\n"
    "Unknown commands get an x-error reply. The host ends when the session bus\n"
    "goes away or after --idle-exit seconds without a URL.\n\n"
    "call receives URLs for scheme S (which must be installed, for its\n"
    "replies), opens URL and prints the first URL it receives back. Exit\n"
    "status 1 when nothing comes back within --timeout seconds (default 10).";

const vantor::Command kSelf{"interapp", "", kUsage, nullptr};

struct Options {
  std::string action;
  std::string scheme;
  std::string applicationID;
  std::string url;
  double idleExit = 0;
  double timeout = 10;
};

// A bus name element from a scheme: "+" and "." are not allowed there.
std::string defaultApplicationID(std::string scheme) {
  for (char& c : scheme) {
    if (c == '+' || c == '.') c = '_';
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return "org.vantorcore.Interapp." + scheme;
}

std::optional<double> seconds(const std::string& text) {
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  if (end == text.c_str() || *end != '\0' || !(value >= 0)) return std::nullopt;
  return value;
}

std::optional<Options> parseArguments(vantor::Arguments args, std::string* problem) {
  Options options;
  if (args.empty()) {
    *problem = "which action?";
    return std::nullopt;
  }
  options.action = args[0];
  for (std::size_t i = 1; i < args.size(); ++i) {
    const std::string& flag = args[i];
    const bool hasValue = i + 1 < args.size();
    if (flag == "--scheme" && hasValue) {
      options.scheme = args[++i];
    } else if (flag == "--id" && hasValue) {
      options.applicationID = args[++i];
    } else if ((flag == "--idle-exit" || flag == "--timeout") && hasValue) {
      const auto value = seconds(args[++i]);
      if (!value) {
        *problem = flag + " wants a number of seconds";
        return std::nullopt;
      }
      (flag == "--timeout" ? options.timeout : options.idleExit) = *value;
    } else if (options.action == "call" && options.url.empty() && flag.rfind("--", 0) != 0) {
      options.url = flag;
    } else {
      *problem = "unexpected argument: " + flag;
      return std::nullopt;
    }
  }
  if (options.scheme.empty()) {
    *problem = "--scheme is required";
    return std::nullopt;
  }
  if (options.action == "call" && options.url.empty()) {
    *problem = "which URL?";
    return std::nullopt;
  }
  if (options.applicationID.empty()) options.applicationID = defaultApplicationID(options.scheme);
  return options;
}

int install(const Options& options) {
  const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
  lx::URLSchemeHandler handler{
      lx::fromUTF8(options.applicationID),
      lx::fromUTF8("vantor interapp (" + options.scheme + ")"),
      {lx::fromUTF8(options.scheme)},
      {lx::fromUTF8(self), u"interapp", u"serve", u"--scheme", lx::fromUTF8(options.scheme),
       u"--id", lx::fromUTF8(options.applicationID)}};
  lx::ErrorPtr error;
  if (!lx::installURLSchemeHandler(handler, &error))
    return vantor::fail("interapp", lx::toUTF8(error->localizedDescription()));
  for (const lx::String& path : lx::URLSchemeHandlerFilePaths(handler.applicationID))
    std::printf("%s\n", lx::toUTF8(path).c_str());
  return 0;
}

int uninstall(const Options& options) {
  lx::ErrorPtr error;
  if (!lx::removeURLSchemeHandler(lx::fromUTF8(options.applicationID), &error))
    return vantor::fail("interapp", lx::toUTF8(error->localizedDescription()));
  return 0;
}

lx::Dictionary withoutReplyURLs(const lx::Dictionary& arguments) {
  lx::Dictionary result;
  for (const auto& [key, value] : arguments)
    if (key.str().rfind(u"x-", 0) != 0) result.set(key.str(), value);
  return result;
}

void addHostCommands(lx::LXInterapplicationCoordinator& coordinator) {
  using lx::Dictionary;
  using lx::LXInterapplicationReplyHandler;
  using lx::String;
  coordinator.addCommandWithName(
      u"echo", {},
      [](const String&, const Dictionary& arguments, const LXInterapplicationReplyHandler& reply) {
        reply(0, withoutReplyURLs(arguments), nullptr);
      });
  coordinator.addCommandWithName(
      u"sum", {},
      [](const String&, const Dictionary& arguments, const LXInterapplicationReplyHandler& reply) {
        double total = 0;
        for (const auto& [key, value] : withoutReplyURLs(arguments)) {
          const auto number = seconds(lx::toUTF8(lx::stringOr(&value)));
          if (!number) {
            reply(1, {},
                  lx::lx_interapplicationErrorWithInvalidArgumentName(key.str(), u"not a number"));
            return;
          }
          total += *number;
        }
        char text[64];
        std::snprintf(text, sizeof text, "%.15g", total);
        reply(0, {{u"sum", lx::fromUTF8(text)}}, nullptr);
      });
  coordinator.addCommandWithName(
      u"fail", {},
      [](const String&, const Dictionary& arguments, const LXInterapplicationReplyHandler& reply) {
        const lx::Value* reason = arguments.find(u"reason");
        reply(1, {},
              lx::lx_interapplicationErrorWithInvalidArgumentName(
                  lx::stringOr(arguments.find(u"name"), u"fail"),
                  reason ? std::optional<lx::StringView>(*reason->asString()) : std::nullopt));
      });
  coordinator.addCommandWithName(
      u"slow", {},
      [](const String&, const Dictionary& arguments, const LXInterapplicationReplyHandler& reply) {
        const double delay =
            seconds(lx::toUTF8(lx::stringOr(arguments.find(u"seconds")))).value_or(1);
        lx::Timer::scheduled(delay, false, [reply](lx::Timer&) { reply(-1, {}, nullptr); });
      });
  coordinator.addCommandWithName(u"quit", {}, [](auto&&...) { std::_Exit(0); });
}

// Serves URLs until the bus goes away or the host has been idle too long.
int serve(const Options& options) {
  auto coordinator = std::make_shared<lx::LXInterapplicationCoordinator>();
  coordinator->setAllowedURLSchemes(std::vector<lx::String>{lx::fromUTF8(options.scheme)});
  addHostCommands(*coordinator);
  lx::Date lastActivity = lx::Date::now();
  const auto handleURI = [&](const lx::String& text) {
    lastActivity = lx::Date::now();
    const auto url = lx::URL::URLWithString(text);
    std::optional<lx::String> command;
    std::optional<lx::Dictionary> arguments;
    if (!url || !coordinator->isValidInterapplicationURL(*url, &command, &arguments)) {
      std::fprintf(stderr, "vantor interapp: ignoring “%s”: not a command URL\n",
                   lx::toUTF8(text).c_str());
      return;
    }
    if (!coordinator->handleInterapplicationURL(*url)) {
      coordinator->replyHandlerForArguments (*arguments)(
          1, {}, lx::lx_interapplicationErrorWithInvalidArgumentName(*command, u"no such command"));
    }
  };
  lx::ErrorPtr error;
  const auto receiver = lx::ApplicationURLReceiver::start(
      lx::fromUTF8(options.applicationID),
      {handleURI, [&] { lastActivity = lx::Date::now(); }, [] { lx::RunLoop::main()->stop(); }},
      lx::DispatchQueue::main(), &error);
  if (!receiver) return vantor::fail("interapp", lx::toUTF8(error->localizedDescription()));
  const auto idleCheck = lx::Timer::scheduled(0.25, true, [&](lx::Timer&) {
    if (options.idleExit > 0 &&
        lx::Date::now().timeIntervalSince1970() - lastActivity.timeIntervalSince1970() >
            options.idleExit)
      lx::RunLoop::main()->stop();
  });
  lx::RunLoop::main()->run();
  idleCheck->invalidate();
  return 0;
}

// Opens the URL and waits for whatever comes back to our own scheme.
int call(const Options& options) {
  std::optional<std::string> reply;
  lx::ErrorPtr error;
  const auto receiver =
      lx::ApplicationURLReceiver::start(lx::fromUTF8(options.applicationID),
                                        {[&](const lx::String& uri) {
                                           if (!reply) reply = lx::toUTF8(uri);
                                           lx::RunLoop::main()->stop();
                                         },
                                         nullptr, [] { lx::RunLoop::main()->stop(); }},
                                        lx::DispatchQueue::main(), &error);
  if (!receiver) return vantor::fail("interapp", lx::toUTF8(error->localizedDescription()));
  const auto url = lx::URL::URLWithString(lx::fromUTF8(options.url));
  if (!url || !url->scheme())
    return vantor::fail("interapp", "not an absolute URL: " + options.url);
  if (!lx::GIOURLOpener().openURL(*url, &error))
    return vantor::fail("interapp", lx::toUTF8(error->localizedDescription()));
  const auto timeout =
      lx::Timer::scheduled(options.timeout, false, [](lx::Timer&) { lx::RunLoop::main()->stop(); });
  lx::RunLoop::main()->run();
  timeout->invalidate();
  if (!reply) {
    char text[96];
    std::snprintf(text, sizeof text, "no reply within %g seconds", options.timeout);
    return vantor::fail("interapp", text);
  }
  std::printf("%s\n", reply->c_str());
  return 0;
}

int run(vantor::Arguments args) {
  std::string problem;
  const std::optional<Options> options = parseArguments(args, &problem);
  if (!options) return vantor::usageError(kSelf, problem);
  if (options->action == "install") return install(*options);
  if (options->action == "uninstall") return uninstall(*options);
  if (options->action == "serve") return serve(*options);
  if (options->action == "call") return call(*options);
  return vantor::usageError(kSelf, "unknown action: " + options->action);
}

}  // namespace

VANTOR_COMMAND("interapp", "Interapplication commands between processes over the session bus",
               kUsage, run);
