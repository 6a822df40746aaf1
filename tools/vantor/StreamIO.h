// Standard input and output in large blocks, for the streaming commands.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace vantor {

/// Reads until `size` bytes are in `buffer` or the input ends; returns the
/// count (0 at the end), or -1 on a read error.
inline long readBlock(int fd, std::uint8_t* buffer, std::size_t size) {
  std::size_t filled = 0;
  while (filled < size) {
    const ssize_t n = ::read(fd, buffer + filled, size - filled);
    if (n == 0) break;
    if (n < 0) {
      if (errno == EINTR) continue;
      return -1;
    }
    filled += static_cast<std::size_t>(n);
  }
  return static_cast<long>(filled);
}

/// Writes all of `bytes` to standard output; false on a write error.
inline bool writeOut(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t n = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(n));
  }
  return true;
}

inline bool writeOut(const std::vector<std::uint8_t>& bytes) {
  return writeOut(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

/// All of standard input; false on a read error.
inline bool readAll(int fd, std::vector<std::uint8_t>& out) {
  constexpr std::size_t kStep = 1 << 20;
  for (;;) {
    const std::size_t at = out.size();
    out.resize(at + kStep);
    const long n = readBlock(fd, out.data() + at, kStep);
    if (n < 0) return false;
    out.resize(at + static_cast<std::size_t>(n));
    if (static_cast<std::size_t>(n) < kStep) return true;
  }
}

/// Prints "vantor <command>: <message>" to standard error; returns 1.
inline int fail(std::string_view command, std::string_view message) {
  std::fprintf(stderr, "vantor %.*s: %.*s\n", static_cast<int>(command.size()), command.data(),
               static_cast<int>(message.size()), message.data());
  return 1;
}

}  // namespace vantor
