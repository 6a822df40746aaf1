// `vantor type`: what the content-type registry (and any override) says
// about filename extensions, MIME types and files.
#include <sys/stat.h>

#include <iostream>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/files/ContentType+Overrides.h"
#include "vantorcore/files/LXTypeOverrideFunctions.h"
#include "vantorcore/platform/String+Paths.h"

namespace vantor {
namespace {

using lx::ContentType;
using lx::String;

constexpr char kUsage[] =
    "usage: vantor type [--override TAG=IDENTIFIER]... [--conforming-to IDENTIFIER]\n"
    "                   EXTENSION|MIME|FILE...\n\n"
    "For each argument prints the type's identifier, every supertype, its\n"
    "extension and MIME tags, what declares it, and whether an override\n"
    "decided the answer. An existing file is looked up by its extension (a\n"
    "folder is public.folder); an argument with \"/\" that is no file is a MIME\n"
    "type; anything else an extension (a leading \".\" or \"*.\" is dropped).\n\n"
    "  --override TAG=IDENTIFIER  treat the extension (or MIME type, when TAG\n"
    "                             holds \"/\") as IDENTIFIER; may be repeated\n"
    "  --conforming-to ID         the supertype asked for (default public.data)";

const Command& self() {
  static const Command command{"type", "content types of extensions, MIME types and files", kUsage,
                               nullptr};
  return command;
}

std::string joined(const std::vector<String>& items) {
  std::string text;
  for (const String& item : items) text += (text.empty() ? "" : " ") + lx::toUTF8(item);
  return text.empty() ? "(none)" : text;
}

struct Query {
  String tag;
  lx::StringView tagClass;  // empty for a folder
};

Query queryFor(const std::string& argument) {
  struct stat st {};
  if (::stat(argument.c_str(), &st) == 0) {
    if (S_ISDIR(st.st_mode)) return {};
    return {lx::pathExtension(lx::stringWithFileSystemRepresentation(argument)),
            lx::UTTagClassFilenameExtension};
  }
  String text = lx::fromUTF8(argument);
  if (text.find(u'/') != String::npos) return {std::move(text), lx::UTTagClassMIMEType};
  if (text.starts_with(u"*.")) text.erase(0, 2);
  if (text.starts_with(u".")) text.erase(0, 1);
  return {std::move(text), lx::UTTagClassFilenameExtension};
}

void describe(const std::string& argument, const ContentType& type, bool overridden) {
  std::vector<String> supertypes;
  for (const ContentType& s : type.supertypes()) supertypes.push_back(s.identifier());
  const auto url = type.declaringBundleURL();
  std::cout << argument << "\n"
            << "  identifier:  " << lx::toUTF8(type.identifier())
            << (type.isDynamic() ? " (dynamic)" : "") << "\n  supertypes:  " << joined(supertypes)
            << "\n  extensions:  " << joined(type.tags(lx::UTTagClassFilenameExtension))
            << "\n  MIME types:  " << joined(type.tags(lx::UTTagClassMIMEType))
            << "\n  declared by: " << (url ? lx::toUTF8(url->absoluteString()) : "(nothing)")
            << "\n  override:    " << (overridden ? "yes" : "no") << "\n";
}

int run(Arguments args) {
  std::vector<std::string> inputs;
  std::optional<ContentType> constraint = ContentType::data();
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--override" || a == "--conforming-to") {
      if (i + 1 == args.size()) return usageError(self(), a + " needs a value");
      const std::string value = args[++i];
      if (a == "--conforming-to") {
        constraint = ContentType::typeWithIdentifier(lx::fromUTF8(value));
        if (!constraint) return usageError(self(), "no type named " + value);
        continue;
      }
      const std::size_t equals = value.find('=');
      if (equals == std::string::npos || equals == 0) {
        return usageError(self(), "--override wants TAG=IDENTIFIER, not " + value);
      }
      const String identifier = lx::fromUTF8(value.substr(equals + 1));
      if (!ContentType::typeWithIdentifier(identifier)) {
        return usageError(self(), "no type named " + value.substr(equals + 1));
      }
      const Query query = queryFor(value.substr(0, equals));
      lx::LXTypeRegisterOverrideIdentifierForTag(identifier, query.tagClass, query.tag);
    } else {
      inputs.push_back(a);
    }
  }
  if (inputs.empty()) return usageError(self(), "which extension, MIME type or file?");
  int status = 0;
  for (const std::string& input : inputs) {
    const Query query = queryFor(input);
    if (query.tagClass.empty()) {
      describe(input, ContentType::folder(), false);
      continue;
    }
    const auto type = lx::lx_typeConsideringOverridesWithTag(query.tag, query.tagClass, constraint);
    if (!type) {
      status = fail("type", "no type for " + input);
      continue;
    }
    describe(input, *type, lx::lx_typeOverrideForTag(query.tag, query.tagClass).has_value());
  }
  return status;
}

}  // namespace

VANTOR_COMMAND("type", "content types of extensions, MIME types and files", kUsage, run);

}  // namespace vantor
