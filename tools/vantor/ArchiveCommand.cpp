// `vantor archive dump|read FILE` and `vantor archive keyed [-o FILE]
// [--xml]`: keyed archives shown as JSON or unarchived, and JSON written as a
// keyed archive.
#include <iostream>
#include <iterator>
#include <string>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/archiving/KeyedArchiveDescription.h"
#include "vantorcore/archiving/KeyedArchiver.h"
#include "vantorcore/archiving/KeyedUnarchiver.h"
#include "vantorcore/archiving/LXStateRestorationArchiveDescription.h"
#include "vantorcore/platform/FileIO.h"
#include "vantorcore/platform/JSON.h"
#include "vantorcore/platform/PropertyList.h"
#include "vantorcore/platform/ValueClasses.h"

namespace {

constexpr char kUsage[] =
    "usage: vantor archive dump FILE\n"
    "       vantor archive read FILE\n"
    "       vantor archive keyed [-o FILE] [--xml]\n"
    "\n"
    "dump prints the archive in FILE as JSON, a keyed archive or a state-restoration\n"
    "archive, told apart by content. Keyed archives: the object graph with each\n"
    "object's UID (\"$uid\") and class (\"$class\") the first time it appears and a\n"
    "reference (\"$ref\") after that; data as {\"$data\": base64}, dates as\n"
    "{\"$date\": seconds since 1970}, \"$null\" as null. State-restoration archives:\n"
    "the root's keys, each item with its identifier, kind and classes the first time\n"
    "and {\"ref\": identifier} after. Property lists of any other kind are refused.\n"
    "\n"
    "read unarchives FILE's root object (any registered class, no secure coding)\n"
    "and prints its class, with the member count of arrays and dictionaries.\n"
    "\n"
    "keyed reads one JSON document from standard input and writes a keyed archive\n"
    "of it (binary, or XML with --xml) to standard output or FILE: objects become\n"
    "dictionaries, arrays arrays, strings and numbers themselves, null \"$null\".\n"
    "\n"
    "Exit status: 0 on success, 1 for unreadable input or output, 2 for a usage error.";

const vantor::Command& self() {
  static const vantor::Command command{"archive", "", kUsage, nullptr};
  return command;
}

// The archive kinds `dump` recognises, tried in order on the property
// list's content. Another kind (its own top-level keys, its own
// description) is one more row.
struct ArchiveKind {
  const char* name;
  bool (*matches)(const lx::Value& propertyList);
  std::optional<lx::Value> (*describe)(const lx::Data& bytes, const lx::Value& propertyList,
                                       lx::ErrorPtr* error);
};

// A state-restoration archive: a dictionary whose "r" (the root item) and
// "o" (the entries by identifier) are dictionaries.
bool isStateRestorationArchive(const lx::Value& propertyList) {
  const lx::Dictionary* top = propertyList.asDictionary();
  return top && (*top)[u"r"].isDictionary() && (*top)[u"o"].isDictionary();
}

const ArchiveKind kArchiveKinds[] = {
    {"keyed archive", &lx::KeyedArchiveDescription::isKeyedArchive,
     [](const lx::Data&, const lx::Value& plist, lx::ErrorPtr* error) {
       return lx::KeyedArchiveDescription::describe(plist, error);
     }},
    {"state-restoration archive", &isStateRestorationArchive,
     [](const lx::Data& bytes, const lx::Value&, lx::ErrorPtr* error) {
       return lx::LXStateRestorationArchiveDescription(bytes, error);
     }},
};

int dump(const std::string& path) {
  lx::ErrorPtr error;
  const std::optional<lx::Data> bytes = lx::readFileContents(lx::fromUTF8(path), &error);
  const std::optional<lx::Value> plist =
      bytes ? lx::PropertyList::read(*bytes, &error) : std::nullopt;
  if (!plist) {
    return vantor::fail("archive", path + ": " + lx::toUTF8(error->localizedDescription()));
  }
  for (const ArchiveKind& kind : kArchiveKinds) {
    if (!kind.matches(*plist)) continue;
    const std::optional<lx::Value> description = kind.describe(*bytes, *plist, &error);
    const auto text =
        description
            ? lx::JSONSerialization::stringWithJSONObject(
                  *description,
                  lx::JSONWritingPrettyPrinted | lx::JSONWritingWithoutEscapingSlashes, &error)
            : std::nullopt;
    if (!text) {
      return vantor::fail("archive", path + ": cannot show this " + kind.name + ": " +
                                         lx::toUTF8(error->localizedDescription()));
    }
    return vantor::writeOut(*text + "\n") ? 0 : vantor::fail("archive", "cannot write output");
  }
  return vantor::fail(
      "archive",
      path + ": neither a keyed nor a state-restoration archive (a property list of another kind)");
}

int read(const std::string& path) {
  lx::ErrorPtr error;
  const std::optional<lx::Data> data = lx::readFileContents(lx::fromUTF8(path), &error);
  auto unarchiver = data ? lx::KeyedUnarchiver::initForReadingFromData(*data, &error) : nullptr;
  if (!unarchiver) {
    return vantor::fail("archive", path + ": " + lx::toUTF8(error->localizedDescription()));
  }
  unarchiver->setRequiresSecureCoding(false);
  const lx::Value root = unarchiver->decodeObject();
  if (unarchiver->error()) {
    return vantor::fail("archive",
                        path + ": " + lx::toUTF8(unarchiver->error()->localizedDescription()));
  }
  std::string line = lx::toUTF8(lx::ValueClasses::classOf(root).name());
  if (const lx::Array* items = root.asArray()) {
    line += " of " + std::to_string(items->size()) + " members";
  } else if (const lx::Dictionary* dict = root.asDictionary()) {
    line += " of " + std::to_string(dict->size()) + " members";
  }
  return vantor::writeOut(line + "\n") ? 0 : vantor::fail("archive", "cannot write output");
}

int keyed(vantor::Arguments args) {
  std::string output;
  lx::PropertyList::Format format = lx::PropertyList::Format::Binary;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "-o" && i + 1 < args.size()) {
      output = args[++i];
    } else if (args[i] == "--xml") {
      format = lx::PropertyList::Format::XML;
    } else {
      return vantor::usageError(self(), "unknown argument '" + args[i] + "'");
    }
  }
  std::vector<std::uint8_t> input;
  if (!vantor::readAll(0, input)) return vantor::fail("archive", "cannot read standard input");
  lx::ErrorPtr error;
  const auto value =
      lx::JSONSerialization::JSONObjectWithData(input, lx::JSONReadingFragmentsAllowed, &error);
  if (!value) return vantor::fail("archive", "standard input is not JSON");
  lx::KeyedArchiver archiver(false);
  archiver.setOutputFormat(format);
  archiver.encodeObject(*value);
  const std::optional<lx::Data>& data = archiver.encodedData();
  if (!data) {
    return vantor::fail("archive", lx::toUTF8(archiver.encodingError()->localizedDescription()));
  }
  if (output.empty()) {
    return vantor::writeOut(*data) ? 0 : vantor::fail("archive", "cannot write standard output");
  }
  if (!lx::writeFileAtomically(*data, lx::fromUTF8(output), 0644, &error)) {
    return vantor::fail("archive", output + ": " + lx::toUTF8(error->localizedDescription()));
  }
  return 0;
}

int run(vantor::Arguments args) {
  if (args.empty()) return vantor::usageError(self(), "dump or keyed?");
  if (args[0] == "dump") {
    if (args.size() != 2) return vantor::usageError(self(), "dump takes one FILE");
    return dump(args[1]);
  }
  if (args[0] == "read") {
    if (args.size() != 2) return vantor::usageError(self(), "read takes one FILE");
    return read(args[1]);
  }
  if (args[0] == "keyed") return keyed(args.subspan(1));
  return vantor::usageError(self(), "unknown mode '" + args[0] + "'");
}

}  // namespace

VANTOR_COMMAND("archive", "show keyed archives as JSON, write JSON as a keyed archive", kUsage,
               run);
