// A small fixed-seed generator (xorshift64) for benchmark inputs: every run
// and every program sees the same sequence, so figures compare across runs.
#pragma once

#include <cstdint>

namespace vantor::bench {

class Random {
 public:
  std::uint64_t next() {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    return state_;
  }
  /// A value in [0, n).
  std::uint64_t below(std::uint64_t n) { return next() % n; }

 private:
  std::uint64_t state_ = 0x9E3779B97F4A7C15ULL;
};

}  // namespace vantor::bench
