// `vantor fetch URL [-o FILE] [--method M] [--header 'Name: value']...`:
// one HTTP(S) request through the library's URL session, the body to a file
// or to standard output, a progress line on a terminal.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <future>
#include <iostream>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/platform/URLError.h"
#include "vantorcore/platform/URLSession.h"

namespace vantor {
namespace {

constexpr char kUsage[] =
    "usage: vantor fetch URL [-o FILE] [--method M] [--header 'Name: value']... [--data TEXT]\n\n"
    "Sends one request (redirects followed, gzip/br/zstd decoded, the proxy\n"
    "environment and the system's certificate authorities honoured) and writes\n"
    "the body to FILE (replacing it) or to standard output, whatever the HTTP\n"
    "status; the status goes to standard error. On a terminal a progress line\n"
    "is shown. A failed transfer exits 1 with its NSURLErrorDomain code and text.";

const Command& self() {
  static const Command command{"fetch", "", kUsage, nullptr};
  return command;
}

struct Options {
  std::string url;
  std::optional<std::string> output;
  std::string method = "GET";
  std::vector<std::string> headers;
  std::optional<std::string> data;
};

std::optional<std::string> parse(Arguments args, Options& options) {
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    const bool hasValue = i + 1 < args.size();
    if ((a == "-o" || a == "--output") && hasValue) {
      options.output = args[++i];
    } else if (a == "--method" && hasValue) {
      options.method = args[++i];
    } else if (a == "--header" && hasValue) {
      options.headers.push_back(args[++i]);
      if (options.headers.back().find(':') == std::string::npos) return "a header is 'Name: value'";
    } else if (a == "--data" && hasValue) {
      options.data = args[++i];
    } else if (a.starts_with("-") || !options.url.empty()) {
      return "unexpected argument '" + a + "'";
    } else {
      options.url = a;
    }
  }
  if (options.url.empty()) return std::string("a URL is needed");
  return std::nullopt;
}

std::string progressLine(std::int64_t received, std::int64_t expected) {
  std::string line = "\r" + std::to_string(received) + " bytes";
  if (expected > 0) {
    line +=
        " of " + std::to_string(expected) + " (" + std::to_string(received * 100 / expected) + "%)";
  }
  return line + "   ";
}

bool copyToStandardOutput(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<char> buffer(1 << 20);
  while (in) {
    in.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
    if (!writeOut(std::string_view(buffer.data(), static_cast<std::size_t>(in.gcount()))))
      return false;
  }
  return true;
}

int run(Arguments args) {
  Options options;
  if (const auto problem = parse(args, options)) return usageError(self(), *problem);
  const auto url = lx::URL::URLWithString(lx::fromUTF8(options.url));
  if (!url) {
    return fail("fetch",
                "error " + std::to_string(lx::NSURLErrorBadURL) + ": " +
                    lx::toUTF8(lx::localizedDescriptionForURLErrorCode(lx::NSURLErrorBadURL)));
  }
  lx::URLRequest request(*url);
  request.setHTTPMethod(lx::fromUTF8(options.method));
  if (options.data) request.setHTTPBody(lx::dataFromBytes(*options.data));
  for (const std::string& header : options.headers) {
    const auto colon = header.find(':');
    const auto start = header.find_first_not_of(' ', colon + 1);
    request.setValue(lx::fromUTF8(start == std::string::npos ? "" : header.substr(start)),
                     lx::fromUTF8(header.substr(0, colon)));
  }

  // The handler runs on the session's queue; it moves the file to the
  // output before the session removes what is left of the temporary.
  std::promise<int> finished;
  const bool showProgress = isatty(STDERR_FILENO);
  const char* const endProgress = showProgress ? "\n" : "";
  auto task = lx::URLSession::sharedSession()->downloadTaskWithRequest(
      request, [&](std::optional<lx::URL> location, auto response, lx::ErrorPtr error) {
        if (error) {
          std::cerr << endProgress << "vantor fetch: error " << error->code() << " ("
                    << lx::toUTF8(error->domain())
                    << "): " << lx::toUTF8(error->localizedDescription()) << std::endl;
          finished.set_value(1);
          return;
        }
        std::cerr << endProgress << response->statusCode() << " "
                  << lx::toUTF8(
                         lx::HTTPURLResponse::localizedStringForStatusCode(response->statusCode()))
                  << std::endl;
        const std::string path = lx::toUTF8(location->path());
        if (options.output) {
          std::error_code ec;
          std::filesystem::rename(path, *options.output, ec);
          if (ec)
            std::filesystem::copy_file(path, *options.output,
                                       std::filesystem::copy_options::overwrite_existing, ec);
          if (ec) {
            std::cerr << "vantor fetch: cannot write " << *options.output << ": " << ec.message()
                      << std::endl;
            finished.set_value(1);
            return;
          }
        } else if (!copyToStandardOutput(path)) {
          finished.set_value(1);
          return;
        }
        finished.set_value(0);
      });
  task->resume();
  auto result = finished.get_future();
  while (result.wait_for(std::chrono::milliseconds(200)) != std::future_status::ready) {
    if (showProgress) {
      std::cerr << progressLine(task->countOfBytesReceived(), task->countOfBytesExpectedToReceive())
                << std::flush;
    }
  }
  return result.get();
}

}  // namespace

VANTOR_COMMAND("fetch", "an HTTP(S) request through the library's URL session", kUsage, run);

}  // namespace vantor
