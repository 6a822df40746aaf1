// The calling thread's instance of a formatter class, kept in its thread
// dictionary under a key; shared by the per-thread date formatters.
#pragma once

#include <memory>

#include "vantorcore/platform/Thread.h"

namespace lx::detail {

template <class T>
std::shared_ptr<T> perThreadInstance(StringView key) {
  // The thread dictionary owns the formatter; this weak copy only saves the
  // dictionary lookup, and expires when someone removes the entry.
  thread_local std::weak_ptr<T> cached;
  if (auto formatter = cached.lock()) return formatter;
  Dictionary& dictionary = Thread::current()->threadDictionary();
  std::shared_ptr<T> formatter;
  if (const Value* existing = dictionary.find(key)) formatter = existing->objectAs<T>();
  if (!formatter) {
    formatter = std::make_shared<T>();
    dictionary.set(key, Value(std::static_pointer_cast<Object>(formatter)));
  }
  cached = formatter;
  return formatter;
}

}  // namespace lx::detail
