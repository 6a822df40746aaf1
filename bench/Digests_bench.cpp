// Digests and HMACs through the library beside the same OpenSSL calls made
// directly, at the 16 KiB block size of `openssl speed -evp`.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include "vantorcore/text/Data+Hash.h"

namespace {

constexpr std::size_t kBlock = 16 * 1024;

const lx::Data& block() {
  static const lx::Data data(kBlock, 0x5A);
  return data;
}

template <class F>
void run(benchmark::State& state, F digest) {
  for (auto _ : state) benchmark::DoNotOptimize(digest());
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBlock));
}

// What `openssl speed -evp` times: one EVP_Digest call per block.
void OpenSSL_EVP_Digest(benchmark::State& state, const char* name) {
  const EVP_MD* md = EVP_MD_fetch(nullptr, name, nullptr);
  unsigned char out[EVP_MAX_MD_SIZE];
  run(state, [&] { return EVP_Digest(block().data(), kBlock, out, nullptr, md, nullptr); });
}

void OpenSSL_HMAC(benchmark::State& state, const char* name) {
  const EVP_MD* md = EVP_MD_fetch(nullptr, name, nullptr);
  const lx::Data key(32, 0x0b);
  unsigned char out[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  run(state, [&] {
    return HMAC(md, key.data(), static_cast<int>(key.size()), block().data(), kBlock, out, &length);
  });
}

void Library_MD5(benchmark::State& state) {
  run(state, [] { return lx::lx_MD5Data(block()); });
}
void Library_SHA1(benchmark::State& state) {
  run(state, [] { return lx::lx_SHA1Hash(block()); });
}
void Library_SHA256(benchmark::State& state) {
  run(state, [] { return lx::lx_SHA256Hash(block()); });
}
void Library_HMACSHA256(benchmark::State& state) {
  const lx::Data key(32, 0x0b);
  run(state, [&] { return lx::lx_HMACSHA256WithKey(block(), key); });
}

BENCHMARK_CAPTURE(OpenSSL_EVP_Digest, md5, "MD5");
BENCHMARK(Library_MD5);
BENCHMARK_CAPTURE(OpenSSL_EVP_Digest, sha1, "SHA1");
BENCHMARK(Library_SHA1);
BENCHMARK_CAPTURE(OpenSSL_EVP_Digest, sha256, "SHA256");
BENCHMARK(Library_SHA256);
BENCHMARK_CAPTURE(OpenSSL_HMAC, sha256, "SHA256");
BENCHMARK(Library_HMACSHA256);

}  // namespace

BENCHMARK_MAIN();
