// The exceptions the library raises for documented programming errors, and
// only for those: ordinary failures are absent results or errors.
#pragma once

#include "vantorcore/Export.h"

#include <exception>
#include <string>

#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// A named programming error with a reason, like the platform's exceptions.
/// `what()` is "<name>: <reason>" in UTF-8.
class Exception : public std::exception {
 public:
  Exception(String name, String reason);

  [[nodiscard]] const String& name() const noexcept { return name_; }
  [[nodiscard]] const String& reason() const noexcept { return reason_; }
  [[nodiscard]] const char* what() const noexcept override { return what_.c_str(); }

 private:
  String name_;
  String reason_;
  std::string what_;
};

/// "NSInvalidArgumentException": an argument the operation cannot accept.
class InvalidArgumentException : public Exception {
 public:
  explicit InvalidArgumentException(String reason);
};

/// "NSRangeException": an index or range outside a collection or string.
class RangeException : public Exception {
 public:
  explicit RangeException(String reason);
};

/// "NSInternalInconsistencyException": an object used in a state it forbids.
class InternalInconsistencyException : public Exception {
 public:
  explicit InternalInconsistencyException(String reason);
};

}  // namespace lx
