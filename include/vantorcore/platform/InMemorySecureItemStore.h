// A secure item store that keeps its items in memory: the fake that unit
// tests of item-store clients run against, with a switch that makes every
// operation fail with a chosen status.
#pragma once

#include "vantorcore/Export.h"

#include <mutex>
#include <optional>
#include <vector>

#include "vantorcore/platform/SecureItemQuery.h"
#include "vantorcore/platform/SecureItemStore.h"

namespace LX_API lx {

class InMemorySecureItemStore : public SecureItemStore {
 public:
  /// From now on every operation returns `status` without touching the
  /// items; absent restores normal service.
  void failWith(std::optional<OSStatus> status);
  /// How many items the store holds.
  [[nodiscard]] std::size_t count() const;

  [[nodiscard]] StringView backendName() const noexcept override { return u"memory"; }

 protected:
  OSStatus find(const SecureItemQuery& query, std::vector<SecureItem>& items) override;
  /// The store operations, on the process's memory.
  ///@{
  OSStatus insert(const SecureItem& item) override;
  OSStatus modify(const SecureItemQuery& query, const Dictionary& attributeChanges,
                  const std::optional<Data>& secret) override;
  OSStatus erase(const SecureItemQuery& query) override;
  ///@}

 private:
  mutable std::mutex mutex_;
  std::vector<SecureItem> items_;
  std::optional<OSStatus> failure_;
};

}  // namespace lx
