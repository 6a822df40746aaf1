#include "vantorcore/xml/LXXPathResult.h"

#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include "xml/XMLDocumentStorage.h"

namespace lx {

LXXPathResult::LXXPathResult(std::vector<LXXMLNode> nodes)
    : type_(Type::NodeSet), nodes_(std::move(nodes)) {}
LXXPathResult::LXXPathResult(String string) : type_(Type::String), string_(std::move(string)) {}
LXXPathResult::LXXPathResult(double number) noexcept : type_(Type::Number), number_(number) {}
LXXPathResult::LXXPathResult(bool boolean) noexcept : type_(Type::Boolean), boolean_(boolean) {}

String LXXPathResult::stringValue() const {
  switch (type_) {
    case Type::NodeSet:
      return nodes_.empty() ? String() : nodes_.front().stringValue();
    case Type::String:
      return string_;
    case Type::Number: {
      detail::initialiseLibxml();
      return detail::adoptXMLString(xmlXPathCastNumberToString(number_));
    }
    case Type::Boolean:
      return boolean_ ? u"true" : u"false";
  }
  return {};
}

double LXXPathResult::numberValue() const {
  switch (type_) {
    case Type::Number:
      return number_;
    case Type::Boolean:
      return boolean_ ? 1 : 0;
    default:
      detail::initialiseLibxml();
      return xmlXPathCastStringToNumber(
          reinterpret_cast<const xmlChar*>(toUTF8(stringValue()).c_str()));
  }
}

bool LXXPathResult::booleanValue() const {
  switch (type_) {
    case Type::NodeSet:
      return !nodes_.empty();
    case Type::String:
      return !string_.empty();
    case Type::Number:
      return xmlXPathCastNumberToBoolean(number_) != 0;
    case Type::Boolean:
      return boolean_;
  }
  return false;
}

}  // namespace lx
