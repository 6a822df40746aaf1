// Registering an application as the handler of URL schemes, for the current
// user: a desktop file declaring "x-scheme-handler/<scheme>" with
// `DBusActivatable=true` in "$XDG_DATA_HOME/applications", and the D-Bus
// service file that lets the session bus start it in
// "$XDG_DATA_HOME/dbus-1/services" (XDG_DATA_HOME defaults to
// "~/.local/share"), and the application as the default handler of each
// scheme in "$XDG_CONFIG_HOME/mimeapps.list", where GIO looks handlers up
// (other entries of that file are kept). A session bus reads service files when it starts, so
// one started before the files exist may not see them.
#pragma once

#include "vantorcore/Export.h"

#include <vector>

#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// A registered handler of a URL scheme: the desktop entry that opens it.
struct URLSchemeHandler {
  /// A D-Bus well-known name such as "org.example.Notes"; it names both files.
  String applicationID;
  /// The name a desktop shows.
  String displayName;
  /// Lower-case URL schemes.
  std::vector<String> schemes;
  /// The program and its arguments that start the application (quoted into
  /// the files as needed).
  std::vector<String> command;
};

/// Whether `applicationID` is usable: a bus name of at least two elements of
/// letters, digits, "_" and "-", none starting with a digit, at most 255
/// characters.
///   'org.example.Notes' => true     'notes' => false    'org.1x' => false
bool isValidApplicationID(StringView applicationID);

/// The object path GIO expects for an application ID: "/" + the ID with "."
/// replaced by "/" and "-" by "_".   'org.ex-a.App' => '/org/ex_a/App'
String applicationObjectPath(StringView applicationID);

/// The two file paths of an application ID: desktop file, service file.
std::vector<String> URLSchemeHandlerFilePaths(StringView applicationID);

/// Writes both files (replacing earlier ones; folders made as needed) and
/// makes the application the first choice for its schemes. False
/// with an error in `URLOpenerErrorDomain` (`URLOpenerErrorLaunchFailed`)
/// for an invalid ID, no scheme or no command, or a file error.
bool installURLSchemeHandler(const URLSchemeHandler& handler, ErrorPtr* error = nullptr);

/// Removes both files and every mention of the application from
/// mimeapps.list; files already absent are fine. False with a file error
/// when one cannot be changed.
bool removeURLSchemeHandler(StringView applicationID, ErrorPtr* error = nullptr);

}  // namespace lx
