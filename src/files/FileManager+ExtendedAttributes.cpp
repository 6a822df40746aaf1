#include <sys/xattr.h>

#include <array>

#include "vantorcore/files/FileManager+ExtendedAttributes.h"
#include "vantorcore/platform/String+Paths.h"

namespace lx {

std::string lx_extendedAttributeName(StringView name) {
  static constexpr std::array<std::string_view, 4> kNamespaces{"user.", "trusted.", "security.",
                                                               "system."};
  std::string bytes = toUTF8(name);
  for (std::string_view space : kNamespaces) {
    if (bytes.starts_with(space)) return bytes;
  }
  return "user." + bytes;
}

std::optional<Data> lx_dataForExtendedAttribute(const FileManager& manager, StringView name,
                                                StringView path) {
  const std::string file = fileSystemRepresentation(path);
  const std::string attribute = lx_extendedAttributeName(name);
  // Ask for the size first; the value may change in between, so the second
  // call's answer is the one that counts.
  const ssize_t size = ::getxattr(file.c_str(), attribute.c_str(), nullptr, 0);
  if (size < 1) return std::nullopt;
  Data data(static_cast<std::size_t>(size));
  const ssize_t read = ::getxattr(file.c_str(), attribute.c_str(), data.data(), data.size());
  if (read < 1) return std::nullopt;
  data.resize(static_cast<std::size_t>(read));
  return data;
}

std::optional<Data> lx_dataForExtendedAttribute(const FileManager& manager, StringView name,
                                                const URL& url) {
  return lx_dataForExtendedAttribute(manager, name, url.path());
}

void lx_setData(FileManager& manager, const std::optional<Data>& data, StringView name,
                StringView path) {
  const std::string file = fileSystemRepresentation(path);
  const std::string attribute = lx_extendedAttributeName(name);
  if (data) {
    ::setxattr(file.c_str(), attribute.c_str(), data->data(), data->size(), 0);
  } else {
    ::removexattr(file.c_str(), attribute.c_str());
  }
}

void lx_setData(FileManager& manager, const std::optional<Data>& data, StringView name,
                const URL& url) {
  lx_setData(manager, data, name, url.path());
}

}  // namespace lx
