// Extended attributes of files: read, write and remove whole values.
//
// Linux keeps attributes in namespaces ("user.", "trusted.", "security.",
// "system."). A name that starts with one of those is used as given; any
// other name is an attribute of the user namespace, so "com.example.tag"
// is stored as "user.com.example.tag". Symbolic links are followed.
//
// Every function may be called from any thread.
#pragma once

#include "vantorcore/Export.h"

#include <optional>
#include <string>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/FileManager.h"
#include "vantorcore/platform/URL.h"

namespace LX_API lx {

/// The name the kernel sees for `name`:
///   'com.example.tag'  => 'user.com.example.tag'
///   'user.x'           => 'user.x'
///   'trusted.x'        => 'trusted.x'
///   'users.x'          => 'user.users.x'
std::string lx_extendedAttributeName(StringView name);

/// The attribute's bytes; absent when the attribute is missing, empty or
/// cannot be read (no item, no permission, no attribute support).
std::optional<Data> lx_dataForExtendedAttribute(const FileManager& manager, StringView name,
                                                StringView path);
/// The same for the URL's path.
std::optional<Data> lx_dataForExtendedAttribute(const FileManager& manager, StringView name,
                                                const URL& url);

/// Writes `data` as the attribute; absent data removes it. Failures are
/// ignored.
void lx_setData(FileManager& manager, const std::optional<Data>& data, StringView name,
                StringView path);
/// The same for the URL's path.
void lx_setData(FileManager& manager, const std::optional<Data>& data, StringView name,
                const URL& url);

}  // namespace lx
