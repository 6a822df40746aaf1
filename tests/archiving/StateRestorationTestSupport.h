// Model classes and helpers shared by the state-restoration tests.
#pragma once

#include <functional>
#include <optional>

#include "support/TestSupport.h"
#include "vantorcore/archiving/LXStateRestoration.h"
#include "vantorcore/platform/PropertyList.h"

namespace lx::srtest {

/// A coded object holding a title and one linked value. Equal to every other
/// note (see `test::Twin`), so that matching by equality instead of identity
/// shows.
class SRNote : public test::Twin, public Coding {
  LX_DECLARE_CLASS(SRNote)
 public:
  String title;
  Value link;
  void encodeWithCoder(Coder& coder) const override;
  static std::shared_ptr<SRNote> initWithCoder(Coder& coder);
  void read(Coder& coder);
};

/// A note subclass, for class chains and allowed classes.
class SRSubNote : public SRNote {
  LX_DECLARE_CLASS(SRSubNote)
 public:
  static std::shared_ptr<SRSubNote> initWithCoder(Coder& coder);
};

/// A restorable object with a width and a child; counts `finishedRestoringState`.
class SRView : public Object, public StateRestoring {
  LX_DECLARE_CLASS(SRView)
 public:
  std::optional<String> identifier;
  const Class* restorer = nullptr;
  double width = 0;
  Value child;
  int finished = 0;
  std::optional<String> restorationIdentifier() const override { return identifier; }
  const Class* objectRestorationClass() const override { return restorer; }
  void encodeRestorableStateWithCoder(Coder& coder) const override;
  void decodeRestorableStateWithCoder(Coder& coder) override;
  void finishedRestoringState() override;
};

/// Recreates `SRView`s; refuses the restoration identifier "fail". Counts
/// its calls and keeps the last context and the order of finished objects.
class SRViewRestorer : public Object, public ObjectRestoration {
  LX_DECLARE_CLASS(SRViewRestorer)
 public:
  static inline int calls = 0;
  static inline ObjectPtr lastContext;
  static inline std::vector<String> finishedOrder;
  static ObjectPtr objectWithRestorationIdentifier(const String& identifier,
                                                   const ObjectPtr& context, Coder& coder);
};

/// A view that is its own restoration class.
class SRPanel : public SRView, public ObjectRestoration {
  LX_DECLARE_CLASS(SRPanel)
 public:
  static ObjectPtr objectWithRestorationIdentifier(const String& identifier,
                                                   const ObjectPtr& context, Coder& coder);
};

/// Claims the restoration protocol but cannot recreate anything.
class SRHollowRestorer : public Object, public ObjectRestoration {
  LX_DECLARE_CLASS(SRHollowRestorer)
};

/// Neither restorable nor coded.
class SRPlain : public Object {
  LX_DECLARE_CLASS(SRPlain)
};

/// A note titled `title`.
Value noteWithTitle(StringView title);
/// A view under `identifier` that `restorer` recreates.
std::shared_ptr<SRView> restorableView(std::optional<String> identifier,
                                       const Class* restorer = &SRViewRestorer::staticClass());
/// Archives by running `encode` at the root.
Data archive(const std::function<void(LXStateRestorationArchiver&)>& encode);
/// A binary archive made by hand from its root keys and "o" entries.
Data handmade(Dictionary rootKeys, Dictionary objects);
/// An item entry of a hand-made archive.
Value itemEntry(StringView identifier, StringView type, StringView className, Dictionary keys = {});
/// A hand-made archive whose root key "chain" names the first of `depth`
/// coded "SRNote" items "N0", "N1", ..., each linking the next.
Data handmadeChain(std::size_t depth);
/// Whether `text` is a fresh identifier: 36 upper-case hex digits and hyphens, 8-4-4-4-12.
bool isUpperCaseUUID(StringView text);
/// How a scalar table row stores its value under "k" (and reads it back).
enum class Scalar { Bool, Int32, Int64, Float, Double, Plain, Nothing };
/// Stores `value` under "k" as `kind` says (`Plain`: as an object).
void writeScalar(Coder& coder, Scalar kind, const Value& value);
/// Resets the restorer's counters.
void resetRestorer();

}  // namespace lx::srtest
