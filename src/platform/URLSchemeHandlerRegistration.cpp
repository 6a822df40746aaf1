#include "vantorcore/platform/URLSchemeHandlerRegistration.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "vantorcore/platform/FileIO.h"
#include "vantorcore/platform/FileManager.h"
#include "vantorcore/platform/URLOpener.h"

namespace lx {

namespace {

bool isElementCharacter(char16_t c) {
  return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
         c == u'_' || c == u'-';
}

// Double-quoted as both the desktop-entry Exec key and dbus-daemon's service
// parser understand it: '"', '`', '$' and '\' escaped with a backslash.
std::string quotedArgument(const std::string& argument) {
  if (!argument.empty() &&
      argument.find_first_of(" \t\n\"'\\><~|&;$*?#()`%=") == std::string::npos)
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

ErrorPtr registrationError(const std::string& description) {
  return Error::make(String(URLOpenerErrorDomain), URLOpenerErrorLaunchFailed,
                     Dictionary{{String(NSLocalizedDescriptionKey), fromUTF8(description)}});
}

bool writeTextFile(const std::string& text, const String& path, ErrorPtr* error) {
  std::error_code ignored;
  std::filesystem::create_directories(std::filesystem::path(toUTF8(path)).parent_path(), ignored);
  return writeFileAtomically(
      DataView(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()), path, 0644, error);
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
  const String dataHome =
      FileManager::threadSafeManager()->searchPathsForDirectory(SearchPathDirectory::ApplicationSupport)
          .front();
  return {dataHome + u"/applications/" + String(applicationID) + u".desktop",
          dataHome + u"/dbus-1/services/" + String(applicationID) + u".service"};
}

bool installURLSchemeHandler(const URLSchemeHandler& handler, ErrorPtr* error) {
  if (!isValidApplicationID(handler.applicationID)) {
    setError(error, registrationError("“" + toUTF8(handler.applicationID) +
                                      "” is not a valid application ID."));
    return false;
  }
  if (handler.schemes.empty() || handler.command.empty()) {
    setError(error, registrationError("A URL scheme handler needs a scheme and a command."));
    return false;
  }
  std::string mimeTypes;
  for (const String& scheme : handler.schemes)
    mimeTypes += "x-scheme-handler/" + toUTF8(lowercaseString(scheme)) + ";";
  const std::string desktop = "[Desktop Entry]\nType=Application\nName=" +
                              singleLine(handler.displayName) +
                              "\nExec=" + desktopExecValue(handler.command) +
                              "\nMimeType=" + mimeTypes +
                              "\nDBusActivatable=true\nNoDisplay=true\n";
  const std::string service = "[D-BUS Service]\nName=" + toUTF8(handler.applicationID) +
                              "\nExec=" + commandLine(handler.command) + "\n";
  const std::vector<String> paths = URLSchemeHandlerFilePaths(handler.applicationID);
  return writeTextFile(desktop, paths[0], error) && writeTextFile(service, paths[1], error);
}

bool removeURLSchemeHandler(StringView applicationID, ErrorPtr* error) {
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
