// `ContentType`: uniform type identifiers ("public.png", "public.plain-text")
// with their conformance graph and their filename-extension and MIME-type
// tags, standing in for the desktop platform's content-type class.
//
// The registry behind it is built from two sources:
// - a built-in table of the common `public.*` (and a few vendor) types, with
//   their supertypes, extensions and MIME types; it alone answers when no
//   shared-mime-info database is installed;
// - the freedesktop shared-mime-info folders (`SharedMimeInfo::systemFolders()`),
//   read from their compiled "globs2", "subclasses" and "aliases" files.
//   A MIME type that a built-in type declares (directly or through an
//   alias) adds its extensions and aliases to that type. Any other MIME type
//   becomes a type of its own named
//       "org.freedesktop.mime." + <media> + "." + <subtype>
//   lower-cased, with every character other than letters, digits, "." and
//   "-" replaced by "-" ("image/x-foo+xml" => "org.freedesktop.mime.image.x-foo-xml").
//   Its supertypes are its "subclasses" parents, plus the type its media type
//   implies: text/* => public.plain-text, image/* => public.image, audio/* =>
//   public.audio, video/* => public.movie, font/* => public.font, inode/* =>
//   public.item, anything else => public.data. Cycles in "subclasses" are
//   harmless: conformance is computed with a visited set.
//
// Extension globs: only "*.<ext>" patterns whose <ext> holds no glob
// characters give extension tags ("*.tar.gz" gives "tar.gz"). Extension
// lookups ignore case, so a case-sensitive glob ("cs") is only taken when it
// is already lower-case ("*.C" must not claim ".c"). A built-in type's own
// extensions weigh 50 (shared-mime-info's default) unless the database gives
// the type a higher weight. When several types claim one extension, the
// candidates are ordered by weight (highest first), then built-in types
// before database types (built-in ones in table order), then by MIME type
// (code-unit order): '.ts' gives public.mpeg-2-transport-stream, '.m'
// public.objective-c-source, even when the database lists other owners at
// the same weight.
//
// Tags with no declared type give a dynamic type, as the platform does:
//     "dyn." + lower-case hex of the UTF-8 of "<tag class>=<tag>;<supertype>"
// where <supertype> is the identifier of the required supertype (public.data
// when none was asked for). `typeWithIdentifier` decodes such identifiers
// back into the same type. Identifiers compare without regard to ASCII case.
//
// Types are small values that share their declaration; the registry may be
// reloaded while old values are in use. Every function may be called from
// any thread.
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "vantorcore/platform/String.h"
#include "vantorcore/platform/URL.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// The tag class of filename extensions (without the dot).
inline constexpr StringView UTTagClassFilenameExtension = u"public.filename-extension";
/// The tag class of MIME types.
inline constexpr StringView UTTagClassMIMEType = u"public.mime-type";

/// Keys of `ContentType::declaration()`, with the platform's values.
///@{
inline constexpr StringView kUTTypeIdentifierKey = u"UTTypeIdentifier";
inline constexpr StringView kUTTypeConformsToKey = u"UTTypeConformsTo";
inline constexpr StringView kUTTypeTagSpecificationKey = u"UTTypeTagSpecification";
///@}

class ContentType {
 public:
  struct Declaration;

  /// The type named `identifier` (any ASCII case), a declared or a decodable
  /// dynamic one; absent for anything else.
  ///   'public.png', 'PUBLIC.PNG' => public.png      'no.such.type' => absent
  static std::optional<ContentType> typeWithIdentifier(StringView identifier);

  /// The type for `tag` of `tagClass` that conforms to `supertype` (any type
  /// when absent). Extensions and MIME types ignore ASCII case; MIME aliases
  /// lead to their canonical type. When no declared type fits, a dynamic
  /// type carrying the tag and conforming to `supertype` (public.data when
  /// absent). Absent for an empty tag or tag class, a tag class other than
  /// the two above, an extension holding "/" or a NUL, and a MIME "type"
  /// without the "media/subtype" shape.
  ///   ('png', extension, public.data)  => public.png
  ///   ('png', extension, public.text)  => dyn.… (conforms to public.text)
  ///   ('text/x-c', MIME, absent)       => public.c-source (an alias)
  static std::optional<ContentType> typeWithTag(StringView tag, StringView tagClass,
                                                const std::optional<ContentType>& supertype);
  /// `typeWithTag` for the two tag classes, by default conforming to public.data.
  ///@{
  static std::optional<ContentType> typeWithFilenameExtension(
      StringView extension, const std::optional<ContentType>& supertype = data());
  static std::optional<ContentType> typeWithMIMEType(
      StringView mimeType, const std::optional<ContentType>& supertype = data());
  ///@}

  /// Every declared type claiming `tag` and conforming to `supertype`, in
  /// the order that decides between them (see the top of this file). Empty
  /// where `typeWithTag` would answer with a dynamic type or absent.
  static std::vector<ContentType> typesWithTag(StringView tag, StringView tagClass,
                                               const std::optional<ContentType>& supertype);

  /// The built-in types every registry holds, by their identifiers.
  ///@{
  static ContentType item();       ///< public.item
  static ContentType content();    ///< public.content
  static ContentType data();       ///< public.data
  static ContentType text();       ///< public.text
  static ContentType plainText();  ///< public.plain-text
  static ContentType image();      ///< public.image
  static ContentType directory();  ///< public.directory
  static ContentType folder();     ///< public.folder
  static ContentType package();    ///< com.apple.package
  ///@}

  /// The identifier as declared.
  [[nodiscard]] const String& identifier() const noexcept;
  /// The first extension / MIME type the type declares, or absent.
  [[nodiscard]] std::optional<String> preferredFilenameExtension() const;
  /// The first MIME type among the type's tags; absent when it has none.
  [[nodiscard]] std::optional<String> preferredMIMEType() const;
  /// The tags of `tagClass`, preferred first (empty for other classes).
  [[nodiscard]] const std::vector<String>& tags(StringView tagClass) const noexcept;
  /// The identifiers the declaration names as direct supertypes.
  [[nodiscard]] const std::vector<String>& conformsToIdentifiers() const noexcept;
  /// Every type this one conforms to, itself excluded, sorted by identifier.
  [[nodiscard]] std::vector<ContentType> supertypes() const;
  /// True when this type is `other` or conforms to it through the graph.
  [[nodiscard]] bool conformsTo(const ContentType& other) const noexcept;
  /// True for types made up for an undeclared tag.
  [[nodiscard]] bool isDynamic() const noexcept;
  /// True for types of the built-in table (extended or not by the database).
  [[nodiscard]] bool isBuiltIn() const noexcept;

  /// The declaration as the platform gives it: `kUTTypeIdentifierKey`, and
  /// `kUTTypeConformsToKey` (a string for one supertype, an array for
  /// several, missing for none) and `kUTTypeTagSpecificationKey` (tag class
  /// to a string for one tag, an array for several).
  [[nodiscard]] Dictionary declaration() const;
  /// The "bundle" that declares the type: the file URL of the
  /// shared-mime-info folder for database types, of the library's own
  /// binary for built-in types; absent for dynamic types.
  [[nodiscard]] std::optional<URL> declaringBundleURL() const;

  /// Same identifier, ignoring ASCII case.
  friend bool operator==(const ContentType& a, const ContentType& b) noexcept;
  /// A hash consistent with `==`, for unordered containers.
  [[nodiscard]] std::size_t hash() const noexcept;

  /// Rebuilds the registry from the built-in table and the shared-mime-info
  /// `folders` (highest precedence first; by default
  /// `SharedMimeInfo::systemFolders()`). Missing or unreadable folders leave
  /// the built-in table; malformed lines are skipped with the line
  /// "ContentType: skipped %lu malformed lines in %@" per folder. Types
  /// handed out before keep working. The registry is built on first use;
  /// hosts call this only to pick up a changed database.
  static void reloadRegistry(const std::optional<std::vector<String>>& folders = std::nullopt);

  /// Wraps a registry declaration; use the lookup functions above.
  explicit ContentType(std::shared_ptr<const Declaration> declaration) noexcept
      : declaration_(std::move(declaration)) {}

 private:
  // A type for a tag nobody declared; `tag` is lower-case and valid for
  // `tagClass`.
  static ContentType dynamicType(const String& tag, StringView tagClass,
                                 const ContentType& supertype);
  // The dynamic type named by the lower-case `key`, when it is one that
  // `dynamicType` makes.
  static std::optional<ContentType> decodeDynamicIdentifier(StringView key);

  std::shared_ptr<const Declaration> declaration_;
};

}  // namespace lx

/// Lets content types key unordered containers.
template <>
struct std::hash<lx::ContentType> {
  /// Hashes with `ContentType::hash`, so equal identifiers hash alike.
  std::size_t operator()(const lx::ContentType& t) const noexcept { return t.hash(); }
};
