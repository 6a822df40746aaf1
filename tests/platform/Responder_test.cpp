#include "vantorcore/platform/Responder.h"

#include <gtest/gtest.h>

#include <vector>

namespace lx {
namespace {

// Builds a chain of `length` responders, each linked to the next.
std::vector<std::shared_ptr<Responder>> chain(std::size_t length) {
  std::vector<std::shared_ptr<Responder>> responders;
  for (std::size_t i = 0; i < length; ++i) responders.push_back(std::make_shared<Responder>());
  for (std::size_t i = 0; i + 1 < length; ++i) responders[i]->setNextResponder(responders[i + 1]);
  return responders;
}

std::size_t lengthFrom(std::shared_ptr<Responder> r) {
  std::size_t n = 0;
  for (; r; r = r->nextResponder()) ++n;
  return n;
}

TEST(ResponderTest, ChainsEndAtNullOrAtAResponderThatIsGone) {
  const struct {
    std::size_t length;
    std::size_t dropped;  // index released before walking; `length` for none
    std::size_t walked;
  } cases[] = {
      {1, 1, 1}, {2, 2, 2}, {3, 3, 3}, {3, 2, 2}, {3, 1, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.length << " dropping " << c.dropped);
    auto responders = chain(c.length);
    if (c.dropped < c.length) responders[c.dropped].reset();
    EXPECT_EQ(lengthFrom(responders[0]), c.walked);
  }
}

TEST(ResponderTest, TheLinkDoesNotKeepTheNextResponderAlive) {
  auto part = std::make_shared<Responder>();
  std::weak_ptr<Responder> watch;
  {
    auto container = std::make_shared<Responder>();
    part->setNextResponder(container);
    watch = container;
    EXPECT_EQ(part->nextResponder(), container);
  }
  EXPECT_TRUE(watch.expired());
  EXPECT_EQ(part->nextResponder(), nullptr);
  part->setNextResponder(nullptr);
  EXPECT_EQ(part->nextResponder(), nullptr);
  EXPECT_EQ(part->className(), u"Responder");
}

}  // namespace
}  // namespace lx
