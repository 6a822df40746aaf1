// `vantor defaults read|write|delete|watch SUITE [KEY] [VALUE]`: a
// preferences suite from the shell, values as JSON.
#include <condition_variable>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <optional>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/platform/JSON.h"
#include "vantorcore/platform/PropertyList.h"
#include "vantorcore/platform/UserDefaults.h"

namespace {

constexpr char kUsage[] =
    "usage: vantor defaults read SUITE [KEY]\n"
    "       vantor defaults write SUITE KEY VALUE\n"
    "       vantor defaults delete SUITE [KEY]\n"
    "       vantor defaults watch [--count N] SUITE [KEY]\n\n"
    "SUITE names the file <config>/SUITE.plist ($XDG_CONFIG_HOME or ~/.config).\n"
    "Values are JSON: write 42, true, '\"text\"', '[1,2]' or '{\"a\":1}'.\n"
    "  read    prints the value of KEY, or the whole suite, as JSON (data and\n"
    "          dates, which JSON cannot hold, in property-list style)\n"
    "  write   stores VALUE under KEY (null is refused: use delete)\n"
    "  delete  removes KEY, or every key of the suite\n"
    "  watch   prints 'KEY = VALUE' or 'KEY deleted' for each change, as it\n"
    "          happens, including changes made by other processes; after\n"
    "          'watching PATH' on standard error it is ready. It runs until\n"
    "          interrupted, or until N changes with --count.\n"
    "Exit status: 0 on success, 1 when KEY has no value or VALUE cannot be\n"
    "stored, 2 for a usage error.";

const vantor::Command kSelf{"defaults", "", kUsage, nullptr};

std::string render(const lx::Value& value) {
  const auto json = lx::JSONSerialization::stringWithJSONObject(
      value, lx::JSONWritingFragmentsAllowed | lx::JSONWritingSortedKeys |
                 lx::JSONWritingWithoutEscapingSlashes);
  return json ? *json : lx::toUTF8(value.description());
}

int read(lx::UserDefaults& store, const std::optional<std::string>& key) {
  if (!key) {
    std::cout << render(lx::Value(store.dictionaryRepresentation())) << "\n";
    return 0;
  }
  const auto value = store.objectForKey(lx::fromUTF8(*key));
  if (!value) return vantor::fail("defaults", "no value for '" + *key + "'");
  std::cout << render(*value) << "\n";
  return 0;
}

int write(lx::UserDefaults& store, const std::string& key, const std::string& text) {
  lx::ErrorPtr error;
  const auto value =
      lx::JSONSerialization::JSONObjectWithData(text, lx::JSONReadingFragmentsAllowed, &error);
  if (!value) {
    return vantor::fail("defaults", "VALUE is not JSON (quote text: '\"" + text + "\"')");
  }
  if (value->isNull()) return vantor::fail("defaults", "null cannot be stored: use delete");
  if (!lx::PropertyList::write(*value, lx::PropertyList::Format::Binary)) {
    return vantor::fail("defaults", "VALUE holds a null, which preferences cannot store");
  }
  store.setObject(*value, lx::fromUTF8(key));
  return 0;
}

int erase(lx::UserDefaults& store, const std::optional<std::string>& key) {
  if (!key) {
    for (const auto& [name, value] : store.dictionaryRepresentation()) {
      store.removeObjectForKey(name);
    }
    return 0;
  }
  if (!store.objectForKey(lx::fromUTF8(*key))) {
    return vantor::fail("defaults", "no value for '" + *key + "'");
  }
  store.removeObjectForKey(lx::fromUTF8(*key));
  return 0;
}

int watch(const std::shared_ptr<lx::UserDefaults>& store, const std::optional<std::string>& key,
          std::optional<long> count) {
  std::mutex mutex;
  std::condition_variable done;
  long seen = 0;
  auto print = [&](const lx::String& name, const std::optional<lx::Value>& value) {
    std::lock_guard lock(mutex);
    if (count && seen >= *count) return;
    std::cout << lx::toUTF8(name) << (value ? " = " + render(*value) : std::string(" deleted"))
              << std::endl;
    ++seen;
    done.notify_all();
  };
  auto token =
      key ? store->addObserver(lx::fromUTF8(*key), print) : store->addObserverForAllKeys(print);
  std::cerr << "vantor defaults: watching " << lx::toUTF8(store->path()) << std::endl;
  std::unique_lock lock(mutex);
  done.wait(lock, [&] { return count && seen >= *count; });
  return 0;
}

int run(vantor::Arguments args) {
  std::optional<long> count;
  std::vector<std::string> rest;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--count" && i + 1 < args.size()) {
      char* end = nullptr;
      count = std::strtol(args[++i].c_str(), &end, 10);
      if (!end || *end != '\0' || *count < 1) {
        return vantor::usageError(kSelf, "--count takes a positive number");
      }
    } else {
      rest.push_back(args[i]);
    }
  }
  if (rest.size() < 2) return vantor::usageError(kSelf, "read, write, delete or watch, and SUITE");
  const std::string& verb = rest[0];
  const auto store = lx::UserDefaults::suiteNamed(lx::fromUTF8(rest[1]));
  if (!store) return vantor::usageError(kSelf, "'" + rest[1] + "' cannot name a suite");
  const std::optional<std::string> key =
      rest.size() > 2 ? std::optional<std::string>(rest[2]) : std::nullopt;
  if (count && verb != "watch") return vantor::usageError(kSelf, "--count is for watch");
  if (verb == "write") {
    if (rest.size() != 4) return vantor::usageError(kSelf, "write takes SUITE KEY VALUE");
    return write(*store, rest[2], rest[3]);
  }
  if (rest.size() > 3) return vantor::usageError(kSelf, "too many arguments");
  if (verb == "read") return read(*store, key);
  if (verb == "delete") return erase(*store, key);
  if (verb == "watch") return watch(store, key, count);
  return vantor::usageError(kSelf, "unknown action '" + verb + "'");
}

}  // namespace

VANTOR_COMMAND("defaults", "read, write, delete or watch a preferences suite (values as JSON)",
               kUsage, run);
