// `FileManager`: the platform's file manager on Linux, over std::filesystem
// and POSIX.
//
// Paths are `String`s; they reach the kernel through
// `fileSystemRepresentation` (platform/String+Paths.h), so a file name that is
// not UTF-8 comes back from `contentsOfDirectoryAtPath` as a string that names
// the same file again.
//
// Linux meanings of the platform's notions:
// - hidden: the name starts with "." or is listed, one name per line, in the
//   ".hidden" file of its folder (the desktop file managers' convention);
// - display name: the file name, the extension dropped when the item's
//   extension-hidden flag is set; a ".desktop" file shows its "Name=" entry;
// - the extension-hidden flag: the extended attribute
//   `kExtensionHiddenAttribute` ("1" when set, absent otherwise);
// - search paths follow the XDG base directory rules.
//
// A manager has no state but its delegate, so one manager may be shared by
// all threads; `threadSafeManager()` gives each thread its own when a caller
// wants to set a delegate without disturbing others.
#pragma once

#include "vantorcore/Export.h"

#include <sys/types.h>

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/FileIO.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// Keys of the attribute dictionaries, with the platform's string values.
///@{
inline constexpr StringView NSFileType = u"NSFileType";
inline constexpr StringView NSFileSize = u"NSFileSize";
inline constexpr StringView NSFileModificationDate = u"NSFileModificationDate";
inline constexpr StringView NSFileCreationDate = u"NSFileCreationDate";
inline constexpr StringView NSFilePosixPermissions = u"NSFilePosixPermissions";
inline constexpr StringView NSFileOwnerAccountID = u"NSFileOwnerAccountID";
inline constexpr StringView NSFileGroupOwnerAccountID = u"NSFileGroupOwnerAccountID";
inline constexpr StringView NSFileReferenceCount = u"NSFileReferenceCount";
inline constexpr StringView NSFileSystemNumber = u"NSFileSystemNumber";
inline constexpr StringView NSFileSystemFileNumber = u"NSFileSystemFileNumber";
inline constexpr StringView NSFileExtensionHidden = u"NSFileExtensionHidden";
///@}

/// Values of `NSFileType`.
///@{
inline constexpr StringView NSFileTypeRegular = u"NSFileTypeRegular";
inline constexpr StringView NSFileTypeDirectory = u"NSFileTypeDirectory";
inline constexpr StringView NSFileTypeSymbolicLink = u"NSFileTypeSymbolicLink";
inline constexpr StringView NSFileTypeSocket = u"NSFileTypeSocket";
inline constexpr StringView NSFileTypeCharacterSpecial = u"NSFileTypeCharacterSpecial";
inline constexpr StringView NSFileTypeBlockSpecial = u"NSFileTypeBlockSpecial";
inline constexpr StringView NSFileTypeUnknown = u"NSFileTypeUnknown";
///@}

/// The extended attribute that holds the extension-hidden flag.
inline constexpr char kExtensionHiddenAttribute[] = "user.com.vantor.extension-hidden";

class FileManager;

/// Optional consent for copy, move and remove. The manager holds its
/// delegate weakly and asks it on the calling thread; returning false skips
/// the operation, which then reports success without touching anything.
class FileManagerDelegate {
 public:
  virtual ~FileManagerDelegate() = default;
  /// Whether to copy `source`; true by default.
  virtual bool shouldCopyItemAtPath(FileManager& manager, const String& source,
                                    const String& destination) {
    return true;
  }
  /// Whether to move `source`; true by default.
  virtual bool shouldMoveItemAtPath(FileManager& manager, const String& source,
                                    const String& destination) {
    return true;
  }
  /// Whether to remove `path`; true by default.
  virtual bool shouldRemoveItemAtPath(FileManager& manager, const String& path) { return true; }
};

/// The user-domain folders of `searchPathsForDirectory`.
enum class SearchPathDirectory {
  Caches,              ///< $XDG_CACHE_HOME, else ~/.cache
  ApplicationSupport,  ///< $XDG_DATA_HOME, else ~/.local/share
};

class FileManager : public Object {
  LX_DECLARE_CLASS(FileManager)

 public:
  FileManager();
  ~FileManager() override;

  /// The process-wide shared manager, made on first use. Thread-safe.
  static std::shared_ptr<FileManager> defaultManager();

  /// On the main thread the shared `defaultManager()`; on any other thread
  /// the manager stored in that thread's dictionary under
  /// `kPerThreadFileManagerKey`, made and stored on first use. So two
  /// threads never share a manager (and its delegate) unless one is main.
  static std::shared_ptr<FileManager> threadSafeManager();
  /// Forgets the calling thread's manager; the next `threadSafeManager()`
  /// on this thread makes a new one. Does nothing on the main thread.
  static void releaseThreadSafeManager();
  /// The thread-dictionary key of `threadSafeManager()`.
  static constexpr StringView kPerThreadFileManagerKey = u"com.vantor.PerThreadFileManager";

  /// The delegate, or null. Thread-safe.
  [[nodiscard]] std::shared_ptr<FileManagerDelegate> delegate() const;
  /// Sets the delegate asked before each copy, move and removal; held weakly.
  void setDelegate(std::weak_ptr<FileManagerDelegate> delegate);

  // --- Queries -------------------------------------------------------------

  /// Whether an item exists at `path`, following symbolic links (a dangling
  /// link does not exist). `isDirectory` receives whether it is a folder.
  bool fileExistsAtPath(StringView path, bool* isDirectory = nullptr) const;
  /// Whether the calling process may read the item (access(2), R_OK).
  [[nodiscard]] bool isReadableFileAtPath(StringView path) const;
  /// Whether the calling process may write the item (access(2), W_OK).
  [[nodiscard]] bool isWritableFileAtPath(StringView path) const;

  /// The names in the folder, without "." and "..", in the order the file
  /// system gives them (not sorted). Absent with a file error when the folder
  /// cannot be read.
  std::optional<std::vector<String>> contentsOfDirectoryAtPath(StringView path,
                                                               ErrorPtr* error = nullptr) const;

  /// The whole contents of the file, or absent.
  [[nodiscard]] std::optional<Data> contentsAtPath(StringView path) const;

  /// The attributes of the item itself (a symbolic link is not followed):
  /// NSFileType, NSFileSize (unsigned), NSFileModificationDate,
  /// NSFileCreationDate (only when the file system records a birth time),
  /// NSFilePosixPermissions, NSFileOwnerAccountID, NSFileGroupOwnerAccountID,
  /// NSFileReferenceCount, NSFileSystemNumber (st_dev), NSFileSystemFileNumber
  /// (inode) and NSFileExtensionHidden (bool). Absent with a file error when
  /// the item cannot be examined.
  std::optional<Dictionary> attributesOfItemAtPath(StringView path,
                                                   ErrorPtr* error = nullptr) const;

  /// Applies NSFilePosixPermissions, NSFileModificationDate,
  /// NSFileExtensionHidden, NSFileOwnerAccountID and NSFileGroupOwnerAccountID
  /// where present; other keys are ignored. False with a file error at the
  /// first one that fails (those before it stay applied).
  bool setAttributes(const Dictionary& attributes, StringView path, ErrorPtr* error = nullptr);

  /// The target text of the symbolic link at `path`, unresolved; absent with
  /// a file error when `path` is not a link.
  std::optional<String> destinationOfSymbolicLinkAtPath(StringView path,
                                                        ErrorPtr* error = nullptr) const;

  /// See the file comment: the name to show for the item. Never empty for a
  /// non-empty path; a missing item shows its last path component.
  [[nodiscard]] String displayNameAtPath(StringView path) const;

  /// Whether the item is hidden (see the file comment); absent when no item
  /// exists at `path`.
  [[nodiscard]] std::optional<bool> isHiddenAtPath(StringView path) const;

  /// The item's extension-hidden flag; false when it is unset or unreadable.
  [[nodiscard]] bool isExtensionHiddenAtPath(StringView path) const;
  /// Sets or clears the flag; false when the attribute cannot be written
  /// (no such item, or a file system without user attributes).
  bool setExtensionHiddenAtPath(StringView path, bool hidden);

  // --- Changes -------------------------------------------------------------

  /// Makes the folder, and with `intermediates` every missing folder above
  /// it (an existing folder is then fine). Without `intermediates` an
  /// existing item or a missing parent is an error. `attributes` are applied
  /// to the last folder; NSFilePosixPermissions sets its mode exactly.
  bool createDirectoryAtPath(StringView path, bool intermediates, const Dictionary& attributes = {},
                             ErrorPtr* error = nullptr);

  /// Writes `data` as the file at `path` atomically, replacing any file
  /// there, with mode NSFilePosixPermissions (default 0644) and the other
  /// `attributes`. False when it cannot be written.
  bool createFileAtPath(StringView path, DataView data = {}, const Dictionary& attributes = {});

  /// Removes the item, a folder with everything inside; a symbolic link is
  /// removed, never followed. A missing item is an error.
  bool removeItemAtPath(StringView path, ErrorPtr* error = nullptr);

  /// Moves or renames; across file systems by copy and remove. An item
  /// already at `destination` is an error (NSFileWriteFileExistsError).
  bool moveItemAtPath(StringView source, StringView destination, ErrorPtr* error = nullptr);

  /// Copies the item, a folder recursively; symbolic links are copied as
  /// links. An item already at `destination` is an error.
  bool copyItemAtPath(StringView source, StringView destination, ErrorPtr* error = nullptr);

  /// Makes a symbolic link at `path` that points to `destination` (stored as
  /// given, not resolved).
  bool createSymbolicLinkAtPath(StringView path, StringView destination, ErrorPtr* error = nullptr);

  // --- Places --------------------------------------------------------------

  /// The working directory of the process, or "" when it is unavailable.
  [[nodiscard]] String currentDirectoryPath() const;
  /// $TMPDIR when set and non-empty, else "/tmp"; no trailing slash.
  [[nodiscard]] String temporaryDirectory() const;
  /// The user's home (`homeDirectory()` of String+Paths.h: $HOME first).
  [[nodiscard]] String homeDirectoryForCurrentUser() const;
  /// The user-domain folders of `directory`, most important first; today
  /// always one entry. An XDG variable that is unset, empty or relative is
  /// ignored, as the XDG base directory rules ask.
  [[nodiscard]] std::vector<String> searchPathsForDirectory(SearchPathDirectory directory) const;

 private:
  mutable std::mutex mutex_;
  std::weak_ptr<FileManagerDelegate> delegate_;
};

}  // namespace lx
