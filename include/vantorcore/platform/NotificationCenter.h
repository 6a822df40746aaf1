// `NotificationCenter`: named notifications posted synchronously, on the
// posting thread, to the observers registered for that name and/or sender.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// One posted notification: a name, the sender (may be null) and user info.
class Notification : public Object {
  LX_DECLARE_CLASS(Notification)

 public:
  /// A notification named `name` about `object` (may be null) with `userInfo`.
  Notification(String name, std::shared_ptr<Object> object, Dictionary userInfo)
      : name_(std::move(name)), object_(std::move(object)), userInfo_(std::move(userInfo)) {}
  /// The notification's name.
  [[nodiscard]] const String& name() const noexcept { return name_; }
  /// The object it is about; null for none.
  [[nodiscard]] const std::shared_ptr<Object>& object() const noexcept { return object_; }
  /// Extra details; empty for none.
  [[nodiscard]] const Dictionary& userInfo() const noexcept { return userInfo_; }

 private:
  String name_;
  std::shared_ptr<Object> object_;
  Dictionary userInfo_;
};

class NotificationCenter {
 public:
  /// Called with each matching notification.
  using Block = std::function<void(const Notification&)>;

  /// The process's centre; any thread.
  static NotificationCenter& defaultCenter();

  NotificationCenter();
  ~NotificationCenter();
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  /// A registration; removes itself when destroyed or `remove`d. After
  /// `remove` returns no new delivery starts (one running on another thread
  /// may still finish). Move-only; must not outlive a centre other than the
  /// default one. `release` lets the registration live as long as the
  /// centre does.
  class Token {
   public:
    Token() = default;
    /// A handle on observer `id` of `center`.
    Token(NotificationCenter* center, std::uint64_t id) : center_(center), id_(id) {}
    /// Tokens move; a moved-from token is inactive.
    ///@{
    Token(Token&& other) noexcept
        : center_(std::exchange(other.center_, nullptr)), id_(std::exchange(other.id_, 0)) {}
    Token& operator=(Token&& other) noexcept;
    ///@}
    ~Token() { remove(); }
    /// Removes the observer; later calls do nothing.
    void remove();
    /// Keeps the observer for the centre's lifetime; the token no longer removes it.
    void release() noexcept { id_ = 0; }
    /// Whether the token still removes an observer.
    [[nodiscard]] bool isActive() const noexcept { return id_ != 0; }

   private:
    NotificationCenter* center_ = nullptr;
    std::uint64_t id_ = 0;
  };

  /// Calls `block` for every notification whose name is `name` (any name
  /// when absent) and whose sender is the very object `object` (any sender
  /// when null; identity, never equality). The sender is not kept alive.
  [[nodiscard]] Token addObserver(std::optional<String> name, const std::shared_ptr<Object>& object,
                                  Block block);
  /// The target/selector form: calls the method named `selector` of
  /// `observer` with the notification; the observer is held weakly and a
  /// dead one is skipped. Ignored (inactive token) when it has no such method.
  [[nodiscard]] Token addObserver(const std::shared_ptr<Object>& observer, std::string selector,
                                  std::optional<String> name,
                                  const std::shared_ptr<Object>& object);

  /// Delivers to every matching observer, in registration order, on the
  /// calling thread, before returning. Observers may add or remove
  /// registrations (a new one does not see the running post).
  void post(const std::shared_ptr<Notification>& notification);
  /// Posts a notification to every matching observer, on the calling thread.
  void post(StringView name, std::shared_ptr<Object> object = nullptr, Dictionary userInfo = {});

 private:
  struct Entry {
    std::uint64_t id;
    std::optional<String> name;
    std::weak_ptr<Object> object;
    bool anyObject;
    std::shared_ptr<Block> block;
  };
  void remove(std::uint64_t id);
  Token add(Entry entry);

  std::mutex mutex_;
  std::uint64_t nextId_ = 1;
  std::vector<Entry> entries_;
};

}  // namespace lx
