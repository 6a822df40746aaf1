// Command URLs from arbitrary bytes: validation, argument extraction and
// handling with every reply status, through an opener that opens nothing.
// The name and arguments must agree between validation and handling, and
// replies must never throw for string results.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "vantorcore/interapp/Error+LXInterapplication.h"
#include "vantorcore/interapp/LXInterapplicationCoordinator.h"
#include "vantorcore/platform/Log.h"

namespace {

class DiscardingOpener : public lx::URLOpener {
 public:
  bool openURL(const lx::URL& url, lx::ErrorPtr*) override {
    if (!url.scheme()) std::abort();  // replies are absolute URLs
    return true;
  }
};

std::shared_ptr<lx::LXInterapplicationCoordinator> makeCoordinator() {
  auto coordinator =
      std::make_shared<lx::LXInterapplicationCoordinator>(std::make_shared<DiscardingOpener>());
  for (const std::int64_t status : {0, 1, -1, 7}) {
    coordinator->addCommandWithName(
        lx::fromUTF8("s" + std::to_string(status)), {},
        [status](const lx::String& name, const lx::Dictionary& arguments,
                 const lx::LXInterapplicationReplyHandler& reply) {
          reply(status, arguments, lx::lx_interapplicationErrorWithInvalidArgumentName(name));
        });
  }
  return coordinator;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto coordinator = makeCoordinator();
  static const auto discard = lx::setLogSink(lx::DiscardLogLines{});
  const auto url = lx::URL::URLWithString(
      lx::fromUTF8(std::string_view(reinterpret_cast<const char*>(data), size)));
  if (!url) return 0;
  std::optional<lx::String> command;
  std::optional<lx::Dictionary> arguments;
  const bool valid = coordinator->isValidInterapplicationURL(*url, &command, &arguments);
  if (valid && (!command || command->empty() || !arguments)) std::abort();
  if (arguments.has_value() != command.has_value()) std::abort();
  (void)coordinator->handleInterapplicationURL(*url);
  return 0;
}
