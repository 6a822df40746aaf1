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
  /// An exception with a name (the kind, e.g. "NSInvalidArgumentException") and a reason for
  /// people.
  Exception(String name, String reason);

  /// The exception's kind.
  [[nodiscard]] const String& name() const noexcept { return name_; }
  /// What went wrong, for people.
  [[nodiscard]] const String& reason() const noexcept { return reason_; }
  /// "name: reason", in UTF-8.
  [[nodiscard]] const char* what() const noexcept override { return what_.c_str(); }

 private:
  String name_;
  String reason_;
  std::string what_;
};

/// "NSInvalidArgumentException": an argument the operation cannot accept.
class InvalidArgumentException : public Exception {
 public:
  /// A bad argument: out of its domain, null where an object is needed.
  explicit InvalidArgumentException(String reason);
};

/// "NSRangeException": an index or range outside a collection or string.
class RangeException : public Exception {
 public:
  /// An index or range past the end of its collection.
  explicit RangeException(String reason);
};

/// "NSInternalInconsistencyException": an object used in a state it forbids.
class InternalInconsistencyException : public Exception {
 public:
  /// A broken assumption inside the library or its caller.
  explicit InternalInconsistencyException(String reason);
};

}  // namespace lx
