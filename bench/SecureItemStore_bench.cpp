// Password set (remove, then add, as one durable change) and get per second through
// LXKeychain on the embedded store, and on the session's Secret Service when
// there is one (scripts/with-secret-service.sh runs this under a private bus
// with a real gnome-keyring).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>

#include "vantorcore/platform/EmbeddedSecureItemStore.h"
#include "vantorcore/platform/SecretServiceSecureItemStore.h"
#include "vantorcore/security/LXKeychain.h"

namespace {

std::shared_ptr<lx::SecureItemStore> embeddedStore() {
  static const std::filesystem::path folder = [] {
    std::string path = (std::filesystem::temp_directory_path() / "vantor-bench-XXXXXX").string();
    return std::filesystem::path(mkdtemp(path.data()));
  }();
  static auto store = lx::EmbeddedSecureItemStore::open(folder / "Keychain.sqlite");
  return store;
}

std::shared_ptr<lx::SecureItemStore> store(benchmark::State& state, bool secretService) {
  if (!secretService) return embeddedStore();
  static auto service = lx::SecretServiceSecureItemStore::open();
  if (!service) state.SkipWithError("no Secret Service on the session bus");
  return service;
}

void BM_SetPassword(benchmark::State& state, bool secretService) {
  const auto target = store(state, secretService);
  if (!target) return;
  const lx::LXKeychain keychain(target);
  std::int64_t round = 0;
  for (auto _ : state) {
    if (!keychain.setPassword(lx::fromUTF8("password" + std::to_string(round++)), u"bench",
                              u"set")) {
      state.SkipWithError("set failed");
    }
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_GetPassword(benchmark::State& state, bool secretService) {
  const auto target = store(state, secretService);
  if (!target) return;
  const lx::LXKeychain keychain(target);
  for (int i = 0; i < 100; ++i) {
    keychain.setPassword(u"password", lx::fromUTF8("user" + std::to_string(i)), u"get");
  }
  int i = 0;
  for (auto _ : state) {
    auto password =
        keychain.passwordForAccount(lx::fromUTF8("user" + std::to_string(i++ % 100)), u"get");
    if (!password) state.SkipWithError("get failed");
    benchmark::DoNotOptimize(password);
  }
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK_CAPTURE(BM_SetPassword, embedded, false);
BENCHMARK_CAPTURE(BM_GetPassword, embedded, false);
BENCHMARK_CAPTURE(BM_SetPassword, secret_service, true)->Iterations(200);
BENCHMARK_CAPTURE(BM_GetPassword, secret_service, true)->Iterations(1000);

}  // namespace

BENCHMARK_MAIN();
