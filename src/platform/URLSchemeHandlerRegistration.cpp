#include "vantorcore/platform/URLSchemeHandlerRegistration.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "platform/URLOpenerErrors.h"
#include "vantorcore/platform/FileIO.h"
#include "vantorcore/platform/FileManager.h"
#include "vantorcore/platform/ProcessInfo.h"
#include "vantorcore/platform/URLOpener.h"

namespace lx {

namespace {

using detail::glib;

bool isElementCharacter(char16_t c) {
  return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
         c == u'_' || c == u'-';
}

// Double-quoted as both the desktop-entry Exec key and dbus-daemon's service
// parser understand it: '"', '`', '$' and '\' escaped with a backslash.
std::string quotedArgument(const std::string& argument) {
  if (!argument.empty() && argument.find_first_of(" \t\n\"'\\><~|&;$*?#()`%=") == std::string::npos)
    return argument;
  std::string quoted = "\"";
  for (const char c : argument) {
    if (c == '"' || c == '`' || c == '$' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + "\"";
}

std::string commandLine(const std::vector<String>& command) {
  std::string line;
  for (const String& argument : command) {
    if (!line.empty()) line += ' ';
    line += quotedArgument(toUTF8(argument));
  }
  return line;
}

// A desktop-entry string value escapes backslashes once more, and "%" is a
// field code unless doubled.
std::string desktopExecValue(const std::vector<String>& command) {
  std::string value;
  for (const char c : commandLine(command)) {
    if (c == '\\') value += '\\';
    if (c == '%') value += '%';
    value += c;
  }
  return value + " %U";
}

std::string singleLine(const String& text) {
  std::string line = toUTF8(text);
  for (char& c : line)
    if (c == '\n' || c == '\r') c = ' ';
  return line;
}

bool writeTextFile(const std::string& text, const String& path, ErrorPtr* error) {
  std::error_code ignored;
  std::filesystem::create_directories(std::filesystem::path(toUTF8(path)).parent_path(), ignored);
  return writeFileAtomically(
      DataView(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()), path, 0644, error);
}

String mimeAppsListPath() {
  const auto configHome = ProcessInfo::environmentValue("XDG_CONFIG_HOME");
  if (configHome && !configHome->empty()) return *configHome + u"/mimeapps.list";
  return FileManager::threadSafeManager()->homeDirectoryForCurrentUser() +
         u"/.config/mimeapps.list";
}

constexpr const char* kAssociationGroups[] = {"Default Applications", "Added Associations"};

// mimeapps.list is edited through GLib's key files, which keep other tools'
// comments and groups as they were; checked before any file is written.
bool canEditAssociations(ErrorPtr* error) {
  const auto& library = glib().library;
  if (!library.isLoaded()) {
    setError(error,
             URLOpenerError(URLOpenerErrorNoHandler,
                            "URL scheme handlers cannot be registered here: " + library.error()));
  }
  return library.isLoaded();
}

// Adds `desktopID` to the front of the key's list (or takes it out), keeping
// the other applications listed there.
void editAssociation(GKeyFile* file, const char* group, const std::string& key,
                     const std::string& desktopID, bool add) {
  gsize count = 0;
  gchar** list = glib().key_file_get_string_list(file, group, key.c_str(), &count, nullptr);
  std::vector<const gchar*> kept;
  if (add) kept.push_back(desktopID.c_str());
  for (gsize i = 0; i < count; ++i)
    if (desktopID != list[i]) kept.push_back(list[i]);
  if (kept.empty())
    glib().key_file_remove_key(file, group, key.c_str(), nullptr);
  else
    glib().key_file_set_string_list(file, group, key.c_str(), kept.data(), kept.size());
  glib().strfreev(list);
}

// GIO finds the handler of a scheme through mimeapps.list (desktop files'
// MimeType keys only count once a desktop database indexes them), so the
// association goes there too; for removal, `schemes` empty means every key
// that names the application.
bool updateMimeAppsList(const std::string& desktopID, const std::vector<String>& schemes, bool add,
                        ErrorPtr* error) {
  const String path = mimeAppsListPath();
  GKeyFile* file = glib().key_file_new();
  glib().key_file_load_from_file(file, toUTF8(path).c_str(), G_KEY_FILE_KEEP_COMMENTS, nullptr);
  for (const char* group : kAssociationGroups) {
    std::vector<std::string> keys;
    if (!schemes.empty()) {
      for (const String& scheme : schemes)
        keys.push_back("x-scheme-handler/" + toUTF8(lowercaseString(scheme)));
    } else if (gchar** existing = glib().key_file_get_keys(file, group, nullptr, nullptr)) {
      for (gchar** key = existing; *key; ++key) keys.emplace_back(*key);
      glib().strfreev(existing);
    }
    for (const std::string& key : keys) editAssociation(file, group, key, desktopID, add);
  }
  gsize length = 0;
  gchar* data = glib().key_file_to_data(file, &length, nullptr);
  const bool written = writeTextFile(std::string(data, length), path, error);
  glib().free(data);
  glib().key_file_free(file);
  return written;
}

}  // namespace

bool isValidApplicationID(StringView applicationID) {
  if (applicationID.empty() || applicationID.size() > 255) return false;
  std::size_t elements = 0;
  std::size_t start = 0;
  while (start <= applicationID.size()) {
    std::size_t end = applicationID.find(u'.', start);
    if (end == StringView::npos) end = applicationID.size();
    const StringView element = applicationID.substr(start, end - start);
    if (element.empty() || (element[0] >= u'0' && element[0] <= u'9')) return false;
    for (const char16_t c : element)
      if (!isElementCharacter(c)) return false;
    ++elements;
    start = end + 1;
  }
  return elements >= 2;
}

String applicationObjectPath(StringView applicationID) {
  String path = u"/";
  for (const char16_t c : applicationID) path += c == u'.' ? u'/' : c == u'-' ? u'_' : c;
  return path;
}

std::vector<String> URLSchemeHandlerFilePaths(StringView applicationID) {
  const String dataHome = FileManager::threadSafeManager()
                              ->searchPathsForDirectory(SearchPathDirectory::ApplicationSupport)
                              .front();
  return {dataHome + u"/applications/" + String(applicationID) + u".desktop",
          dataHome + u"/dbus-1/services/" + String(applicationID) + u".service"};
}

bool installURLSchemeHandler(const URLSchemeHandler& handler, ErrorPtr* error) {
  if (!isValidApplicationID(handler.applicationID)) {
    setError(error,
             URLOpenerError(URLOpenerErrorLaunchFailed, "“" + toUTF8(handler.applicationID) +
                                                            "” is not a valid application ID."));
    return false;
  }
  if (handler.schemes.empty() || handler.command.empty()) {
    setError(error, URLOpenerError(URLOpenerErrorLaunchFailed,
                                   "A URL scheme handler needs a scheme and a command."));
    return false;
  }
  if (!canEditAssociations(error)) return false;
  std::string mimeTypes;
  for (const String& scheme : handler.schemes)
    mimeTypes += "x-scheme-handler/" + toUTF8(lowercaseString(scheme)) + ";";
  const std::string desktop =
      "[Desktop Entry]\nType=Application\nName=" + singleLine(handler.displayName) +
      "\nExec=" + desktopExecValue(handler.command) + "\nMimeType=" + mimeTypes +
      "\nDBusActivatable=true\nNoDisplay=true\n";
  const std::string service = "[D-BUS Service]\nName=" + toUTF8(handler.applicationID) +
                              "\nExec=" + commandLine(handler.command) + "\n";
  const std::vector<String> paths = URLSchemeHandlerFilePaths(handler.applicationID);
  return writeTextFile(desktop, paths[0], error) && writeTextFile(service, paths[1], error) &&
         updateMimeAppsList(toUTF8(handler.applicationID) + ".desktop", handler.schemes, true,
                            error);
}

bool removeURLSchemeHandler(StringView applicationID, ErrorPtr* error) {
  if (!canEditAssociations(error)) return false;
  if (!updateMimeAppsList(toUTF8(applicationID) + ".desktop", {}, false, error)) return false;
  for (const String& path : URLSchemeHandlerFilePaths(applicationID)) {
    std::error_code failure;
    std::filesystem::remove(toUTF8(path), failure);
    if (failure) {
      setError(error, fileError(failure.value(), true, path));
      return false;
    }
  }
  return true;
}

}  // namespace lx
