// Drives the platform scanner, its backward additions and the simple scanner
// with arbitrary UTF-16 (lone surrogates included), checking what must hold
// for any input: no crash or hang, forward scans never move back and backward
// ones never forward, the location stays inside the string, and a failed
// forward scan does not move at all.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdlib>

#include "vantorcore/platform/CharacterSet.h"
#include "vantorcore/platform/Scanner.h"
#include "vantorcore/text/LXSimpleScanner.h"
#include "vantorcore/text/Scanner+Additions.h"
#include "vantorcore/text/String+NumericValueAdditions.h"

namespace {

using lx::CharacterSet;
using lx::String;

String consumeString(FuzzedDataProvider& data, std::size_t maxUnits) {
  const std::size_t units = data.ConsumeIntegralInRange<std::size_t>(0, maxUnits);
  String out;
  for (std::size_t i = 0; i < units && data.remaining_bytes() > 0; ++i) {
    // Mostly the units number and token scanning cares about.
    static constexpr char16_t kUnits[] = u"0123456789abcdefxX+-.eE ,=\n\t";
    if (data.ConsumeIntegralInRange<int>(0, 3) < 3) {
      out.push_back(kUnits[data.ConsumeIntegralInRange<std::size_t>(0, 28)]);
    } else {
      out.push_back(data.ConsumeIntegral<char16_t>());
    }
  }
  return out;
}

void check(bool condition) {
  if (!condition) std::abort();
}

const CharacterSet& pickSet(FuzzedDataProvider& data, const CharacterSet& fromInput) {
  static const CharacterSet sets[] = {
      CharacterSet::whitespaceAndNewlineCharacterSet(), CharacterSet::decimalDigitCharacterSet(),
      CharacterSet::letterCharacterSet(), CharacterSet::punctuationCharacterSet()};
  const std::size_t i = data.ConsumeIntegralInRange<std::size_t>(0, 4);
  return i == 4 ? fromInput : sets[i];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  const String text = consumeString(data, 256);
  const String token = consumeString(data, 4);
  const CharacterSet fromInput = CharacterSet::characterSetWithCharactersInString(token);
  check(fromInput.invertedSet().invertedSet() == fromInput);

  lx::Scanner scanner{text};
  scanner.setCaseSensitive(data.ConsumeBool());
  if (data.ConsumeBool()) scanner.setCharactersToBeSkipped(std::nullopt);
  lx::LXSimpleScanner simple(text);

  for (int step = 0; step < 64 && data.remaining_bytes() > 0; ++step) {
    const std::size_t before = scanner.scanLocation();
    const int operation = data.ConsumeIntegralInRange<int>(0, 15);
    bool forward = true;
    bool ok = true;
    String into;
    union {
      int i;
      std::int64_t i64;
      long long ll;
      double d;
      unsigned u;
    } number{};
    const CharacterSet& set = pickSet(data, fromInput);
    switch (operation) {
      case 0:
        ok = scanner.scanInt(&number.i);
        break;
      case 1:
        ok = scanner.scanInteger(&number.i64);
        break;
      case 2:
        ok = scanner.scanLongLong(&number.ll);
        break;
      case 3:
        ok = scanner.scanDouble(&number.d);
        break;
      case 4:
        ok = scanner.scanHexInt(&number.u);
        break;
      case 5:
        ok = scanner.scanString(token, &into);
        break;
      case 6:
        ok = scanner.scanUpToString(token, &into);
        break;
      case 7:
        ok = scanner.scanCharactersFromSet(set, &into);
        break;
      case 8:
        ok = scanner.scanUpToCharactersFromSet(set, &into);
        break;
      case 9:
        ok = lx::scanNextString(scanner, token, &into);
        break;
      case 10:
        ok = lx::scanNextCharacterFromSet(scanner, set, &into);
        break;
      case 11:
        forward = false;
        lx::scanBackwardNextCharacterFromSet(scanner, set, &into);
        break;
      case 12:
        forward = false;
        lx::scanBackwardCharactersFromSet(scanner, set, &into);
        break;
      case 13:
        forward = false;
        lx::scanBackwardUpToCharactersFromSet(scanner, set, &into);
        break;
      case 14:
        forward = false;
        lx::scanBackwardUpToString(scanner, token, &into);
        break;
      default:
        simple.scanString(token, &into);
        simple.scanUpToCharactersFromSet(set, &into);
        simple.scanCharactersFromSet(set, &into);
        check(simple.scanLocation() <= text.size());
        break;
    }
    const std::size_t after = scanner.scanLocation();
    check(after <= text.size());
    check(forward ? after >= before : after <= before);
    if (forward && !ok) check(after == before);
  }
  (void)scanner.isAtEnd();
  (void)lx::lx_unsignedLongLongValue(text);
  (void)lx::lx_stringWithFloat(static_cast<double>(data.ConsumeFloatingPoint<double>()),
                               data.ConsumeIntegralInRange<unsigned>(0, 40));
  return 0;
}
