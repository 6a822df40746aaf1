#include "vantorcore/platform/NotificationCenter.h"

namespace lx {

LX_DEFINE_CLASS(Notification, Object)

namespace {
// The same object as `object`, judged by control block, so a dead sender's
// address reused by a new object never matches.
bool sameObject(const std::weak_ptr<Object>& registered, const std::shared_ptr<Object>& object) {
  return !registered.owner_before(object) && !object.owner_before(registered);
}
}  // namespace

NotificationCenter& NotificationCenter::defaultCenter() {
  static auto* center = new NotificationCenter;  // lives as long as the process
  return *center;
}

NotificationCenter::NotificationCenter() = default;
NotificationCenter::~NotificationCenter() = default;

NotificationCenter::Token& NotificationCenter::Token::operator=(Token&& other) noexcept {
  if (this != &other) {
    remove();
    center_ = std::exchange(other.center_, nullptr);
    id_ = std::exchange(other.id_, 0);
  }
  return *this;
}

void NotificationCenter::Token::remove() {
  if (id_ != 0 && center_) center_->remove(id_);
  id_ = 0;
}

NotificationCenter::Token NotificationCenter::add(Entry entry) {
  std::lock_guard lock(mutex_);
  entry.id = nextId_++;
  entries_.push_back(std::move(entry));
  return Token(this, entries_.back().id);
}

NotificationCenter::Token NotificationCenter::addObserver(std::optional<String> name,
                                                          const std::shared_ptr<Object>& object,
                                                          Block block) {
  if (!block) return {};
  return add(Entry{0, std::move(name), object, !object, std::make_shared<Block>(std::move(block))});
}

NotificationCenter::Token NotificationCenter::addObserver(const std::shared_ptr<Object>& observer,
                                                          std::string selector,
                                                          std::optional<String> name,
                                                          const std::shared_ptr<Object>& object) {
  if (!observer || !observer->respondsToSelector(selector)) return {};
  Block block = [weak = std::weak_ptr<Object>(observer), selector](const Notification& n) {
    auto target = weak.lock();
    if (!target) return;
    if (auto* method = target->objectClass().methodNamed(selector)) {
      Value argument(std::const_pointer_cast<Notification>(
          std::static_pointer_cast<const Notification>(n.shared_from_this())));
      (*method)(*target, std::span<const Value>(&argument, 1));
    }
  };
  return addObserver(std::move(name), object, std::move(block));
}

void NotificationCenter::remove(std::uint64_t id) {
  std::lock_guard lock(mutex_);
  std::erase_if(entries_, [id](const Entry& e) { return e.id == id; });
}

void NotificationCenter::post(const std::shared_ptr<Notification>& notification) {
  if (!notification) return;
  std::vector<std::pair<std::uint64_t, std::shared_ptr<Block>>> matching;
  {
    std::lock_guard lock(mutex_);
    for (auto& e : entries_) {
      if (e.name && *e.name != notification->name()) continue;
      if (!e.anyObject && !sameObject(e.object, notification->object())) continue;
      matching.emplace_back(e.id, e.block);
    }
  }
  for (auto& [id, block] : matching) {
    {
      // Skip registrations removed by an earlier observer of this post.
      std::lock_guard lock(mutex_);
      bool live = false;
      for (auto& e : entries_) live = live || e.id == id;
      if (!live) continue;
    }
    (*block)(*notification);
  }
}

void NotificationCenter::post(StringView name, std::shared_ptr<Object> object,
                              Dictionary userInfo) {
  post(std::make_shared<Notification>(String(name), std::move(object), std::move(userInfo)));
}

}  // namespace lx
