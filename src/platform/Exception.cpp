#include "vantorcore/platform/Exception.h"

namespace lx {

Exception::Exception(String name, String reason)
    : name_(std::move(name)), reason_(std::move(reason)),
      what_(toUTF8(name_) + ": " + toUTF8(reason_)) {}

InvalidArgumentException::InvalidArgumentException(String reason)
    : Exception(u"NSInvalidArgumentException", std::move(reason)) {}

RangeException::RangeException(String reason)
    : Exception(u"NSRangeException", std::move(reason)) {}

InternalInconsistencyException::InternalInconsistencyException(String reason)
    : Exception(u"NSInternalInconsistencyException", std::move(reason)) {}

}  // namespace lx
