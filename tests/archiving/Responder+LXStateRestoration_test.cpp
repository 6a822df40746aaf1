#include "vantorcore/archiving/Responder+LXStateRestoration.h"

#include <gtest/gtest.h>

#include <vector>

#include "archiving/StateRestorationTestSupport.h"

namespace lx::srtest {

// Saves state when its restorable state changes; counts how often.
class SRWindow : public Responder {
  LX_DECLARE_CLASS(SRWindow)
 public:
  int invalidations = 0;
};
LX_DEFINE_CLASS(SRWindow, Responder)

namespace {

[[maybe_unused]] const bool kWindowHandles = [] {
  // Registering an existing name returns the class registered first.
  ClassRegistry::registerClass(u"SRWindow", &Responder::staticClass())
      .addMethod("lx_invalidateRestorableState", [](Object& self, std::span<const Value>) {
        ++static_cast<SRWindow&>(self).invalidations;
        return Value();
      });
  return true;
}();

TEST(ResponderLXStateRestorationTest, SettingsAreAttachedAndRemovable) {
  Responder responder;
  EXPECT_EQ(restorationIdentifier(responder), std::nullopt);
  EXPECT_EQ(objectRestorationClass(responder), nullptr);
  setRestorationIdentifier(responder, u"");
  setObjectRestorationClass(responder, &SRViewRestorer::staticClass());
  EXPECT_EQ(restorationIdentifier(responder), u"");
  EXPECT_EQ(objectRestorationClass(responder), &SRViewRestorer::staticClass());
  setRestorationIdentifier(responder, std::nullopt);
  setObjectRestorationClass(responder, nullptr);
  EXPECT_EQ(restorationIdentifier(responder), std::nullopt);
  EXPECT_EQ(objectRestorationClass(responder), nullptr);
}

TEST(ResponderLXStateRestorationTest, InvalidationTravelsUpToTheFirstResponderThatHandlesIt) {
  const struct {
    const char* name;
    std::vector<bool> windows;  // chain from the first responder up; true: a window
    std::vector<int> counts;    // invalidations seen by each window, in order
  } cases[] = {
      {"alone", {false}, {}},
      {"window itself", {true}, {1}},
      {"window two up", {false, false, true}, {1}},
      {"nearest window only", {false, true, true}, {1, 0}},
      {"no window in the chain", {false, false}, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<std::shared_ptr<Responder>> chain;
    std::vector<std::shared_ptr<SRWindow>> windows;
    for (bool isWindow : c.windows) {
      if (isWindow) {
        windows.push_back(std::make_shared<SRWindow>());
        chain.push_back(windows.back());
      } else {
        chain.push_back(std::make_shared<Responder>());
      }
      if (chain.size() > 1) chain[chain.size() - 2]->setNextResponder(chain.back());
    }
    lx_invalidateRestorableState(*chain.front());
    std::vector<int> counts;
    for (const auto& w : windows) counts.push_back(w->invalidations);
    EXPECT_EQ(counts, c.counts);
  }
}

}  // namespace
}  // namespace lx::srtest
