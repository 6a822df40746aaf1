// Calling an object's methods by name: on another thread with several
// arguments and an object result, and "optional" calls that happen only when
// the object has the method.
//
// Methods are those of the object's class table (`Class::addMethod`); a
// selector names one argument per colon ("setTitle:color:" takes two).
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <memory>
#include <string_view>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/RunLoop.h"
#include "vantorcore/platform/Thread.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// Calls `selector` on `receiver` on `thread` with `arguments` as its
/// arguments in order (a null value passes null). On the calling thread it
/// runs at once; otherwise through `thread`'s run loop in `modes`, waiting
/// when `wait`. Returns the method's result when it was waited for (or ran
/// at once), else null; null too when the receiver has no such method or the
/// thread has exited.
Value lx_performSelector(const std::shared_ptr<Object>& receiver, std::string_view selector,
                         const std::shared_ptr<Thread>& thread, const Array& arguments, bool wait,
                         const RunLoopModes& modes);
/// One argument (none when `object` is null), in the common modes.
Value lx_performSelector(const std::shared_ptr<Object>& receiver, std::string_view selector,
                         const std::shared_ptr<Thread>& thread, const Value& object, bool wait);
/// Always on the main thread, waiting: blocks the caller until done.
Value lx_performSelector(const std::shared_ptr<Object>& receiver, std::string_view selector,
                         const Array& arguments);

/// The general form on the main thread, in `modes`.
Value lx_performSelectorOnMainThread(const std::shared_ptr<Object>& receiver,
                                     std::string_view selector, const Array& arguments, bool wait,
                                     const RunLoopModes& modes);
/// On the main thread in the default mode only (unlike the any-thread form,
/// which uses the common modes).
Value lx_performSelectorOnMainThread(const std::shared_ptr<Object>& receiver,
                                     std::string_view selector, const Array& arguments, bool wait);
/// One argument (none when `object` is null), default mode only.
Value lx_performSelectorOnMainThread(const std::shared_ptr<Object>& receiver,
                                     std::string_view selector, const Value& object, bool wait);

/// Optional calls: made only when `receiver` has the method, otherwise they
/// return the neutral value (nothing, false, 0, 0.0, null). Numbers and
/// booleans are passed as values (the integer, real and boolean forms).
///@{
void lx_performOptionalSelector(Object& receiver, std::string_view selector);
void lx_performOptionalSelector(Object& receiver, std::string_view selector, const Value& object);
bool lx_performOptionalSelectorWithBOOLReturn(Object& receiver, std::string_view selector);
std::int64_t lx_performOptionalSelectorWithIntegerReturn(Object& receiver,
                                                         std::string_view selector);
double lx_performOptionalSelectorWithCGFloatReturn(Object& receiver, std::string_view selector);
Value lx_performOptionalSelectorWithObjectReturn(Object& receiver, std::string_view selector);
Value lx_performOptionalSelectorWithObjectReturn(Object& receiver, std::string_view selector,
                                                 const Value& object);
///@}

}  // namespace lx
