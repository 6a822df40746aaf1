// `vantor xml xpath|css|check`: queries an XML or HTML document and prints
// what matched, one node (as markup) or one value per line, or only parses it.
#include <unistd.h>

#include <iostream>
#include <optional>
#include <string>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/xml/LXXMLDocument.h"
#include "vantorcore/xml/LXXPathResult.h"

namespace {

constexpr char kUsage[] =
    "usage: vantor xml xpath EXPRESSION [FILE] [--html] [--ns PREFIX=URI]...\n"
    "       vantor xml css SELECTOR [FILE] [--html]\n"
    "       vantor xml check [FILE] [--html]\n\n"
    "Parses FILE (standard input when absent or \"-\") and prints each matched\n"
    "node as markup on its own line; an XPath string, number or boolean is\n"
    "printed as its value. Files ending in .html or .htm, and every input with\n"
    "--html, go through the HTML parser. --ns binds a prefix for XPath.\n"
    "check only parses, printing nothing for a well-formed document.\n"
    "Exit status 1 for a document or query that is refused.";

const vantor::Command kSelf{"xml", "", kUsage, nullptr};

struct Options {
  std::string mode;
  std::string query;
  std::string file = "-";
  bool html = false;
  lx::LXXMLNamespaces namespaces;
};

bool endsWith(const std::string& text, std::string_view suffix) {
  return text.size() >= suffix.size() &&
         text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

std::optional<Options> parseArguments(vantor::Arguments args, std::string* problem) {
  Options options;
  std::vector<std::string> positional;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--html") {
      options.html = true;
    } else if (args[i] == "--ns" && i + 1 < args.size()) {
      const std::string& binding = args[++i];
      const std::size_t equals = binding.find('=');
      if (equals == std::string::npos) {
        *problem = "--ns wants PREFIX=URI";
        return std::nullopt;
      }
      options.namespaces[lx::fromUTF8(binding.substr(0, equals))] =
          lx::fromUTF8(binding.substr(equals + 1));
    } else {
      positional.push_back(args[i]);
    }
  }
  if (!positional.empty()) options.mode = positional[0];
  const std::size_t queries = options.mode == "check" ? 0 : 1;
  if (positional.size() < 1 + queries || positional.size() > 2 + queries) {
    *problem = "expected xpath|css and a query, or check, and at most one file";
    return std::nullopt;
  }
  if (options.mode != "xpath" && options.mode != "css" && options.mode != "check") {
    *problem = "unknown mode: " + options.mode;
    return std::nullopt;
  }
  if (queries) options.query = positional[1];
  if (positional.size() == 2 + queries) options.file = positional[1 + queries];
  options.html = options.html || endsWith(options.file, ".html") || endsWith(options.file, ".htm");
  return options;
}

std::optional<lx::LXXMLDocument> load(const Options& options, lx::ErrorPtr* error) {
  if (options.file != "-") {
    const lx::String path = lx::fromUTF8(options.file);
    return options.html ? lx::LXXMLDocument::HTMLDocumentWithContentsOfFile(path, error)
                        : lx::LXXMLDocument::documentWithContentsOfFile(path, error);
  }
  std::vector<std::uint8_t> input;
  if (!vantor::readAll(STDIN_FILENO, input)) {
    *error = lx::Error::posix(errno);
    return std::nullopt;
  }
  return options.html ? lx::LXXMLDocument::HTMLDocumentWithData(input, error)
                      : lx::LXXMLDocument::documentWithData(input, error);
}

int run(vantor::Arguments args) {
  std::string problem;
  const std::optional<Options> options = parseArguments(args, &problem);
  if (!options) return vantor::usageError(kSelf, problem);
  lx::ErrorPtr error;
  const std::optional<lx::LXXMLDocument> document = load(*options, &error);
  if (!document) return vantor::fail("xml", lx::toUTF8(error->localizedDescription()));
  if (options->mode == "check") return 0;
  const lx::String query = lx::fromUTF8(options->query);
  std::string output;
  if (options->mode == "css") {
    const auto elements = document->elementsForCSSSelector(query, &error);
    if (!elements) return vantor::fail("xml", lx::toUTF8(error->localizedDescription()));
    for (const lx::LXXMLElement& element : *elements)
      output += lx::toUTF8(element.XMLString()) + "\n";
  } else {
    const auto result = document->evaluateXPath(query, options->namespaces, &error);
    if (!result) return vantor::fail("xml", lx::toUTF8(error->localizedDescription()));
    if (result->type() != lx::LXXPathResult::Type::NodeSet) {
      output = lx::toUTF8(result->stringValue()) + "\n";
    }
    for (const lx::LXXMLNode& node : result->nodes()) output += lx::toUTF8(node.XMLString()) + "\n";
  }
  return vantor::writeOut(output) ? 0 : vantor::fail("xml", "cannot write the output");
}

}  // namespace

VANTOR_COMMAND("xml", "XPath and CSS-selector queries on XML and HTML documents", kUsage, run);
