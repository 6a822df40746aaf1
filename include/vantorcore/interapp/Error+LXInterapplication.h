// The errors of interapplication commands.
//
//   lx_interapplicationErrorWithInvalidArgumentName(u"count", u"not a number")
//     => LXInterapplicationErrorDomain 2,
//        { NSLocalizedDescription = "Invalid Argument: “count” (not a number)"; }
#pragma once

#include "vantorcore/Export.h"

#include <optional>

#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// "LXInterapplicationErrorDomain".
inline constexpr StringView LXInterapplicationErrorDomain = u"LXInterapplicationErrorDomain";

/// The code of `lx_interapplicationErrorWithInvalidArgumentName`.
inline constexpr std::int64_t LXInterapplicationErrorInvalidArgument = 2;

/// An error in `LXInterapplicationErrorDomain`, code 2, whose only user-info
/// entry is the description: the localised "Invalid Argument: “%@”" with
/// `name`, then " (<reason>)" when a reason is given.
ErrorPtr lx_interapplicationErrorWithInvalidArgumentName(
    StringView name, std::optional<StringView> reason = std::nullopt);

}  // namespace lx
