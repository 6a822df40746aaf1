// `ValueClasses`: registered classes that stand for the kinds of a plain
// `Value`, under the platform's class names, so that allowed-class lists of
// secure decoding and class records of archives can name strings, numbers
// and collections like any object class.
//
// The hierarchy follows the platform's: the mutable classes derive from
// their immutable ones, and sets (read into arrays) have classes of their
// own so that an archive's "NSSet" can be allowed or refused on its own.
//
//   Value kind            class
//   null                  NSNull
//   bool, integer, real   NSNumber
//   string                NSString      (NSMutableString derives from it)
//   data                  NSData        (NSMutableData)
//   date                  NSDate
//   array                 NSArray       (NSMutableArray)
//   dictionary            NSDictionary  (NSMutableDictionary)
//   object                the object's own class
//   --                    NSSet         (NSMutableSet)
//
// All functions are thread-safe.
#pragma once

#include "vantorcore/Export.h"

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

struct ValueClasses {
  /// The classes of the value types, as archives name them; the mutable forms decode to the same
  /// values.
  ///@{
  static const Class& null();
  static const Class& number();
  static const Class& string();
  static const Class& mutableString();
  static const Class& data();
  static const Class& mutableData();
  static const Class& date();
  static const Class& array();
  static const Class& mutableArray();
  static const Class& dictionary();
  static const Class& mutableDictionary();
  static const Class& set();
  static const Class& mutableSet();
  ///@}

  /// The class of `value` from the table above.
  static const Class& classOf(const Value& value);
  /// Whether `value`'s class is `cls` or derives from it.
  static bool isKindOf(const Value& value, const Class& cls);
};

}  // namespace lx
