// The sample documents the XML tests query, and a compact way to compare
// query results.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "vantorcore/xml/LXXMLDocument.h"

namespace lx::test {

/// A document under tests/xml/documents, parsed as XML (or as HTML).
inline LXXMLDocument sampleDocument(const std::string& name, bool html = false) {
  const String path = fromUTF8(std::string(VANTOR_SOURCE_DIR) + "/tests/xml/documents/" + name);
  ErrorPtr error;
  auto document = html ? LXXMLDocument::HTMLDocumentWithContentsOfFile(path, &error)
                       : LXXMLDocument::documentWithContentsOfFile(path, &error);
  if (!document) ADD_FAILURE() << name << ": " << toUTF8(error->localizedDescription());
  return *document;
}

/// Each node's string value with its white space collapsed, as UTF-8.
template <class Node>
std::vector<std::string> collapsedValues(const std::vector<Node>& nodes) {
  std::vector<std::string> values;
  for (const Node& node : nodes) {
    std::string value;
    for (const char c : toUTF8(node.stringValue())) {
      const bool space = c == ' ' || c == '\n' || c == '\t';
      if (space && (value.empty() || value.back() == ' ')) continue;
      value += space ? ' ' : c;
    }
    while (!value.empty() && value.back() == ' ') value.pop_back();
    values.push_back(value);
  }
  return values;
}

}  // namespace lx::test
