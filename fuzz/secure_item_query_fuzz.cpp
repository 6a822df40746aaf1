// The secure item store's query translation: dictionaries built from the
// input (keys from the store's vocabulary and a few strangers, values of
// every type) go through all four operations of the in-memory store, whose
// results must keep the store's own promises.
#include <cstddef>
#include <cstdint>

#include "vantorcore/platform/InMemorySecureItemStore.h"

namespace {

const lx::StringView kKeys[] = {lx::kSecClass,
                                lx::kSecAttrAccount,
                                lx::kSecAttrService,
                                lx::kSecAttrServer,
                                lx::kSecAttrPort,
                                lx::kSecAttrProtocol,
                                lx::kSecAttrPath,
                                lx::kSecAttrLabel,
                                lx::kSecAttrGeneric,
                                lx::kSecAttrSynchronizable,
                                lx::kSecAttrCreationDate,
                                lx::kSecMatchLimit,
                                lx::kSecReturnAttributes,
                                lx::kSecReturnData,
                                lx::kSecReturnPersistentRef,
                                lx::kSecValueData,
                                lx::kSecValuePersistentRef,
                                u"bogus"};

const lx::StringView kWords[] = {lx::kSecClassGenericPassword,
                                 lx::kSecClassInternetPassword,
                                 lx::kSecMatchLimitOne,
                                 lx::kSecMatchLimitAll,
                                 lx::kSecAttrSynchronizableAny,
                                 u"",
                                 u"a",
                                 u"a\0b"};

class Reader {
 public:
  Reader(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
  bool done() const { return at_ >= size_; }
  std::uint8_t byte() { return at_ < size_ ? data_[at_++] : 0; }

  lx::Value value() {
    switch (byte() % 7) {
      case 0:
        return lx::Value(kWords[byte() % std::size(kWords)]);
      case 1:
        return lx::Value(static_cast<std::int64_t>(static_cast<std::int8_t>(byte())));
      case 2:
        return lx::Value(byte() % 2 == 0);
      case 3: {
        lx::Data bytes(byte() % 20, byte());
        return lx::Value(bytes);
      }
      case 4:
        return lx::Value(lx::String(byte() % 8 == 0 ? 5000 : byte() % 16, u'x'));
      case 5:
        return lx::Value(lx::Date(byte()));
      default:
        return lx::Value();
    }
  }

  lx::Dictionary dictionary() {
    lx::Dictionary result;
    for (int count = byte() % 8; count > 0 && !done(); --count) {
      result.set(kKeys[byte() % std::size(kKeys)], value());
    }
    return result;
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t at_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  lx::InMemorySecureItemStore store;
  Reader reader(data, size);
  while (!reader.done()) {
    const std::uint8_t operation = reader.byte() % 4;
    const lx::Dictionary first = reader.dictionary();
    lx::Value result;
    lx::OSStatus status = lx::errSecSuccess;
    if (operation == 0) {
      const std::size_t before = store.count();
      status = store.add(first, &result);
      if ((status == lx::errSecSuccess) != (store.count() == before + 1)) __builtin_trap();
    } else if (operation == 1) {
      status = store.copyMatching(first, &result);
    } else if (operation == 2) {
      status = store.update(first, reader.dictionary());
    } else {
      status = store.remove(first);
    }
    if (status != lx::errSecSuccess && !lx::SecCopyErrorMessageString(status)) __builtin_trap();
    (void)result.description();
  }
  return 0;
}
