#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>

#include "vantorcore/platform/Value.h"

namespace lx {

namespace {

Value* allocateValues(std::size_t count) {
  return static_cast<Value*>(::operator new(count * sizeof(Value)));
}

// Values hold no pointer into themselves, so moving one is copying its bytes
// and forgetting the source.
void relocate(Value* to, Value* from, std::size_t count) noexcept {
  if (count)
    std::memmove(static_cast<void*>(to), static_cast<const void*>(from), count * sizeof(Value));
}

}  // namespace

Array::Array(std::initializer_list<Value> values) : Array(values.begin(), values.end()) {}

Array::Array(std::size_t count) { resize(count); }

Array::Array(std::size_t count, const Value& value) {
  reserve(count);
  for (std::size_t i = 0; i < count; ++i) new (data_ + i) Value(value);
  size_ = count;
}

Array::Array(const Array& other) : Array(other.begin(), other.end()) {}

Array::Array(Array&& other) noexcept {
  if (other.borrowed_) {
    // Elements in a document are not this array's to take.
    Array copy(other);
    swap(copy);
    return;
  }
  swap(other);
}

Array& Array::operator=(const Array& other) {
  if (this != &other) {
    Array copy(other);
    swap(copy);
  }
  return *this;
}

Array& Array::operator=(Array&& other) noexcept {
  if (this != &other) {
    Array taken(std::move(other));
    swap(taken);
  }
  return *this;
}

Array::~Array() {
  if (borrowed_) return;
  clear();
  ::operator delete(data_);
}

void Array::swap(Array& other) noexcept {
  std::swap(data_, other.data_);
  std::swap(size_, other.size_);
  std::swap(capacity_, other.capacity_);
  std::swap(borrowed_, other.borrowed_);
}

Value& Array::at(std::size_t i) {
  if (i >= size_) throw std::out_of_range("lx::Array::at");
  return data_[i];
}

const Value& Array::at(std::size_t i) const {
  if (i >= size_) throw std::out_of_range("lx::Array::at");
  return data_[i];
}

void Array::grow(std::size_t count) {
  if (!borrowed_ && count <= capacity_) return;
  const std::size_t capacity = std::max({count, capacity_ * 2, std::size_t{4}});
  Value* data = allocateValues(capacity);
  if (borrowed_) {
    for (std::size_t i = 0; i < size_; ++i) new (data + i) Value(data_[i]);
  } else {
    relocate(data, data_, size_);
    ::operator delete(data_);
  }
  data_ = data;
  capacity_ = capacity;
  borrowed_ = false;
}

void Array::reserve(std::size_t count) {
  if (borrowed_ || count > capacity_) grow(std::max(count, size_));
}

void Array::push_back(const Value& value) { emplace_back(value); }
void Array::push_back(Value&& value) { emplace_back(std::move(value)); }

void Array::pop_back() noexcept { data_[--size_].~Value(); }

Array::iterator Array::insert(const_iterator position, Value value) {
  const auto at = static_cast<std::size_t>(position - data_);
  if (size_ == capacity_ || borrowed_) grow(size_ + 1);
  relocate(data_ + at + 1, data_ + at, size_ - at);
  new (data_ + at) Value(std::move(value));
  ++size_;
  return data_ + at;
}

Array::iterator Array::insert(const_iterator position, const_iterator first, const_iterator last) {
  const auto at = static_cast<std::size_t>(position - data_);
  const auto count = static_cast<std::size_t>(last - first);
  if (count == 0) return data_ + at;
  // Copied first: the range may lie in this array.
  Array inserted(first, last);
  if (size_ + count > capacity_ || borrowed_) grow(size_ + count);
  relocate(data_ + at + count, data_ + at, size_ - at);
  relocate(data_ + at, inserted.data_, count);
  inserted.size_ = 0;
  size_ += count;
  return data_ + at;
}

Array::iterator Array::erase(const_iterator first, const_iterator last) {
  const auto at = static_cast<std::size_t>(first - data_);
  const auto count = static_cast<std::size_t>(last - first);
  if (count == 0) return data_ + at;
  if (borrowed_) grow(size_);
  for (std::size_t i = at; i < at + count; ++i) data_[i].~Value();
  relocate(data_ + at, data_ + at + count, size_ - at - count);
  size_ -= count;
  return data_ + at;
}

void Array::resize(std::size_t count) {
  if (count < size_) {
    erase(data_ + count, data_ + size_);
    return;
  }
  reserve(count);
  for (std::size_t i = size_; i < count; ++i) new (data_ + i) Value();
  size_ = count;
}

void Array::clear() noexcept {
  if (borrowed_) {
    *this = Array();
    return;
  }
  for (std::size_t i = 0; i < size_; ++i) data_[i].~Value();
  size_ = 0;
}

bool operator==(const Array& a, const Array& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

}  // namespace lx
